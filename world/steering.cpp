// The words that steer the world, written to its first chat or given in WORLD_FAULTS, and the
// faults that they ask for.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <list>

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

}  // namespace

static constexpr const char* kWho = "Ann";

// The chat that is open, else Ann's.
static Chat& some_chat() {
  for (Chat& chat : g_world.chats) {
    if (chat.open && chat.number != 0) return chat;
  }
  Chat* ann = find_chat_named(kWho);
  return ann != nullptr ? *ann : world_chat();
}

// The newest message of others there that `fits`; its id is 0 when there is none.
template <class Fits>
static Message newest_other(Chat& chat, Fits fits) {
  tell_chat(chat);
  Id id = last_id(chat);
  Message m = find_message(chat, id);
  while (id != 0 && (m.outgoing || !fits(m))) m = find_message(chat, id = previous_id(chat, id));
  return m;
}

// ---- what happens by them

static std::string call(Words&) {
  const Id ann = find_person(kWho);
  if (ann == 0) return "Nobody is there to call.";
  begin_call(ann, false, false);
  return "Ann is calling.";
}

static std::string say(Words& words) {
  const std::string name(words.next());
  Chat* chat = find_chat_named(name);
  const std::string_view text = words.all();
  if (chat == nullptr) return "There is no " + name + " here.";
  if (text.empty()) return {};
  if (is_outside(*chat)) return "You would not hear it.";
  const Id who = is_channel(*chat) ? chat->id : is_group(*chat) ? kMe + 2 : chat->peer;
  receive_message(*chat, who, text);
  return name + " has said it.";
}

static std::string make_flood(Words& words) {
  const Id count = static_cast<Id>(words.number(0));
  if (count < 1 || count > 100000000) return {};
  flood(count);
  return std::to_string(count) + " messages are coming.";
}

static std::string be_away(const char* state, double seconds, const std::string& what) {
  set_connection(state);
  later(seconds, come_online);
  return what + " for " + std::to_string(static_cast<int>(seconds)) + " s.";
}

static std::string offline(Words& words) {
  return be_away("connectionStateWaitingForNetwork", words.number(10), "Offline");
}

static std::string proxy(Words& words) {
  if (words.next() != "down") return {};
  return be_away("connectionStateConnectingToProxy", 10, "The proxy is down");
}

static std::string kick(Words& words) {
  const std::string title(words.all());
  Chat* chat = find_chat_named(title);
  if (chat == nullptr || !is_group(*chat)) return "There is no group " + title + ".";
  tell_chat(*chat);
  set_standing(*chat, Standing::kBanned);
  return "You have been removed from " + title + ".";
}

static std::string edit(Words&) {
  Chat& chat = some_chat();
  const Message m = newest_other(chat, is_text);
  if (m.id == 0) return "There is nothing to edit.";
  edit_message(chat, m.id, m.text + " (I mean it)");
  return "A message in " + chat_title(chat) + " was edited.";
}

static std::string remove(Words&) {
  Chat& chat = some_chat();
  const Message m =
      newest_other(chat, [](const Message& one) { return !content_is_service(one.content); });
  if (m.id == 0) return "There is nothing to delete.";
  delete_messages(chat, {m.id});
  return "A message in " + chat_title(chat) + " was deleted.";
}

static std::string react_somehow(Words&) {
  Chat& chat = some_chat();
  const Message m = find_message(chat, last_id(chat));
  if (!can_react(chat, m)) return "There is nothing to react to.";
  tell_chat(chat);
  react(chat, m.id, m.reactions.empty() ? "👍" : m.reactions[0].emoji, false);
  return "Somebody reacted in " + chat_title(chat) + ".";
}

static std::string read_elsewhere(Words& words) {
  if (words.next() != "elsewhere") return {};
  int count = 0;
  for (Chat& chat : g_world.chats) {
    if (chat.number == 0 || !chat.told || chat.unread == 0) continue;
    Id id = last_id(chat);
    while (id != 0 && !is_sent_id(id)) id = previous_id(chat, id);
    read_inbox(chat, id);
    ++count;
  }
  return std::to_string(count) + " chats were read on another device.";
}

static std::string rename(Words& words) {
  const Id ann = find_person(kWho);
  const std::string name(words.all().substr(0, 64));
  if (name.empty() || ann == 0) return {};
  rename_person(ann, name, "");
  return "Ann calls herself " + name + " now.";
}

static std::string close(Words&) {
  later(0, close_world);
  return "Closing.";
}

static std::string crash(Words&) {
  later(0, std::abort);
  return "Crashing.";
}

// ---- faults

static std::list<Fault> g_faults;  // in the order in which they were asked for

const Fault* next_fault(std::string_view request) {
  static Fault due;
  const auto fault = std::find_if(g_faults.begin(), g_faults.end(),
                                  [&](const Fault& one) { return one.request == request; });
  if (fault == g_faults.end()) return nullptr;
  due = *fault;
  if (--fault->times <= 0) g_faults.erase(fault);
  return &due;
}

