// The words that steer the world, written to its first chat or given in WORLD_FAULTS.
#include <cstdio>
#include <cstdlib>

#include "world/schema.h"
#include "world/world.h"

namespace world {

namespace {

// Takes words off the front of what was written.
struct Words {
  std::string_view rest;

  std::string_view next() {
    while (!rest.empty() && rest[0] == ' ') rest.remove_prefix(1);
    const std::size_t end = std::min(rest.find(' '), rest.size());
    const std::string_view word = rest.substr(0, end);
    rest.remove_prefix(end);
    return word;
  }
  std::string_view all() {
    while (!rest.empty() && rest[0] == ' ') rest.remove_prefix(1);
    return rest;
  }
  double number(double otherwise) {
    const std::string word(next());
    char* end = nullptr;
    const double number = std::strtod(word.c_str(), &end);
    return word.empty() || *end != '\0' || !(number >= 0 && number <= 1e9) ? otherwise : number;
  }
};

using Steer = std::string (*)(Words&);

}  // namespace

static constexpr const char* kWho = "Ann";

// Ann's chat, or the last one that is open.
static Chat& some_chat() {
  for (Chat& chat : g_world.chats) {
    if (chat.open && chat.number != 0) return chat;
  }
  Chat* ann = find_chat_named(kWho);
  return ann != nullptr ? *ann : world_chat();
}

static Id last_other(Chat& chat) {
  Id id = last_id(chat);
  while (id != 0) {
    const Message m = find_message(chat, id);
    if (!m.outgoing && !content_is_service(m.content)) break;
    id = previous_id(chat, id);
  }
  return id;
}

static std::string help(Words&);

static std::string call(Words&) {
  const Id ann = find_person(kWho);
  if (ann == 0) return "Nobody is there to call.";
  begin_call(ann, false, false);
  return "Ann is calling.";
}

static std::string say(Words& words) {
  const std::string_view name = words.next();
  Chat* chat = find_chat_named(name);
  const std::string_view text = words.all();
  if (chat == nullptr) return "There is no " + std::string(name) + " here.";
  if (text.empty()) return "say <name> <text>";
  if (chat->standing == Standing::kLeft || chat->standing == Standing::kBanned) {
    return "You would not hear it.";
  }
  receive_message(*chat,
                  is_channel(*chat) ? chat->id
                  : is_group(*chat) ? kMe + 2
                                    : chat->peer,
                  text);
  return std::string(name) + " has said it.";
}

static std::string make_flood(Words& words) {
  const Id count = static_cast<Id>(words.number(0));
  if (count < 1 || count > 100000000) return "flood <n>";
  flood(count);
  return std::to_string(count) + " messages are coming.";
}

static void connection(const char* state) {
  static const Shape shape("updateConnectionState", "state");
  g_world.connection = state;
  tell(shape.text({std::string("{\"@type\":\"") + state + "\"}"}));
}

static void be_away(const char* state, double seconds) {
  connection(state);
  later(seconds, [] {
    connection("connectionStateConnecting");
    connection("connectionStateUpdating");
    connection("connectionStateReady");
  });
}

static std::string offline(Words& words) {
  const double seconds = words.number(10);
  be_away("connectionStateWaitingForNetwork", seconds);
  return "Offline for " + std::to_string(static_cast<int>(seconds)) + " s.";
}

static std::string proxy(Words& words) {
  if (words.next() != "down") return "proxy down";
  be_away("connectionStateConnectingToProxy", 10);
  return "The proxy is down for 10 s.";
}

static std::string kick(Words& words) {
  const std::string_view title = words.all();
  Chat* chat = find_chat_named(title);
  if (chat == nullptr || !is_group(*chat)) return "There is no group " + std::string(title) + ".";
  tell_chat(*chat);
  set_standing(*chat, Standing::kBanned);
  return "You have been removed from " + std::string(title) + ".";
}

static std::string edit(Words&) {
  Chat& chat = some_chat();
  for (Id id = last_id(chat); id != 0; id = previous_id(chat, id)) {
    const Message m = find_message(chat, id);
    if (m.outgoing || content_type(m.content) != "messageText") continue;
    tell_chat(chat);
    edit_message(chat, id, m.text + " (I mean it)");
    return "A message in " + chat_title(chat) + " was edited.";
  }
  return "There is nothing to edit.";
}

static std::string remove(Words&) {
  Chat& chat = some_chat();
  const Id id = last_other(chat);
  if (id == 0) return "There is nothing to delete.";
  tell_chat(chat);
  delete_messages(chat, {id});
  return "A message in " + chat_title(chat) + " was deleted.";
}

static std::string react(Words&) {
  Chat& chat = some_chat();
  const Id id = last_id(chat);
  const Message last = find_message(chat, id);
  if (last.id == 0 || last.state != Message::kSent || content_is_service(last.content))
    return "There is nothing to react to.";
  tell_chat(chat);
  auto& reactions = change_message(chat, id).reactions;
  if (reactions.empty()) {
    reactions.push_back({"\xF0\x9F\x91\x8D", 1, false});
  } else {
    ++reactions[0].count;
  }
  tell_interaction(chat, id);
  return "Somebody reacted in " + chat_title(chat) + ".";
}

static std::string read_elsewhere(Words& words) {
  if (words.next() != "elsewhere") return "read elsewhere";
  int count = 0;
  for (Chat& chat : g_world.chats) {
    if (chat.number == 0 || !chat.told || chat.unread == 0) continue;
    for (Id id = last_id(chat); id != 0; id = previous_id(chat, id)) {
      if (!is_sent_id(id)) continue;
      read_inbox(chat, id);
      break;
    }
    ++count;
  }
  return std::to_string(count) + " chats were read on another device.";
}

static std::string rename(Words& words) {
  static const Shape title("updateChatTitle", "chat_id title");
  const Id ann = find_person(kWho);
  const std::string_view name = words.all();
  Chat* chat = find_chat(ann);
  if (name.empty() || ann == 0) return "rename <name>";
  Person p = person(ann);
  p.first_name = name.substr(0, 64);
  p.last_name.clear();
  g_world.renamed[ann] = p;
  tell_person_again(ann);
  if (chat != nullptr && chat->told) tell(title.text({chat->id, chat_title(*chat)}));
  return "Ann calls herself " + p.first_name + " now.";
}

static Fault fault_of(Fault::Kind kind, Words& words) {
  Fault fault;
  fault.kind = kind;
  fault.request = words.next();
  return fault;
}

static std::string add(Fault fault, std::string answer) {
  if (fault.request.empty() || fault.times < 1) return "I do not understand; write help.";
  add_fault(std::move(fault));
  return answer;
}

static std::string error(Words& words) {
  Fault fault;
  fault.request = words.next();
  fault.code = static_cast<int>(words.number(0));
  std::string_view message = words.all();
  // A number at the end is how often.
  const std::size_t blank = message.rfind(' ');
  if (blank != std::string_view::npos &&
      message.find_first_not_of("0123456789", blank + 1) == std::string_view::npos &&
      blank + 1 < message.size()) {
    fault.times = std::atoi(std::string(message.substr(blank + 1)).c_str());
    message = message.substr(0, blank);
  }
  fault.message = message;
  if (fault.code == 0 || message.empty()) return "error <request> <code> <message> [times]";
  return add(fault, fault.request + " will fail.");
}

static std::string lose(Words& words) {
  Fault fault = fault_of(Fault::kLose, words);
  return add(fault, "The next " + fault.request + " gets no answer.");
}

static std::string late(Words& words) {
  Fault fault = fault_of(Fault::kLate, words);
  fault.seconds = words.number(5);
  return add(fault, "The next " + fault.request + " is answered late.");
}

static std::string twice(Words& words) {
  Fault fault = fault_of(Fault::kTwice, words);
  return add(fault, "The next " + fault.request + " is answered twice.");
}

static std::string close(Words&) {
  later(0, [] {
    Json request;
    std::string why;
    read_json("{\"@type\":\"close\"}", request, why);
    answer_login(request);
  });
  return "Closing.";
}

static void append_flag(std::string& out, const char* name, Id value) {
  out += ",\"";
  out += name;
  out += "\":";
  append_number(out, value);
}

// For tests: what is true of every chat that the client knows, and of its newest messages, in a
// file, an object a line. The file is whole when it has the name.
static std::string store(Words& words) {
  const std::string path(words.all());
  const std::string unfinished = path + "~";
  std::FILE* file = path.empty() ? nullptr : std::fopen(unfinished.c_str(), "w");
  if (file == nullptr) return "store <path>";
  for (Chat& chat : g_world.chats) {
    if (!chat.told) continue;
    std::string line = "{\"chat\":";
    append_number(line, chat.id);
    append_flag(line, "order", chat.archived ? 0 : chat.order);
    append_flag(line, "unread", chat.unread);
    append_flag(line, "mentions", chat.mentions);
    append_flag(line, "inbox", chat.last_read_inbox);
    append_flag(line, "outbox", chat.last_read_outbox);
    append_flag(line, "last", last_id(chat));
    append_flag(line, "muted", chat.mute_for > 0);
    append_flag(line, "outside",
                chat.standing == Standing::kLeft || chat.standing == Standing::kBanned);
    line += ",\"title\":";
    append_string(line, chat_title(chat));
    int left = 30;
    for (Id id = last_id(chat); id != 0 && left > 0; id = previous_id(chat, id), --left) {
      const Message m = find_message(chat, id);
      line += "}\n{\"message\":";
      append_number(line, id);
      append_flag(line, "chat", chat.id);
      append_flag(line, "outgoing", m.outgoing);
      append_flag(line, "pinned", chat.changes != nullptr && chat.changes->pins.count(id) != 0);
      append_flag(line, "is_text", content_type(m.content) == "messageText");
      line += ",\"text\":";
      append_string(line, m.text);
      line += ",\"reactions\":\"";
      for (const Reaction& r : m.reactions) {
        line += r.emoji + std::to_string(r.count) + (r.chosen ? "* " : " ");
      }
      line += '"';
    }
    std::fputs((line + "}\n").c_str(), file);
  }
  std::fclose(file);
  return std::rename(unfinished.c_str(), path.c_str()) == 0 ? "Stored." : "store <path>";
}

static std::string crash(Words&) {
  later(0, [] { std::abort(); });
  return "Crashing.";
}

namespace {

struct SteeringRow {
  std::string_view word;
  Steer run;
  const char* usage;
};

// clang-format off
constexpr SteeringRow kSteeringRows[] = {
    {"help",    help,           "help"},
    {"call",    call,           "call"},
    {"say",     say,            "say <name> <text>"},
    {"flood",   make_flood,     "flood <n>"},
    {"offline", offline,        "offline <seconds>"},
    {"proxy",   proxy,          "proxy down"},
    {"kick",    kick,           "kick <group>"},
    {"edit",    edit,           "edit"},
    {"delete",  remove,         "delete"},
    {"react",   react,          "react"},
    {"read",    read_elsewhere, "read elsewhere"},
    {"rename",  rename,         "rename <name>"},
    {"error",   error,          "error <request> <code> <message> [times]"},
    {"lose",    lose,           "lose <request>"},
    {"late",    late,           "late <request> <seconds>"},
    {"twice",   twice,          "twice <request>"},
    {"close",   close,          "close"},
    {"crash",   crash,          "crash"},
    {"store",   store,          "store <path>"},
};
// clang-format on

}  // namespace

static std::string help(Words&) {
  std::string text;
  for (const SteeringRow& row : kSteeringRows) (text += row.usage) += '\n';
  text.pop_back();
  return text;
}

std::string steer(std::string_view text) {
  Words words{text};
  const std::string_view word = words.next();
  for (const SteeringRow& row : kSteeringRows) {
    if (row.word == word) return row.run(words);
  }
  return "I do not understand; write help.";
}

}  // namespace world
