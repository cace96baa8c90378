// One system call or allocation of a whole day fails: which one, is counted through.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "tests/objects.h"
#include "tests/standin/faults.h"
#include "tests/support/backend_run.h"

namespace {

struct Day {
  Lines lines;  // of the events file
  Lines said;   // of standard output
  Lines log;    // but for those that name the process or its directory
  int status = 0;
  int writes = 0;
  int allocations = 0;
};

// The first part of the day, as far as the program goes.
void play(BackendRun& run) {
  static const std::string script = read_file(TD_BACKEND_SOURCE_DIR "/tests/flows/day.txt");
  run.start();
  bool begun = false;
  for (std::size_t at = 0; at < script.size() && run.running();) {
    const std::size_t end = script.find('\n', at);
    const std::string line = script.substr(at, end - at);
    at = end + 1;
    const std::size_t blank = line.find(' ');
    const std::string word = line.substr(0, blank);
    const std::string text = blank == std::string::npos ? "" : expand_objects(&line[blank + 1]);
    if (word == "==" && std::exchange(begun, true)) return;
    if (word == ">") {
      run.send_line(text);
    } else if (word == "td") {
      run.deliver(text);
    } else if (word.rfind("td:", 0) == 0) {
      run.answer(text, word.substr(3));
    }
  }
}

Day live(FaultKind fault, int at, int error = 0) {
  BackendRun run;
  run.record = false;
  run.hold_clock();
  const std::string path = run.dir / "faults";
  write_file(path, std::string(sizeof(Faults), '\0'));
  const int fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
  void* page = mmap(nullptr, sizeof(Faults), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  auto& faults = *static_cast<Faults*>(page);
  faults.fault = fault;
  faults.at = at;
  faults.error = error;
  run.env["TD_FAULTS"] = path;
  run.env["LD_PRELOAD"] = TD_STANDIN_DIR "/held.so:" TD_STANDIN_DIR "/faults.so";
  Day day;
  play(run);
  day.status = run.running() ? run.quit() : run.wait_exit();
  day.lines = run.events();
  day.said = run.replies();
  const auto names_the_run = [&](const std::string& line) {
    return line.find(run.dir.path()) != std::string::npos ||
           line.find(" pid=") != std::string::npos;
  };
  for (const std::string& line : run.log_lines()) {
    if (!names_the_run(line)) day.log.push_back(line);
  }
  if (!day.lines.empty()) day.lines.erase(day.lines.begin());  // the process and the time
  day.writes = faults.writes;
  day.allocations = faults.allocations;
  munmap(page, sizeof(Faults));
  return day;
}

// Every line is one of the whole day's, in their order; the beginning of one where `torn` allows.
// Gives how many are missing.
std::size_t missing_lines(const Lines& lines, const Lines& all, bool& torn) {
  std::size_t next = 0;
  for (const std::string& line : lines) {
    const std::size_t before = next;
    while (next < all.size() && all[next] != line) ++next;
    if (next < all.size()) {
      ++next;
    } else {
      next = before;
      EXPECT_TRUE(std::exchange(torn, false) && line.size() == 1) << line;
    }
  }
  return all.size() - lines.size();
}

}  // namespace

TEST(Faults, AWriteThatFailsLosesItsLineAlone) {
  const Day whole = live(FaultKind::kNone, 0);
  ASSERT_EQ(whole.status, 0);
  ASSERT_GT(whole.lines.size(), 50u);
  const struct {
    FaultKind fault;
    int error;
    std::size_t lost;
  } kKinds[] = {{FaultKind::kShort, 0, 0},      {FaultKind::kFails, EINTR, 0},
                {FaultKind::kFails, EAGAIN, 1}, {FaultKind::kFails, ENOSPC, 1},
                {FaultKind::kFails, EIO, 1},    {FaultKind::kTorn, 0, 1}};
  constexpr int kStride = 29;  // not the same calls for each kind
  int first = 1;
  for (const auto& kind : kKinds) {
    for (int at = first++; at <= whole.writes; at += kStride) {
      SCOPED_TRACE(testing::Message()
                   << static_cast<int>(kind.fault) << ' ' << kind.error << " at " << at);
      const Day day = live(kind.fault, at, kind.error);
      EXPECT_EQ(day.status, 0);
      bool torn = kind.fault == FaultKind::kTorn;
      EXPECT_LE(missing_lines(day.lines, whole.lines, torn) +
                    missing_lines(day.said, whole.said, torn) +
                    missing_lines(day.log, whole.log, torn),
                kind.lost);
    }
  }
}

TEST(Faults, MemoryThatRunsOut) {
  const Day whole = live(FaultKind::kNone, 0);
  const int stride = whole.allocations / 24;
  for (int at = 1; at <= whole.allocations; at += stride) {
    SCOPED_TRACE(at);
    // A mapping serves where malloc fails: nobody notices.
    const Day served = live(FaultKind::kMalloc, at);
    EXPECT_EQ(served.status, 0);
    EXPECT_EQ(served.lines, whole.lines);
    const Day out = live(FaultKind::kMemory, at);
    EXPECT_EQ(out.status, 42);
    EXPECT_EQ(out.allocations, at + 1) << "malloc is asked once, then for the exception";
    bool torn = false;
    missing_lines(out.lines, whole.lines, torn);
    missing_lines(out.said, whole.said, torn);
  }
}
