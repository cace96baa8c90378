// Commands and what TDLib gives, a line each. The first line names the level of the protocol, "2",
// "hub" or anything else. A line that begins with a brace is an object; "=TAG OBJECT" is the answer
// to the open request with this tag, or to the oldest one; any other is a command. At the end all
// open requests are answered with errors, and everything that has begun must have ended.
// What the process has learned of users stays from one input to the next, as in a long run.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "frame/channels.h"
#include "frame/in_flight.h"
#include "frame/protocol.h"
#include "fuzz/strict_json.h"
#include "fuzz/targets.h"
#include "json/text.h"
#include "state/users.h"
#include "tables/dispatch.h"

namespace {

bool g_sound_objects;                   // so far; of others' members requests are made as they come
bool g_unasked_answers;                 // some object had a tag of its own
std::vector<std::string> g_open_tags;   // of requests without an answer, as JSON strings
std::map<std::string, int> g_ends_due;  // "command_end" by its id

// A line is kept for the checks against the schemas, where FUZZ_LINES names a directory.
void keep(const char* kind, std::string_view line) {
  static const char* const lines = std::getenv("FUZZ_LINES");
  if (lines == nullptr) return;
  static std::map<std::string, int> files;
  int& fd = files[kind];
  if (fd == 0) {
    const std::filesystem::path folder = std::filesystem::path(lines) / kind;
    std::filesystem::create_directories(folder);
    fd = open((folder / "fuzz").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  }
  const std::string whole = std::string(line) + '\n';
  must(write(fd, whole.data(), whole.size()) == static_cast<ssize_t>(whole.size()), "kept");
}

void check_request(int /*client_id*/, const char* request) {
  const std::vector<Member> members = members_of(request);
  if (!g_sound_objects) {
    const std::string_view text = request;
    const std::size_t tag = text.rfind(R"(,"@extra":)");
    if (tag != std::string_view::npos) {
      g_open_tags.emplace_back(text.substr(tag + 10, text.size() - tag - 11));
    }
    return;
  }
  must(!members.empty() && members.front().key == "@type", "a request is sound", request);
  const std::string_view tag = value_of(members, "@extra");
  if (!tag.empty()) g_open_tags.emplace_back(tag);
  keep("requests", request);
}

// The events file of all inputs, and a place without files for what commands name.
int open_channels() {
  const int events = memfd_create("events", MFD_CLOEXEC);
  std::string folder = std::filesystem::temp_directory_path() / "fuzz-script-XXXXXX";
  must(events >= 0 && mkdtemp(folder.data()) != nullptr && chdir(folder.c_str()) == 0, "a place");
  rmdir(folder.c_str());
  g_log_to_stderr = false;
  g_log_fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(g_log_fd, STDOUT_FILENO);
  return events;
}

// Series of a kind, told apart by the numbers that their ends always have: "search 7",
// "history 5".
struct Series {
  int begins = 0;
  int ends = 0;
};

void count_series(const std::vector<Member>& event, std::map<std::string, Series>& series) {
  std::string type(value_of(event, "type"));
  const std::size_t part = type.rfind('_');
  if (part == std::string::npos) return;
  const std::string kind = type.substr(part);
  if (kind != "_begin\"" && kind != "_end\"") return;
  type.resize(part);
  if (type == "\"command") {
    const std::string id(value_of(event, "cmd"));
    must(--g_ends_due[id] >= 0, "one command_end for a line", id);
  }
  if (type == "\"command" || type == "\"proxy_list") return;  // without a begin
  const char* const number = type == "\"history" ? "gen" : "req";
  type.append(" ").append(value_of(event, number));
  Series& counts = series[type];
  ++(kind == "_begin\"" ? counts.begins : counts.ends);
  must(counts.begins > 0 || g_unasked_answers, "a series begins before it ends", type);
}

void check_series(const std::map<std::string, Series>& series) {
  for (const auto& [name, counts] : series) {
    const bool search =
        name.find("search") == 1 || name.find("chat_search") == 1 || name.find("shared") == 1;
    if (name.find("history") == 1) {
      // A load that replaces may end again, three times at most.
      must(counts.begins == 1 && counts.ends >= 1 && counts.ends <= 4, "a history ends", name);
    } else if (search && counts.begins > 1) {
      // The same number again replaces a search, whose answers have no one to go to.
      must(counts.ends >= 1 && counts.ends <= counts.begins, "a search ends", name);
    } else {
      must(counts.begins == counts.ends, "what begins ends once", name);
    }
  }
}

void check_events(int fd) {
  std::string text(static_cast<std::size_t>(lseek(fd, 0, SEEK_END)), '\0');
  must(pread(fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()), "read back");
  must(text.empty() || text.back() == '\n', "the last event line ends", text);
  std::map<std::string, Series> series;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text.find('\n', at);
    const std::string line = text.substr(at, end - at);
    at = end + 1;
    const std::vector<Member> event = members_of(line);
    must(!event.empty() && event.front().key == "type" && event.front().value.front() == '"',
         "an event line is sound", line);
    count_series(event, series);
    keep("events", line);
  }
  if (!g_hub_mode && !g_unasked_answers) check_series(series);
  for (const auto& [id, due] : g_ends_due) must(due == 0, "every line has its command_end", id);
  must(ftruncate(fd, 0) == 0 && lseek(fd, 0, SEEK_SET) == 0, "empty again");
}

void give(Rooms& rooms, std::string_view object) {
  g_sound_objects = g_sound_objects && is_json(object);
  g_unasked_answers |= object.find("@extra") != std::string_view::npos;
  dispatch_object(rooms, object);
}

// Answers the open request with the tag, or the oldest, by an object.
void answer(Rooms& rooms, std::string_view tag, std::string_view object) {
  if (g_open_tags.empty() || object.size() < 3 || object.back() != '}') return;
  // A command's id makes the end of a tag, which differs from run to run.
  tag = tag.substr(0, tag.find('#'));
  const auto same = [tag](const std::string& open) {
    return std::string_view(open).substr(1, open.find_first_of("#\"", 1) - 1) == tag;
  };
  auto found = std::find_if(g_open_tags.begin(), g_open_tags.end(), same);
  if (found == g_open_tags.end()) found = g_open_tags.begin();
  object.remove_suffix(1);
  const std::string text = std::string(object) + ",\"@extra\":" + *found + ",\"@client_id\":1}";
  if (!is_json(text) || object.find("@extra") != std::string_view::npos) {
    return give(rooms, text);  // nobody can tell what it answers
  }
  g_open_tags.erase(found);
  dispatch_object(rooms, text);
}

void run(Rooms& rooms, std::string_view line) {
  if (line.front() == '{') {
    give(rooms, line);
  } else if (line.front() == '=') {
    std::string_view tag;
    std::string_view object;
    split_once(line.substr(1), ' ', tag, object);
    answer(rooms, tag, trim(object));
  } else {
    std::int64_t id = 0;
    std::string_view number;
    std::string_view command;
    const bool numbered = at_level2() && line.front() == '#' &&
                          split_once(line.substr(1), ' ', number, command) &&
                          number.find_first_not_of("0123456789") == std::string_view::npos &&
                          parse_i64(number, id) && id >= 1 && id <= 9007199254740991;
    if (numbered) ++g_ends_due[std::to_string(id)];
    dispatch_command(rooms, line);
  }
  send_pending_inputs(rooms.auth, rooms.td);
  send_next_user_request(rooms.td);
  run_due_timers(rooms.timers);
}

// Errors for all that is asked, and the time for all that waits: a load is repeated few times only.
void finish(Rooms& rooms) {
  for (int rounds = 0; !g_open_tags.empty() || !rooms.timers.heap.empty(); ++rounds) {
    must(rounds < 100, "nothing is asked for ever");
    for (std::size_t open = g_open_tags.size(); open > 0; --open) {
      answer(rooms, "", R"({"@type":"error","code":500,"message":"gone"})");
    }
    std::vector<Timer> due;
    due.swap(rooms.timers.heap);
    for (const Timer& timer : due) timer.fire();
  }
  close_all_commands();
}

}  // namespace

void fuzz_script(std::string_view input) {
  static const int events = open_channels();
  be_quiet();
  std::string_view line;
  split_once(input, '\n', line, input);
  g_protocol = line == "2" ? 2 : 1;
  g_hub_mode = line == "hub";
  g_events_fd = events;
  g_sound_objects = true;
  g_unasked_answers = false;
  g_open_tags.clear();
  g_ends_due.clear();

  emit_hello();
  Rooms rooms;
  rooms.td = {check_request, 1};
  dispatch_object(rooms, R"({"@type":"updateAuthorizationState","authorization_state":)"
                         R"({"@type":"authorizationStateReady"},"@client_id":1})");
  while (!input.empty()) {
    split_once(input, '\n', line, input);
    line = trim(line);
    if (!line.empty()) run(rooms, line);
  }
  finish(rooms);
  check_events(events);
  g_events_fd = -1;
}
