// What the events have told so far: the login, the chat list, the messages of the one open chat,
// files, calls, notifications. It sends nothing; client.h decides what to ask for.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "console/json.h"

struct Chat {
  std::string title, type, last_text, draft;
  std::int64_t user_id = 0;  // the other side of a private chat
  std::int64_t order = 0;    // 0: not in the list
  std::int64_t unread = 0, mentions = 0, online = 0;
  std::int64_t last_message = 0, last_date = 0, read_inbox = 0, read_outbox = 0;
  bool muted = false, pinned = false, marked = false, last_outgoing = false;
  bool told = false;                            // named since "resync_begin"
  std::map<std::int64_t, std::string> actions;  // who types, records, ...: sender and what
};

struct User {
  std::string name, status;
  std::int64_t was_online = 0;
};

struct Reaction {
  std::string emoji;
  std::int64_t count = 0;
  bool chosen = false;
};

struct Message {
  std::string text, content_type, state, error, sender_name, reply_quote, forward_from;
  std::string media_type, media_name;
  std::int64_t sender_user = 0, sender_chat = 0, date = 0, edit_date = 0, reply_to = 0;
  std::int64_t reply_count = 0, file = 0, size = 0, w = 0, h = 0, duration = 0;
  bool outgoing = false, forwarded = false, pinned = false;
  std::vector<Reaction> reactions;
};

struct File {
  std::int64_t done = 0, total = 0;
  bool active = false, upload = false;
  std::string path;  // empty until it is complete
};

struct Call {
  std::int64_t id = 0, user_id = 0;
  std::string who, state, reason;
  bool outgoing = false, video = false;
};

struct Notification {
  std::int64_t chat_id = 0, message_id = 0;
  std::string title, text;
};

// A list to choose from: what a search found, pinned messages, proxies.
struct Results {
  struct Row {
    std::string text;
    std::string words;  // what choosing it enters
  };
  std::string title;
  std::int64_t request = 0;
  bool complete = false;
  std::vector<Row> rows;
};

struct Model {
  std::string auth = "starting", need, connection, mode;
  std::vector<std::string> login_facts;
  std::string login_error, qr_link;
  std::int64_t me = 0;
  std::string my_name;

  std::map<std::int64_t, Chat> chats;
  std::map<std::int64_t, User> users;
  bool more_chats = false;

  std::int64_t open_chat = 0;  // 0: none
  std::map<std::int64_t, Message> messages;
  bool more_older = false;  // there are messages before the first
  bool at_newest = true;    // there are none behind the last
  bool history_loaded = false;
  std::int64_t pinned_id = 0;
  std::string pinned_text;

  std::map<std::int64_t, File> files;
  Call call;  // the one that was last heard of; id 0: none
  std::deque<Notification> notifications;
  Results results;
  std::string goodbye;  // the reason of the run's end
};

void apply(Model& model, const Event& event);

// Ids of the chats in the list, from the top.
std::vector<std::int64_t> chat_order(const Model& model);
std::string chat_title(const Model& model, std::int64_t chat_id);
std::string sender_name(const Model& model, std::int64_t chat_id, const Message& message);
// "online", "last seen 14:02", "3 online", "Ann is typing"; empty when nothing is known.
std::string presence(const Model& model, std::int64_t chat_id);
// Forgets the messages that are shown and shows another chat's.
void show_chat(Model& model, std::int64_t chat_id);
