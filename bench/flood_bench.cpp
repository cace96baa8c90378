// The whole program under a flood of updates, beside a null program that makes the same calls,
// reads and writes and does nothing else. Then the answer to "ping" in the middle of it.
//
// usage: flood_bench [objects of the mixed flood, default 1000000]
//        flood_bench --objects FILE    writes the mixed flood's objects and does nothing else
//        flood_bench --programs ROUNDS PROGRAM...    the mixed flood's processor time in each, the
//                                                    least of so many rounds
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "bench/corpus.h"

namespace fs = std::filesystem;

namespace {

using Lines = std::vector<std::string>;
constexpr int kKinds = 1000;  // different objects a file

struct Figures {
  double ns_per_object = 0;
  long long sends = 0;
  long long rss_begin_kib = 0;
  long long rss_end_kib = 0;
};

std::string number(long long value) { return std::to_string(value); }

std::string new_message(int i) {
  return R"({"@type":"updateNewMessage","message":)" + corpus_message(i) + R"(,"@client_id":1})";
}

// The corpus user under many ids, each online at another time.
std::string user(int i) {
  std::string text = corpus_text("user");
  const std::string marker = R"("user":{"@type":"user","id":)";
  const std::size_t begin = text.find(marker) + marker.size();
  text.replace(begin, text.find(',', begin) - begin, number(1000 + i % 500));
  const std::size_t photo = text.find(R"("was_online":)");
  if (photo != std::string::npos) {
    const std::size_t digits = photo + 13;
    text.replace(digits, text.find_first_not_of("0123456789", digits) - digits,
                 number(1700000000 + i));
  }
  return text;
}

std::string read_or_position(int i) {
  const std::string chat = number(-1001000000000LL - i % 200);
  if (i % 2 == 0) {
    return R"({"@type":"updateChatReadInbox","chat_id":)" + chat +
           R"(,"last_read_inbox_message_id":)" + number(1048576LL * i) + R"(,"unread_count":)" +
           number(i % 90) + R"(,"@client_id":1})";
  }
  return R"({"@type":"updateChatPosition","chat_id":)" + chat +
         R"(,"position":{"@type":"chatPosition","list":{"@type":"chatListMain"},"order":")" +
         number(7290000000000000000LL + i) + R"(","is_pinned":false},"@client_id":1})";
}

std::string file_or_info(int i) {
  if (i % 2 == 0) {
    return R"({"@type":"updateFile","file":{"@type":"file","id":)" + number(i) +
           R"(,"size":100000,"expected_size":100000,"local":{"@type":"localFile","path":"",)"
           R"("can_be_downloaded":true,"can_be_deleted":false,"is_downloading_active":true,)"
           R"("is_downloading_completed":false,"download_offset":0,"downloaded_prefix_size":)" +
           number(i) + R"(,"downloaded_size":)" + number(i) +
           R"(},"remote":{"@type":"remoteFile","id":"AgACAgIAAx0","unique_id":"AQAD",)"
           R"("is_uploading_active":false,"is_uploading_completed":true,"uploaded_size":100000}},)"
           R"("@client_id":1})";
  }
  return R"({"@type":"updateMessageInteractionInfo","chat_id":-1001000000001,"message_id":)" +
         number(1048576LL * i) +
         R"(,"interaction_info":{"@type":"messageInteractionInfo","view_count":5,)"
         R"("forward_count":1,"reply_info":{"@type":"messageReplyInfo","reply_count":3,)"
         R"("recent_replier_ids":[],"last_read_inbox_message_id":0,)"
         R"("last_read_outbox_message_id":0,"last_message_id":0},"reactions":)"
         R"({"@type":"messageReactions","reactions":[{"@type":"messageReaction","type":)"
         R"({"@type":"reactionTypeEmoji","emoji":"\ud83d\udc4d"},"total_count":)" +
         number(1 + i % 9) +
         R"(,"is_chosen":false,"recent_sender_ids":[]}],"are_tags":false,"paid_reactors":[],)"
         R"("can_get_added_reactions":false}},"@client_id":1})";
}

