// All state of the main routine, as main owns it. Only the tables see it whole; each handler gets
// just the structs that its parameters name (tables/bind.h).
#pragma once

#include <tuple>

#include "auth/auth.h"
#include "commands/history_loads.h"
#include "commands/pinned.h"
#include "commands/searches.h"
#include "commands/send.h"
#include "frame/tdlib.h"
#include "frame/timers.h"
#include "proxy/proxy.h"
#include "state/chats.h"
#include "state/downloads.h"

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
  Uploads uploads;
  bool keep_running = true;
};

// What a handler can ask for by its type.
inline auto members(Rooms& r) {
  return std::tie(r.td, r.timers, r.auth, r.chats, r.open_chat, r.proxy, r.searches, r.history,
                  r.pinned, r.sends, r.downloads, r.uploads);
}
