// The client proper, without a screen: what the events have told, and what is sent for it. Rows are
// kept as they were told, under the names that docs/protocol.md gives their members.
#pragma once

#include <csignal>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "console/backend.h"
#include "console/event.h"

// Set by SIGINT, SIGTERM and SIGHUP: the console ends in order.
extern volatile std::sig_atomic_t g_stop;

using Rows = std::map<std::int64_t, Event>;

// A list to choose from: what a search found, pinned messages, the help.
struct List {
  struct Row {
    std::string text;
    std::string words;  // what choosing the row enters; ends in a blank when more is to come
  };
  std::string title;
  std::int64_t command = 0;  // the command whose events are its rows; 0: it is complete
  std::vector<Row> rows;
  bool is_new = false;  // nobody has looked at it yet
};

struct Client {
  Backend backend;
  std::function<void(const Event&)> on_event;  // called with every event, after it was taken in

  std::map<std::string, Event, std::less<>> last;  // of the types that stand for themselves
  Rows chats, users, files;
  std::vector<Event> notifications;  // the newest 100
  List list;
  std::int64_t open_chat = 0;  // 0: none
  Rows messages;               // of the open chat, without holes
  bool more_older = false;     // there are messages before the first
  bool at_newest = true;       // there are none behind the last

  std::int64_t last_id = 0;  // of a command
  std::int64_t loading = 0;  // the command that loads messages; 0: none
  std::int64_t last_seq = 0;
  std::int64_t told_read = 0;  // how far the open chat was marked as read
  std::int64_t touched = 0;    // when ui_running.txt was, Unix seconds

  // The newest lines both ways: "> " and a command, "< " and an event, "| " and what the process
  // wrote to its output; and how many there were before them.
  std::deque<std::string> raw;
  std::int64_t raw_before = 0;
  std::string note;  // the last thing worth telling, such as a refusal
  bool note_is_error = false;
  bool changed = true;  // since it was drawn
  bool quitting = false;
  bool ended = false;  // no process runs any more

  // Without members when there is nothing of that name.
  const Event& of(std::string_view type) const { return find(last, type); }
  const Event& chat(std::int64_t id) const { return find(chats, id); }
  const Event& message(std::int64_t id) const { return find(messages, id); }
  bool ready() const { return of("auth_state").str("state") == "Ready"; }

  template <typename Map, typename Key>
  static const Event& find(const Map& map, const Key& key) {
    static const Event kNone;
    const auto it = map.find(key);
    return it == map.end() ? kNone : it->second;
  }
};

// False, with a note, when the process cannot be started.
bool start_client(Client& client);
// Waits for news of the backend, of `terminal` (-1: none) and of signals, and reacts to them.
void follow(Client& client, int terminal);
void tell(Client& client, std::string note, bool is_error);
// Sends a command under an id of its own, which is returned.
std::int64_t say(Client& client, const std::string& command);
// What the person entered: an answer to what the login needs, a message, or a word (words.cpp).
void enter(Client& client, const std::string& line);
void open_chat(Client& client, std::int64_t chat_id);
// Forgets the messages that are shown; the command brings others, if it is one.
void load_messages(Client& client, const std::string& command);
// Takes away a chat's notifications up to that message.
void withdraw(Client& client, std::int64_t chat_id, std::int64_t message_id);
// Older or newer messages than those that are shown, when there are any.
void load_more(Client& client, bool older);
// True when what is entered now must not be seen.
bool is_secret(const Client& client);

// words.cpp: "/reply 5 yes" without its slash; help on the words that begin with this.
void run_word(Client& client, std::string_view line);
std::vector<List::Row> words_help(std::string_view begin);
// A row of the help, in two columns.
List::Row help_row(const std::string& what, const std::string& meaning, const std::string& words);

// events.cpp: what an event changes; the event in words, as --plain, lists and notes show it.
void take_event(Client& client, const Event& event);
std::string describe(const Client& client, const Event& event);
// Fills in words: {name} is the event's member, {name:format} the same as a format in events.cpp
// shows it, {name?words} are words for when the member says anything.
std::string in_words(const Client& client, const Event& event, std::string_view words);

// names.cpp
std::vector<std::int64_t> chat_order(const Client& client);  // ids of the chats in the list
std::string chat_title(const Client& client, std::int64_t chat_id);
// The user of a private chat, whose id is the chat's; 0: none, or not known.
std::int64_t other_side(const Client& client, std::int64_t chat_id);
std::string sender_name(const Client& client, const Event& message);
// "online", "last seen 14:02", "3 online", "Ann: typing…"; empty when nothing is known.
std::string presence(const Client& client, std::int64_t chat_id);
