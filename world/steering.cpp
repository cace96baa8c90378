// The words that steer the world, written to its first chat or given in WORLD_FAULTS, and the
// faults that they ask for.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <list>
#include <sstream>

#include "world/world.h"

namespace world {

// What was written, whose words are taken off its front.
using Words = std::istringstream;

static std::string rest_of(Words& words) {
  std::string rest;
  std::getline(words >> std::ws, rest, '\0');
  return rest;
}

static double number_of(Words& words, double otherwise) {
  double number = 0;
  return words >> number && number >= 0 && number <= 1e9 ? number : otherwise;
}

// Takes the title of a chat, or its person's first name, off the front; the longest that fits.
static Chat* take_chat(std::string& text) {
  Chat* best = nullptr;
  std::size_t size = 0;
  for (Chat& chat : g_world.chats) {
    const std::string first_name = chat.is_group() ? "" : person(chat.peer).first_name;
    for (const std::string& name : {chat_title(chat), first_name}) {
      if (name.size() <= size || (text + ' ').compare(0, name.size() + 1, name + ' ') != 0)
        continue;
      size = name.size();
      best = &chat;
    }
  }
  text.erase(0, size + 1);
  return best;
}

// ---- what happens by them

static std::string call(Words&) {
  begin_call(kAnn, false);
  return "Ann is calling.";
}

static std::string say(Words& words) {
  std::string text = rest_of(words);
  Chat* chat = take_chat(text);
  if (chat == nullptr) return "Nobody here is called that.";
  if (text.empty()) return {};
  if (chat->is_outside()) return "You would not hear it.";
  const Id who = chat->is_channel() ? chat->id : chat->is_group() ? kAnn : chat->peer;
  receive_message(*chat, who, text);
  return chat_title(*chat) + " has said it.";
}

static std::string make_flood(Words& words) {
  const Id count = static_cast<Id>(number_of(words, 0));
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
  return be_away("connectionStateWaitingForNetwork", number_of(words, 10), "Offline");
}

static std::string proxy(Words& words) {
  if (rest_of(words) != "down") return {};
  return be_away("connectionStateConnectingToProxy", 10, "The proxy is down");
}

static std::string kick(Words& words) {
  std::string name = rest_of(words);
  Chat* chat = take_chat(name);
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

static bool can_edit(const Chat&, const Message& m) { return !m.outgoing && m.is_text(); }
static void edit(Chat& chat, const Message& m) {
  edit_message(chat, m.id, m.text + " (I mean it)");
}

static bool can_delete(const Chat&, const Message& m) { return !m.outgoing && !is_service(m); }
static void remove(Chat& chat, const Message& m) { delete_messages(chat, {m.id}); }

static void react_somehow(Chat& chat, const Message& m) {
  react(chat, m.id, m.reactions.empty() ? "👍" : m.reactions[0].emoji, false);
}

static std::string read_elsewhere(Words& words) {
  if (rest_of(words) != "elsewhere") return {};
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
  std::string first_name;
  words >> first_name;
  const std::string last_name = rest_of(words);
  if (first_name.empty() || utf16_length(first_name) + utf16_length(last_name) > 64) return {};
  Person ann = person(kAnn);
  ann.first_name = first_name;
  ann.last_name = last_name;
  change_person(kAnn, ann);
  return "Ann is " + person_name(kAnn) + " now.";
}

static std::string soon(void (*what)(), const char* answer) {
  later(0, what);
  return answer;
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

template <Fault::Kind kKind>
static std::string add_fault(Words& words) {
  static constexpr const char* kWhat[] = {" will fail.", " gets no answer.", " is answered late.",
                                          " is answered twice."};
  Fault fault;
  fault.kind = kKind;
  words >> fault.request;
  if (kKind == Fault::kLate) fault.seconds = number_of(words, 5);
  if (kKind == Fault::kError) {
    fault.code = static_cast<int>(number_of(words, 0));
    fault.message = rest_of(words);
    const std::size_t last = std::min(fault.message.rfind(' '), fault.message.size());
    Words times(fault.message.substr(last));
    fault.times = static_cast<int>(number_of(times, 0));
    if (fault.times > 0) fault.message.erase(last);
    fault.times = std::max(fault.times, 1);
    if (fault.code == 0 || fault.message.empty()) return {};
  }
  if (fault.request.empty()) return {};
  g_faults.push_back(fault);
  return "The next " + fault.request + kWhat[kKind];
}

// ---- for tests

// Of every chat that the client knows: its object, those of its newest messages, and whether the
// account is outside. The file is whole when it has its name.
static std::string store(Words& words) {
  const std::string path = rest_of(words), unfinished = path + "~";
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

// Each answers what it did, or nothing when its words make no sense. The usage begins with the
// word.
static constexpr struct Steering {
  std::string_view usage;
  std::string (*run)(Words&);
  bool is_fault = false;
} kSteering[] = {
    {"help", help},
    {"call", call},
    {"say <name> <text>", say},
    {"flood <n>", make_flood},
    {"offline <seconds>", offline},
    {"proxy down", proxy},
    {"kick <group>", kick},
    {"edit", [](Words&) { return change_newest(can_edit, edit, " was edited."); }},
    {"delete", [](Words&) { return change_newest(can_delete, remove, " was deleted."); }},
    {"react", [](Words&) { return change_newest(can_react, react_somehow, " was reacted to."); }},
    {"read elsewhere", read_elsewhere},
    {"rename <name>", rename},
    {"error <request> <code> <message> [times]", add_fault<Fault::kError>, true},
    {"lose <request>", add_fault<Fault::kLose>, true},
    {"late <request> <seconds>", add_fault<Fault::kLate>, true},
    {"twice <request>", add_fault<Fault::kTwice>, true},
    {"close", [](Words&) { return soon(close_world, "Closing."); }},
    {"crash", [](Words&) { return soon(std::abort, "Crashing."); }},
    {"store <path>", store},
};

static std::string help(Words&) {
  std::string text;
  for (const Steering& row : kSteering) (text += text.empty() ? "" : "\n") += row.usage;
  return text;
}

// Takes the first word off; null when it is none of these.
static const Steering* find_word(Words& words) {
  std::string word;
  words >> word;
  const auto found = std::find_if(
      std::begin(kSteering), std::end(kSteering),
      [&](const Steering& row) { return row.usage.substr(0, row.usage.find(' ')) == word; });
  return found == std::end(kSteering) ? nullptr : found;
}

std::string steer(std::string_view text) {
  Words words{std::string(text)};
  const Steering* row = find_word(words);
  if (row == nullptr) return "I do not understand; write help.";
  const std::string answer = row->run(words);
  return answer.empty() ? std::string(row->usage) : answer;
}

void steer_from_start() {
  std::string_view rest = g_world.settings.faults, text;
  while (!rest.empty()) {
    split_once(rest, ';', text, rest);
    Words words{std::string(text)};
    const Steering* row = find_word(words);
    if (row != nullptr && row->is_fault != is_ready()) steer(text);
  }
}

}  // namespace world
