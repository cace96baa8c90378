// The window: what is shown, where it was drawn, and what keys and the mouse do with it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "console/client.h"
#include "console/paint.h"

// Where the keys go, and what a click meets.
enum Part : unsigned { kInput = 1, kChats = 2, kMessages = 4, kList = 8, kRaw = 16, kNotice = 32 };

struct Screen {
  Part focus = kInput;
  std::wstring input;
  std::size_t cursor = 0;
  std::int64_t chat = 0;     // marked in the list of chats
  std::int64_t message = 0;  // marked in the open chat; 0: none, the newest are shown
  std::int64_t row = 0;      // marked in the list that covers the rest while it has the focus
  bool raw = false;
  int raw_back = 0;  // lines of the raw view that are below its window
  bool done = false;

  // As it was drawn last.
  struct Place {
    Box box;
    Part part;
    std::int64_t id;  // of the chat or message, or the row; 0: none
  };
  std::vector<Place> places;
  int page = 1;                            // lines of the messages or the list
  std::int64_t top = 0;                    // the message at the top,
  int top_line = 0;                        // from this line of it on
  int hidden_above = 0, hidden_below = 0;  // lines of the marked message
  int scroll = 0;                          // lines to go down by with the next picture
};

void draw(const Client& client, Screen& screen);
void draw_messages(const Client& client, Screen& screen, Box box);
// A key as get_wch gives it; `is_code` for one of ncurses' own.
void handle_key(Client& client, Screen& screen, wint_t key, bool is_code);
// Until the person or the backend ends it. The status of the whole console.
int run_screen(Client& client);
