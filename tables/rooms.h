// All state of the main routine, as main owns it. Only the rows of the tables see it whole; each
// row hands its handler just the structs that it needs.
#pragma once

#include "auth/auth.h"
#include "commands/history_loads.h"
#include "commands/pinned_commands.h"
#include "commands/searches.h"
#include "commands/send_commands.h"
#include "frame/tdlib.h"
#include "frame/timers.h"
#include "proxy/proxy_commands.h"
#include "state/chats.h"
#include "state/downloads.h"
#include "state/open_chat.h"

struct Rooms {
  TdClient td;
  Timers timers;
  AuthState auth;
  ChatTable chats;
  OpenChat open_chat;
  ProxyState proxy;
  Searches searches;
  HistoryLoads history;
  PinnedLoads pinned;
  SendCounter sends;
  Downloads downloads;
  bool keep_running = true;
};
