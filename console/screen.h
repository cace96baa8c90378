// The window: what is shown, where it was drawn, and what keys and the mouse do with it.
#pragma once

#include <string>
#include <vector>

#include "console/client.h"
#include "console/paint.h"

struct Screen {
  std::string input;
  std::size_t cursor = 0;  // a byte of it
  // Without a marked message the newest are shown. The list covers both while keys go there.
  View chats, messages, list, raw;
  View* focus = nullptr;  // where the keys go; null: to the input
  bool show_raw = false;
  Box notice_box;  // as it was drawn last

  bool on(const View& view) const { return focus == &view; }
};

void draw(const Client& client, Screen& screen);
// The open chat's messages in lines of that many columns.
std::vector<View::Row> lay_out_messages(const Client& client, int width);
// A key as get_wch gives it; `is_code` for one of ncurses' own.
void handle_key(Client& client, Screen& screen, wint_t key, bool is_code);
// Until the person or the backend ends it. The status of the whole console.
int run_screen(Client& client);