std::string mixed(int i) {
  const int kind = i * 7 % 10;
  if (kind < 5) return new_message(i);
  if (kind < 7) return user(i);
  return kind < 9 ? read_or_position(i) : file_or_info(i);
}

void write_lines(const fs::path& path, const Lines& lines) {
  std::ofstream out(path, std::ios::binary);
  for (const std::string& line : lines) out << line << '\n';
}

Lines objects_of(std::string (*make)(int)) {
  Lines objects;
  for (int i = 0; i < kKinds; ++i) objects.push_back(make(i));
  return objects;
}

struct Bench {
  fs::path dir;
  Figures read_report() const {
    std::ifstream report(dir / "report");
    std::string word;
    long long objects = 1;
    Figures figures;
    while (report >> word) {
      const std::size_t equals = word.find('=');
      const long long value = std::atoll(word.c_str() + equals + 1);
      const std::string key = word.substr(0, equals);
      if (key == "objects") objects = value;
      if (key == "ns") figures.ns_per_object = static_cast<double>(value);
      if (key == "sends") figures.sends = value;
      if (key == "rss_begin_kib") figures.rss_begin_kib = value;
      if (key == "rss_end_kib") figures.rss_end_kib = value;
    }
    figures.ns_per_object /= static_cast<double>(objects);
    return figures;
  }

