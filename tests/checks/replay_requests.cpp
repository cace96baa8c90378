// Sends every request that the flow tests have seen through the real library, without a network.
// Fails when the library cannot parse one: it answers 401 to what it has parsed.
//
// usage: replay_requests LIBRARY REQUEST_LINES_DIR
#include <dlfcn.h>
#include <sched.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "auth/auth_requests.h"
#include "frame/answer.h"
#include "frame/tdlib.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"

namespace {

// Without a network these wait for one, so no answer is owed; a parse error would come at once.
const std::set<std::string, std::less<>> kWaitForNetwork = {"setAuthenticationPhoneNumber",
                                                            "pingProxy"};

// One request, with the smallest numbers, stands for all that differ only in them: tests also send
// ids that do not fit the library's types.
std::string shape_of(const std::string& request) {
  std::string shape;
  for (const char c : request) {
    const bool digit = c >= '0' && c <= '9';
    if (!digit) shape += c;
    if (digit && (shape.empty() || shape.back() != '#')) shape += '#';
  }
  return shape;
}

std::string without_tag(const std::string& request) {
  const std::size_t tag = request.rfind(",\"@extra\":\"");
  return tag == std::string::npos ? request : request.substr(0, tag) + "}";
}

std::map<std::string, std::string> read_requests(const char* directory) {
  std::map<std::string, std::string> requests;
  for (const auto& file : std::filesystem::directory_iterator(directory)) {
    std::ifstream lines(file.path());
    std::string line;
    while (std::getline(lines, line)) {
      line = without_tag(line);
      if (object_type(line) == "setTdlibParameters") continue;
      std::string& chosen = requests[shape_of(line)];
      if (chosen.empty() || line.size() < chosen.size()) chosen = line;
    }
  }
  return requests;
}

bool wait_for_phone_state(const TdApi& api) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (std::chrono::steady_clock::now() < end) {
    const char* text = api.receive(1.0);
    if (text != nullptr && json_contains(text, "\"authorizationStateWaitPhoneNumber\""))
      return true;
  }
  return false;
}

int replay(const TdApi& api, const std::map<std::string, std::string>& requests) {
  const TdClient td{api.send, api.create_client_id()};
  std::string directory = std::filesystem::temp_directory_path() / "td_replay_XXXXXX";
  if (mkdtemp(directory.data()) == nullptr) return 1;
  TdlibParameters parameters;
  parameters.database_directory = parameters.files_directory = directory;
  parameters.api_id = 1;
  parameters.api_hash = "0123456789abcdef0123456789abcdef";
  td_request(td, make_set_tdlib_parameters(parameters), "setParams");
  if (!wait_for_phone_state(api)) {
    std::puts("the library never asked for a phone number");
    return 1;
  }
  std::map<std::string, std::string> open;
  for (const auto& [shape, request] : requests) {
    const std::string tag = "replay:" + std::to_string(open.size());
    open[tag] = request;
    td_request(td, request, tag);
  }
  std::map<std::int64_t, int> codes;
  int failures = 0;
  auto quiet = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  const auto owed = [&] {
    for (const auto& [tag, request] : open) {
      if (kWaitForNetwork.find(object_type(request)) == kWaitForNetwork.end()) return true;
    }
    return false;
  };
  while (owed() && std::chrono::steady_clock::now() < quiet) {
    const char* text = api.receive(1.0);
    if (text == nullptr) continue;
    const std::string tag = take_tag(text);
    const auto request = open.find(tag);
    if (request == open.end()) continue;
    ++codes[json_starts_with(text, "{\"@type\":\"error\"") ? member_int(text, "code") : 0];
    if (member_string(text, "message").rfind("Failed to parse", 0) == 0) {
      std::printf("%s\n  %s\n", text, request->second.c_str());
      ++failures;
    }
    open.erase(request);
  }
  for (const auto& [tag, request] : open) {
    const bool waits = kWaitForNetwork.find(object_type(request)) != kWaitForNetwork.end();
    if (!waits) ++failures;
    std::printf("no answer%s: %s\n", waits ? " without a network" : "", request.c_str());
  }
  for (const auto& [code, count] : codes) {
    std::printf("%d requests answered with %lld\n", count, static_cast<long long>(code));
  }
  std::error_code busy;  // the library may take files away meanwhile
  std::filesystem::remove_all(directory, busy);
  return failures == 0 && !requests.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
    std::perror("cannot make a network namespace");
    return 1;
  }
  const std::map<std::string, std::string> requests = read_requests(argv[2]);
  TdApi api;
  const std::filesystem::path library(argv[1]);
  load_tdlib(library.parent_path().string(), api);
  if (!api.loaded) return 1;
  api.set_log_verbosity_level(0);
  const int status = replay(api, requests);
  std::fflush(stdout);
  std::_Exit(status);  // the library's threads are at work
}
