// The window: what is shown, where it was drawn, and what keys and the mouse do with it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "console/client.h"
#include "console/paint.h"

enum class Focus { kInput, kChats, kMessages, kList };

struct Screen {
  Focus focus = Focus::kInput;
  std::wstring input;
  std::size_t cursor = 0;
  // Without a marked message the newest are shown. The list covers both while it has the focus.
  View chats, messages, list;
  bool raw = false;
  int raw_back = 0;  // lines of the raw view that are below its window
  bool done = false;
  Box raw_box, notice_box;  // as they were drawn last
};

void draw(const Client& client, Screen& screen);
void draw_messages(const Client& client, Screen& screen, Box box);
// A key as get_wch gives it; `is_code` for one of ncurses' own.
void handle_key(Client& client, Screen& screen, wint_t key, bool is_code);
// Until the person or the backend ends it. The status of the whole console.
int run_screen(Client& client);
