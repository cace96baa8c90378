// The client proper, without a screen: it turns what the person enters into commands, follows
// their ends, asks for what the events make necessary, and keeps the raw lines.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "console/backend.h"
#include "console/model.h"

struct RawLine {
  char kind;  // '>' a command, '<' an event, '|' what the process wrote to its output
  std::string text;
};

struct Client {
  Backend backend;
  Model model;
  std::int64_t last_id = 0;
  std::map<std::int64_t, std::string> open_commands;  // what was said under an id, until its end
  std::int64_t paging = 0;  // the command that loads older or newer messages; 0: none
  std::int64_t last_seq = 0;
  std::int64_t resync = 0;     // the command that repairs a loss; 0: none
  std::int64_t told_read = 0;  // how far the open chat was marked as read
  std::int64_t losses = 0;
  std::int64_t resync_losses = 0;  // when it was asked for
  std::deque<RawLine> raw;         // the newest
  std::int64_t raw_count = 0;      // how many there were
  std::string note;                // the last thing worth telling, such as a refusal
  bool note_is_error = false;
  bool quitting = false;
  bool ended = false;  // no process runs any more
  bool wants_help = false;
  // Called with every event, after it was taken in.
  std::function<void(const Event&)> on_event;
};

// A word that begins with "/", as it is entered.
struct Word {
  std::string_view name, arguments, meaning;
  // False: the arguments will not do.
  bool (*run)(Client& client, std::string_view arguments);
};
extern const Word kWords[];
extern const std::size_t kWordCount;

bool start_client(Client& client);
// Reads what is there and reacts to it.
void follow(Client& client);
// Sends a command under an id of its own, which is returned.
std::int64_t say(Client& client, const std::string& command);
// What the person entered: an answer to what the login needs, a message, or a word.
void enter(Client& client, const std::string& line);
void open_chat(Client& client, std::int64_t chat_id);
void load_older(Client& client);
void load_newer(Client& client);
// True when what is entered now must not be seen.
bool is_secret(const Client& client);
