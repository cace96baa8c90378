// A line that begins with a brace is an object of TDLib's, any other a command; the first line
// names the level of the protocol, "2" or anything else. What the process has learned stays from
// one input to the next, as it does in a long run.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "frame/channels.h"
#include "frame/protocol.h"
#include "fuzz/targets.h"
#include "json/text.h"
#include "state/users.h"
#include "tables/dispatch.h"

namespace {

// Nothing here validates UTF-8: bytes beyond ASCII pass as they came.
bool is_object_with(std::string text, const char* key) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) c = '?';
  }
  const nlohmann::json parsed = nlohmann::json::parse(text, nullptr, false);
  return parsed.is_object() && parsed.contains(key) && parsed[key].is_string();
}

void check_request(int /*client_id*/, const char* request) {
  must(is_object_with(request, "@type"), "a request is sound", request);
}

// The events file of all inputs, and a place without files for what commands name.
int open_channels() {
  const int events = memfd_create("events", MFD_CLOEXEC);
  std::string folder = std::filesystem::temp_directory_path() / "fuzz-script-XXXXXX";
  must(events >= 0 && mkdtemp(folder.data()) != nullptr && chdir(folder.c_str()) == 0, "a place");
  rmdir(folder.c_str());
  dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
  return events;
}

void check_events(int fd) {
  std::string text(static_cast<std::size_t>(lseek(fd, 0, SEEK_END)), '\0');
  must(pread(fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()), "read back");
  must(text.empty() || text.back() == '\n', "the last event line ends", text);
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text.find('\n', at);
    const std::string line = text.substr(at, end - at);
    must(is_object_with(line, "type"), "an event line is sound", line);
    at = end + 1;
  }
  must(ftruncate(fd, 0) == 0 && lseek(fd, 0, SEEK_SET) == 0, "empty again");
}

}  // namespace

void fuzz_script(std::string_view input) {
  static const int events = open_channels();
  std::string_view line;
  split_once(input, '\n', line, input);
  g_protocol = line == "2" ? 2 : 1;
  g_hub_mode = line == "hub";
  g_events_fd = events;

  Rooms rooms;
  rooms.td = {check_request, 1};
  dispatch_object(rooms, R"({"@type":"updateAuthorizationState","authorization_state":)"
                         R"({"@type":"authorizationStateReady"},"@client_id":1})");
  while (!input.empty()) {
    split_once(input, '\n', line, input);
    line = trim(line);
    if (line.empty()) continue;
    if (line.front() == '{') {
      dispatch_object(rooms, line);
    } else {
      dispatch_command(rooms, line);
    }
    send_pending_inputs(rooms.auth, rooms.td);
    send_next_user_request(rooms.td);
    run_due_timers(rooms.timers);
  }
  check_events(events);
  g_events_fd = -1;
}