  // Standard input is a pipe that stays open and empty, as under an idle UI. Returns the processor
  // time that it took, in ns.
  double run(const std::vector<std::string>& argv) const {
    int input[2];
    if (pipe(input) != 0) std::exit(1);
    const pid_t child = fork();
    if (child == 0) {
      dup2(input[0], 0);
      close(input[1]);
      const int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(null, 2);
      std::vector<char*> args;
      for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
      args.push_back(nullptr);
      execv(args[0], args.data());
      _exit(127);
    }
    close(input[0]);
    int status = 0;
    rusage used = {};
    wait4(child, &status, 0, &used);
    close(input[1]);
    if (status != 0) {
      std::fprintf(stderr, "flood: %s ended with %d\n", argv[0].c_str(), status);
      std::exit(1);
    }
    return 1e9 * static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
           1e3 * static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec);
  }

  // Each round floods each program once, so that what else the machine does meets them alike.
  void compare(int rounds, const std::vector<std::string>& programs) const {
    constexpr int kObjects = 200000;
    write_lines(dir / "flood", objects_of(mixed));
    setenv("TD_FLOOD_COUNT", number(kObjects).c_str(), 1);
    std::vector<double> least(programs.size(), 1e18);
    for (int round = 0; round < rounds; ++round) {
      for (std::size_t i = 0; i < programs.size(); ++i) {
        fs::copy_file(programs[i], dir / "td_backend", fs::copy_options::overwrite_existing);
        least[i] = std::min(least[i], run({dir / "td_backend"}) / kObjects);
      }
    }
    for (std::size_t i = 0; i < programs.size(); ++i) {
      std::printf("%-60s %6.0f ns an object, %+.1f %%\n", programs[i].c_str(), least[i],
                  100 * (least[i] / least[0] - 1));
    }
  }

  void measure(const char* name, const Lines& objects, long long count) const {
    write_lines(dir / "flood", objects);
    setenv("TD_FLOOD_COUNT", number(count).c_str(), 1);
    const std::string lines = dir / "events.jsonl";
    run({dir / "td_backend"});
    const Figures ours = read_report();
    run({dir / "null_program", dir / "libtdjson.so.1.8.61", lines, number(count),
         dir / "null.jsonl"});
    const Figures null = read_report();
    std::printf(
        "%-22s %9lld objects %8.0f objects/s %7.0f ns each, null program %7.0f ns, "
        "ratio %.2f; resident %lld -> %lld KiB\n",
        name, count, 1e9 / ours.ns_per_object, ours.ns_per_object, null.ns_per_object,
        ours.ns_per_object / null.ns_per_object, ours.rss_begin_kib, ours.rss_end_kib);
    std::fflush(stdout);
  }

  // Time from the write of "ping" to the arrival of "PONG" while the flood runs.
  void measure_ping() const {
    setenv("TD_FLOOD_COUNT", "1000000000", 1);
    unsetenv("BACKEND_EVENTS_FILE");
    int input[2];
    int output[2];
    if (pipe(input) != 0 || pipe(output) != 0) std::exit(1);
    const pid_t child = fork();
    if (child == 0) {
      dup2(input[0], 0);
      dup2(output[1], 1);
      const std::string program = dir / "td_backend";
      execl(program.c_str(), program.c_str(), nullptr);
      _exit(127);
    }
    close(output[1]);
    std::vector<double> micros;
    std::string seen;
    char buffer[4096];
    for (int i = 0; i < 5001; ++i) {
      const auto begin = std::chrono::steady_clock::now();
      (void)!write(input[1], "ping\n", 5);
      while (seen.find("PONG\n") == std::string::npos) {
        const ssize_t got = read(output[0], buffer, sizeof buffer);
        if (got <= 0) std::exit(1);
        seen.append(buffer, static_cast<std::size_t>(got));
      }
      seen.clear();
      const std::chrono::duration<double, std::micro> took =
          std::chrono::steady_clock::now() - begin;
      if (i > 0) micros.push_back(took.count());
    }
    (void)!write(input[1], "quit\n", 5);
    waitpid(child, nullptr, 0);
    std::sort(micros.begin(), micros.end());
    std::printf("ping in the flood: median %.1f us, 99th percentile %.1f us\n",
                micros[micros.size() / 2], micros[micros.size() * 99 / 100]);
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "--objects") {
    write_lines(argv[2], objects_of(mixed));
    return 0;
  }
  const long long count = argc > 1 && argv[1][0] != '-' ? std::atoll(argv[1]) : 1000000;
  std::string dir = fs::temp_directory_path() / "td_flood_XXXXXX";
  if (mkdtemp(dir.data()) == nullptr) return 1;
  const Bench bench{dir};
  fs::copy_file(TD_BACKEND_PROGRAM, bench.dir / "td_backend");
  fs::copy_file(TD_NULL_PROGRAM, bench.dir / "null_program");
  fs::copy_file(TD_FLOOD_LIBRARY, bench.dir / "libtdjson.so.1.8.61");
  write_lines(bench.dir / "prelude",
              {R"({"@type":"updateAuthorizationState","authorization_state":)"
               R"({"@type":"authorizationStateReady"},"@client_id":1})"});
  setenv("TD_FLOOD", (bench.dir / "flood").c_str(), 1);
  setenv("TD_FLOOD_PRELUDE", (bench.dir / "prelude").c_str(), 1);
  setenv("TD_FLOOD_REPORT", (bench.dir / "report").c_str(), 1);
  setenv("TDLIB_DB_DIR", (bench.dir / "db").c_str(), 1);
  setenv("TDLIB_FILES_DIR", (bench.dir / "files").c_str(), 1);
  setenv("BACKEND_EVENTS_FILE", (bench.dir / "events.jsonl").c_str(), 1);

  if (argc > 3 && std::string(argv[1]) == "--programs") {
    bench.compare(std::atoi(argv[2]), {argv + 3, argv + argc});
    fs::remove_all(bench.dir);
    return 0;
  }
  const long long part = std::max(1LL, count / 5);
  bench.measure("new messages", objects_of(new_message), part);
  bench.measure("users", objects_of(user), part);
  bench.measure("read and position", objects_of(read_or_position), part);
  bench.measure("files, interaction", objects_of(file_or_info), part);
  const Lines all = objects_of(mixed);
  bench.measure("mixed", all, count);
  setenv("BACKEND_PROTOCOL", "2", 1);
  bench.measure("mixed, level 2", all, count);
  unsetenv("BACKEND_PROTOCOL");
  bench.measure_ping();
  fs::remove_all(bench.dir);
}
