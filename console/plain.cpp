#include "console/plain.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <ctime>

#include "console/stop.h"
#include "console/text.h"

namespace {

// {name} is a member's value, {@name} the title of the chat with that id, {@@} the sender.
// Types that are not listed are told by their members.
struct Wording {
  std::string_view type, text;
};
constexpr Wording kWordings[] = {
    {"hello", "td_backend {version}, protocol {protocol}, {mode}"},
    {"auth_state", "login: {state}"},
    {"need", "login: please enter {what}"},
    {"auth_error", "login: {what} was refused: {message} ({code})"},
    {"qr_link", "login: confirm on another device: {link}"},
    {"me", "logged in as {first_name} {last_name} ({id})"},
    {"connection_state", "connection: {state}"},
    {"chat", "chat {id}  {title}  [{chat_type}] {unread_count} unread: {last_text}"},
    {"chat_unread", "{@chat_id}: {unread_count} unread"},
    {"chat_last_message", "{@chat_id}: last message {message_id}: {text}"},
    {"chat_action", "{@chat_id}: {action}"},
    {"chat_notify", "{@chat_id}: muted {muted}"},
    {"history_begin", "{@chat_id}: messages"},
    {"history_end", "{@chat_id}: end of messages"},
    {"message", "{@chat_id} {id} {@@}: {text} {media_type}"},
    {"message_new", "{@chat_id} {id} {@@}: {text} {media_type}"},
    {"message_update", "{@chat_id} {id} now says: {text}"},
    {"message_send_acked", "{@chat_id} {id}: the service has it"},
    {"message_send_succeeded", "{@chat_id} {old_id}: sent, now {new_id}"},
    {"message_send_failed", "{@chat_id} {old_id}: not sent: {error}"},
    {"messages_deleted", "{@chat_id}: deleted {message_ids}"},
    {"message_reactions", "{@chat_id} {id}: reactions {reactions}"},
    {"hub_notify_message", "* {chat_title}: {text}"},
    {"hub_notify_withdrawn", "* {@chat_id}: read or gone up to {message_id}"},
    {"file_progress", "file {id}: {downloaded} of {total}"},
    {"file", "file {id} is complete: {path}"},
    {"search_chat", "found chat {id}  {title}  [{chat_type}]"},
    {"chat_search_item", "found {id}: {text}"},
    {"call_update", "call {call_id} {user_name}: {state} {reason}"},
    {"command_refused", "refused: {text}"},
    {"events_lost", "{count} events were lost"},
    {"goodbye", "the backend ends: {reason}"},
};

void append_words(std::string& out, const Model& model, const Event& e, std::string_view words) {
  while (!words.empty()) {
    const std::size_t open = std::min(words.find('{'), words.size());
    out += words.substr(0, open);
    words.remove_prefix(open);
    const std::size_t close = words.find('}');
    if (close == std::string_view::npos) return;
    const std::string_view name = words.substr(1, close - 1);
    if (name == "@@") {
      Message sender;
      sender.outgoing = e.on("outgoing");
      sender.sender_name = e.str("sender_name");
      sender.sender_user = e.num("sender_user_id");
      sender.sender_chat = e.num("sender_chat_id");
      out += sender_name(model, e.num("chat_id"), sender);
    } else {
      out += name[0] == '@' ? chat_title(model, e.num(name.substr(1))) : e.str(name);
    }
    words.remove_prefix(close + 1);
  }
}

void print(const std::string& text) {
  std::string line = clock_text(std::time(nullptr), "%H:%M:%S ");
  // One line each, and nothing that would steer a terminal.
  for (const wchar_t c : widen(text)) line += c == L'\n' ? " / " : narrow({&c, 1});
  std::puts(line.c_str());
  std::fflush(stdout);
}

}  // namespace

std::string describe(const Model& model, const Event& event) {
  const std::string& type = event.str("type");
  std::string out;
  for (const Wording& wording : kWordings) {
    if (wording.type != type) continue;
    append_words(out, model, event, wording.text);
    return out;
  }
  out = type;
  for (const Member& member : event.members) {
    if (member.name != "type" && member.name != "seq")
      out += " " + member.name + "=" + member.value;
  }
  return out;
}

int run_plain_mode(Client& client) {
  client.on_event = [&](const Event& e) {
    if (e.str("type") != "command_end" || !e.on("ok")) print(describe(client.model, e));
  };
  std::string input;
  bool open = true;
  while (!client.ended) {
    wait_for_news(client.backend, open ? STDIN_FILENO : -1, 1000);
    follow(client);
    std::array<char, 4096> buffer;
    pollfd ready = {STDIN_FILENO, POLLIN, 0};
    const ssize_t got =
        open && poll(&ready, 1, 0) > 0 ? read(STDIN_FILENO, buffer.data(), buffer.size()) : -1;
    if (got > 0) input.append(buffer.data(), static_cast<std::size_t>(got));
    for (std::size_t end; (end = input.find('\n')) != std::string::npos;) {
      enter(client, input.substr(0, end));
      input.erase(0, end + 1);
      if (!client.note.empty()) print(client.note);
      client.note.clear();
      if (client.wants_help) {
        for (std::size_t i = 0; i < kWordCount; ++i) {
          const Word& word = kWords[i];
          print("/" + std::string(word.name) + " " + std::string(word.arguments) + ": " +
                std::string(word.meaning));
        }
        client.wants_help = false;
      }
    }
    if (got == 0) open = false;
    if (got == 0 || g_stop) enter(client, "/quit");
    g_stop = 0;
  }
  print(client.note);
  return client.backend.status;
}
