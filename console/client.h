// The client proper, without a screen: it turns what the person enters into commands, follows
// their ends, asks for what the events make necessary, and keeps the raw lines.
#pragma once

#include <csignal>
#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "console/backend.h"
#include "console/model.h"

// Set by SIGINT, SIGTERM and SIGHUP: the console ends in order.
extern volatile std::sig_atomic_t g_stop;

struct Client {
  Backend backend;
  Model model;
  std::int64_t last_id = 0;
  std::set<std::int64_t> open_commands;  // ids that have not ended
  std::int64_t loading = 0;              // the command that loads messages; 0: none
  std::int64_t last_seq = 0;
  std::int64_t losses = 0;
  std::int64_t resync = 0;     // the command that repairs the last loss; 0: none
  std::int64_t told_read = 0;  // how far the open chat was marked as read
  // The newest lines both ways: "> " and a command, "< " and an event, "| " and what the process
  // wrote to its output.
  std::deque<std::string> raw;
  std::string note;  // the last thing worth telling, such as a refusal
  bool note_is_error = false;
  bool changed = true;  // since it was drawn
  bool quitting = false;
  bool ended = false;        // no process runs any more
  std::int64_t touched = 0;  // when ui_running.txt was, Unix seconds
  // Called with every event, after it was taken in.
  std::function<void(const Event&)> on_event;
};

// False, with a note, when the process cannot be started.
bool start_client(Client& client);
// Waits for news of the backend, of `terminal` (-1: none) and of signals, no longer than that, and
// reacts to them.
void follow(Client& client, int terminal, int milliseconds);
void tell(Client& client, std::string note, bool is_error);
// Sends a command under an id of its own, which is returned.
std::int64_t say(Client& client, const std::string& command);
// What the person entered: an answer to what the login needs, a message, or a word (words.cpp).
void enter(Client& client, const std::string& line);
// "/reply 5 yes" without its slash.
void run_word(Client& client, std::string_view line);
// Help on the words that begin with this.
std::vector<List::Row> words_help(std::string_view begin);
void open_chat(Client& client, std::int64_t chat_id);
// Older or newer messages than those that are shown, when there are any.
void load_more(Client& client, bool older);
// True when what is entered now must not be seen.
bool is_secret(const Client& client);