static Fault read_fault(Fault::Kind kind, Words& words) {
  Fault fault;
  fault.kind = kind;
  fault.request = words.next();
  return fault;
}

static std::string add_fault(const Fault& fault, const std::string& what) {
  if (fault.request.empty() || fault.times < 1) return {};
  g_faults.push_back(fault);
  return what;
}

static std::string error(Words& words) {
  Fault fault = read_fault(Fault::kError, words);
  fault.code = static_cast<int>(words.number(0));
  fault.message = words.all();
  // A number at the end is how often.
  const std::size_t begin = fault.message.find_last_not_of("0123456789") + 1;
  if (begin > 1 && begin < fault.message.size() && fault.message[begin - 1] == ' ') {
    fault.times = std::atoi(fault.message.c_str() + begin);
    fault.message.resize(begin - 1);
  }
  if (fault.code == 0 || fault.message.empty()) return {};
  return add_fault(fault, fault.request + " will fail.");
}

static std::string lose(Words& words) {
  const Fault fault = read_fault(Fault::kLose, words);
  return add_fault(fault, "The next " + fault.request + " gets no answer.");
}

static std::string late(Words& words) {
  Fault fault = read_fault(Fault::kLate, words);
  fault.seconds = words.number(5);
  return add_fault(fault, "The next " + fault.request + " is answered late.");
}

static std::string twice(Words& words) {
  const Fault fault = read_fault(Fault::kTwice, words);
  return add_fault(fault, "The next " + fault.request + " is answered twice.");
}

// ---- for tests

static void append_line(std::string& out, std::initializer_list<std::pair<const char*, Id>> numbers,
                        std::initializer_list<std::pair<const char*, std::string>> texts) {
  const char* before = "{\"";
  for (const auto& [name, number] : numbers) {
    append_number(((out += before) += name) += "\":", number);
    before = ",\"";
  }
  for (const auto& [name, text] : texts) append_string(((out += before) += name) += "\":", text);
  out += "}\n";
}

// What is true of a chat, and of its newest messages, an object a line.
static void append_truth(std::string& out, Chat& chat) {
  append_line(out,
              {{"chat", chat.id},
               {"order", chat.archived ? 0 : chat.order},
               {"unread", chat.unread},
               {"mentions", chat.mentions},
               {"inbox", chat.last_read_inbox},
               {"outbox", chat.last_read_outbox},
               {"last", last_id(chat)},
               {"muted", chat.mute_for > 0},
               {"outside", is_outside(chat)}},
              {{"title", chat_title(chat)}});
  int left = 30;
  for (Id id = last_id(chat); id != 0 && left > 0; id = previous_id(chat, id), --left) {
    const Message m = find_message(chat, id);
    std::string reactions;
    for (const Reaction& r : m.reactions)
      reactions += r.emoji + std::to_string(r.count) + (r.chosen ? "* " : " ");
    append_line(out,
                {{"message", id},
                 {"chat", chat.id},
                 {"outgoing", m.outgoing},
                 {"pinned", is_pinned(chat, id)},
                 {"is_text", is_text(m)}},
                {{"text", m.text}, {"reactions", reactions}});
  }
}

// The truth of all chats that the client knows, in a file that is whole when it has its name.
static std::string store(Words& words) {
  const std::string path(words.all()), unfinished = path + "~";
  std::FILE* file = path.empty() ? nullptr : std::fopen(unfinished.c_str(), "w");
  if (file == nullptr) return {};
  std::string truth;
  for (Chat& chat : g_world.chats) {
    if (chat.told) append_truth(truth, chat);
  }
  std::fputs(truth.c_str(), file);
  std::fclose(file);
  return std::rename(unfinished.c_str(), path.c_str()) == 0 ? "Stored." : "";
}

// ---- the words

static std::string help(Words&);

// Each answers what it did, or nothing when its words make no sense.
// clang-format off
static constexpr struct {
  std::string_view word;
  std::string (*run)(Words&);
  const char* usage;
} kSteering[] = {
    {"help",    help,           "help"},
    {"call",    call,           "call"},
    {"say",     say,            "say <name> <text>"},
    {"flood",   make_flood,     "flood <n>"},
    {"offline", offline,        "offline <seconds>"},
    {"proxy",   proxy,          "proxy down"},
    {"kick",    kick,           "kick <group>"},
    {"edit",    edit,           "edit"},
    {"delete",  remove,         "delete"},
    {"react",   react_somehow,  "react"},
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

static std::string help(Words&) {
  std::string text;
  for (const auto& row : kSteering) (text += text.empty() ? "" : "\n") += row.usage;
  return text;
}

std::string steer(std::string_view text) {
  Words words{text};
  const std::string_view word = words.next();
  for (const auto& row : kSteering) {
    if (row.word != word) continue;
    const std::string answer = row.run(words);
    return answer.empty() ? row.usage : answer;
  }
  return "I do not understand; write help.";
}

}  // namespace world
