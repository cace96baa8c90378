// What the events have told so far. It is kept as it was told: rows of members under the names
// that docs/protocol.md gives them. It sends nothing; client.h decides what to ask for.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "console/event.h"

using Rows = std::map<std::int64_t, Event>;

// A list to choose from: what a search found, pinned messages, proxies, the help.
struct List {
  struct Row {
    std::string text;
    std::string words;    // what choosing the row enters; ends in a blank when more is to come
    std::string meaning;  // in a second column, where there is one
  };
  std::string title;
  std::int64_t command = 0;  // the command whose events are its rows; 0: it is complete
  std::vector<Row> rows;
  bool is_new = false;  // nobody has looked at it yet
};

struct Model {
  std::map<std::string, Event, std::less<>> last;  // of the types that stand for themselves
  Rows chats, users, files;
  Rows online, actions, pins;        // by chat: who is there, what is done last, the pinned message
  std::vector<Event> notifications;  // the newest 100
  List list;

  std::int64_t open_chat = 0;  // 0: none
  Rows messages;               // of the open chat, without holes
  bool more_older = false;     // there are messages before the first
  bool at_newest = true;       // there are none behind the last

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

// Takes an event in.
void apply(Model& model, const Event& event);
// The event in words, as --plain, lists and notes show it.
std::string describe(const Model& model, const Event& event);
// Fills in words: {name} is the event's member, {name:format} the same as a format in events.cpp
// shows it, {name?words} are words for when the member says anything.
std::string in_words(const Model& model, const Event& event, std::string_view words);

// Ids of the chats in the list, from the top.
std::vector<std::int64_t> chat_order(const Model& model);
std::string chat_title(const Model& model, std::int64_t chat_id);
// The user of a private chat, whose id is the chat's; 0: none, or not known.
std::int64_t other_side(const Model& model, std::int64_t chat_id);
std::string sender_name(const Model& model, const Event& message);
// "online", "last seen 14:02", "3 online", "Ann: typing…"; empty when nothing is known.
std::string presence(const Model& model, std::int64_t chat_id);
struct Reaction {
  std::string emoji, count;
  bool chosen;
};
std::vector<Reaction> reactions(const Event& message);
// Takes away a chat's notifications up to that message.
void withdraw(Model& model, std::int64_t chat_id, std::int64_t message_id);
// Forgets the messages that are shown and shows another chat's.
void show_chat(Model& model, std::int64_t chat_id);
