// The words that steer the world, written to its first chat or given in WORLD_FAULTS, and the
// faults that they ask for.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <list>

#include "world/world.h"

namespace world {

namespace {

// Takes words off the front of what was written.
struct Words {
  std::string_view rest;

  std::string_view all() {
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    return rest;
  }
  std::string_view next() {
    const std::size_t end = all().find(' ');
    const std::string_view word = rest.substr(0, end);
    rest.remove_prefix(word.size());
    return word;
  }
  double number(double otherwise) {
    const std::string word(next());
    char* end = nullptr;
    const double number = std::strtod(word.c_str(), &end);
    return word.empty() || *end != '\0' || !(number >= 0 && number <= 1e9) ? otherwise : number;
  }
  // The chat whose title, or whose person's first name, comes next; the longest that fits.
  Chat* chat() {
    Chat* best = nullptr;
    std::size_t size = 0;
    const std::string text = std::string(all()) + ' ';
    for (Chat& chat : g_world.chats) {
      const std::string first_name = chat.is_group() ? "" : person(chat.peer).first_name;
      for (const std::string& name : {chat_title(chat), first_name}) {
        if (name.size() <= size || text.compare(0, name.size() + 1, name + ' ') != 0) continue;
        size = name.size();
        best = &chat;
      }
    }
    rest.remove_prefix(size);
    return best;
  }
};

}  // namespace

// ---- what happens by them

static std::string call(Words&) {
  begin_call(kAnn, false);
  return "Ann is calling.";
}

static std::string say(Words& words) {
  Chat* chat = words.chat();
  const std::string_view text = words.all();
  if (chat == nullptr) return "Nobody here is called that.";
  if (text.empty()) return {};
  if (chat->is_outside()) return "You would not hear it.";
  const Id who = chat->is_channel() ? chat->id : chat->is_group() ? kAnn : chat->peer;
  receive_message(*chat, who, text);
  return chat_title(*chat) + " has said it.";
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
  Chat* chat = words.chat();
  if (chat == nullptr || !chat->is_group()) return "There is no such group.";
  tell_chat(*chat);
  set_standing(*chat, Standing::kBanned);
  return "You have been removed from " + chat_title(*chat) + ".";
}

// Does something to the newest message that it fits, in the open chat, else in Ann's.
static std::string change_newest(bool (*fits)(const Chat&, const Message&),
                                 void (*change)(Chat&, const Message&), const char* what) {
  Chat* chat = find_chat(kAnn);
  for (Chat& other : g_world.chats) {
    if (other.open && other.number != 0) chat = &other;
  }
  tell_chat(*chat);
  Message m;
  for (Id id = last_id(*chat); id != 0; id = previous_id(*chat, id)) {
    m = find_message(*chat, id);
    if (!fits(*chat, m)) continue;
    change(*chat, m);
    return "A message in " + chat_title(*chat) + what;
  }
  return "There is none to do that to.";
}

static std::string edit(Words&) {
  return change_newest(
      [](const Chat&, const Message& m) { return !m.outgoing && m.is_text(); },
      [](Chat& chat, const Message& m) { edit_message(chat, m.id, m.text + " (I mean it)"); },
      " was edited.");
}

static std::string remove(Words&) {
  return change_newest([](const Chat&, const Message& m) { return !m.outgoing && !is_service(m); },
                       [](Chat& chat, const Message& m) { delete_messages(chat, {m.id}); },
                       " was deleted.");
}

static std::string react_somehow(Words&) {
  return change_newest(
      can_react,
      [](Chat& chat, const Message& m) {
        react(chat, m.id, m.reactions.empty() ? "👍" : m.reactions[0].emoji, false);
      },
      " was reacted to.");
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
  const std::string_view first_name = words.next(), last_name = words.all();
  if (first_name.empty() || utf16_length(first_name) + utf16_length(last_name) > 64) return {};
  Person ann = person(kAnn);
  ann.first_name = first_name;
  ann.last_name = last_name;
  change_person(kAnn, ann);
  return "Ann is " + person_name(kAnn) + " now.";
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

static std::string add_fault(Fault::Kind kind, Words& words) {
  static constexpr const char* kWhat[] = {" will fail.", " gets no answer.", " is answered late.",
                                          " is answered twice."};
  Fault fault;
  fault.kind = kind;
  fault.request = words.next();
  if (kind == Fault::kLate) fault.seconds = words.number(5);
  if (kind == Fault::kError) {
    fault.code = static_cast<int>(words.number(0));
    std::string_view message = words.all();
    const std::size_t space = message.rfind(' ');
    const bool has_more = space != std::string_view::npos;
    const double times = has_more ? Words{message.substr(space)}.number(0) : 0;
    if (times >= 1) {
      fault.times = static_cast<int>(times);
      message = message.substr(0, space);
    }
    fault.message = message;
    if (fault.code == 0 || message.empty()) return {};
  }
  if (fault.request.empty()) return {};
  g_faults.push_back(fault);
  return "The next " + fault.request + kWhat[kind];
}

static std::string error(Words& words) { return add_fault(Fault::kError, words); }
static std::string lose(Words& words) { return add_fault(Fault::kLose, words); }
static std::string late(Words& words) { return add_fault(Fault::kLate, words); }
static std::string twice(Words& words) { return add_fault(Fault::kTwice, words); }

// ---- for tests

// Of every chat that the client knows: its object, those of its newest messages, and whether the
// account is outside. The file is whole when it has its name.
static std::string store(Words& words) {
  const std::string path(words.all()), unfinished = path + "~";
  std::ofstream file(unfinished);
  for (Chat& chat : g_world.chats) {
    if (!chat.told) continue;
    const auto ids = newest_ids(chat, 30);
    file << "{\"outside\":" << (chat.is_outside() ? "true" : "false")
         << ",\"chat\":" << chat_text(chat)
         << ",\"newest\":" << messages_text(chat, ids, ids.size()) << "}\n";
  }
  file.close();
  return file && std::rename(unfinished.c_str(), path.c_str()) == 0 ? "Stored." : "";
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

void steer_from_start() {
  static constexpr std::string_view kFaults[] = {"error", "lose", "late", "twice"};
  std::string_view rest = g_world.settings.faults, text;
  while (!rest.empty()) {
    split_once(rest, ';', text, rest);
    const std::string_view word = Words{text}.next();
    const bool fault = std::find(std::begin(kFaults), std::end(kFaults), word) != std::end(kFaults);
    if (fault != is_ready()) steer(text);
  }
}

}  // namespace world
