// The window: what is shown, where it was drawn, and what keys and the mouse do with it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "console/client.h"

enum class Focus { kInput, kChats, kMessages };
enum class Overlay { kNone, kHelp, kResults };

struct Box {
  int y = 0, x = 0, h = 0, w = 0;
  bool holds(int py, int px) const { return py >= y && py < y + h && px >= x && px < x + w; }
};

struct Screen {
  Focus focus = Focus::kInput;
  Overlay overlay = Overlay::kNone;
  std::size_t overlay_at = 0;        // the row that is marked
  std::int64_t results_request = 0;  // of the results that were shown last
  std::wstring input;
  std::size_t cursor = 0;
  std::int64_t chat = 0;     // marked in the list
  std::int64_t message = 0;  // marked in the open chat; 0: none, the newest are shown
  bool raw = false;
  int raw_back = 0;  // lines of the raw view that are below its window
  bool done = false;

  // As it was drawn last.
  Box list, view, raw_box, call_box, note_box;
  int rows_per_chat = 1;
  std::vector<std::int64_t> list_ids, view_ids;  // what each row belongs to
  std::int64_t drawn_message = 0;
  int drawn_row = 0, drawn_rows = 0;  // of the marked message, in the view
};

// Keys that act on the marked message or chat: what is entered, "$" being its id.
struct KeyWord {
  wchar_t key;
  const char* words;
  bool asks;  // more is to be typed, or Enter is to confirm it
  const char* meaning;
};
extern const KeyWord kMessageKeys[];
extern const KeyWord kChatKeys[];
extern const std::size_t kMessageKeyCount, kChatKeyCount;
struct KeyHelp {
  const char *keys, *meaning;
};
extern const KeyHelp kKeyHelp[];
extern const std::size_t kKeyHelpCount;

void draw(const Client& client, Screen& screen);
void draw_messages(const Client& client, Screen& screen, Box box);
// A key as get_wch gives it; `is_code` for one of ncurses' own.
void handle_key(Client& client, Screen& screen, wint_t key, bool is_code);
// Until the person or the backend ends it. The status of the whole console.
int run_screen(Client& client);
