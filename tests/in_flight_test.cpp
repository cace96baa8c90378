// Commands with ids, from their line to their end: whatever happens in between, each ends once.
#include "frame/in_flight.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "frame/protocol.h"
#include "tests/event_lines.h"

namespace {

struct InFlight : testing::Test {
  InFlight() {
    g_protocol = 2;
    emit_hello();
  }
  ~InFlight() override { g_protocol = 1; }
};

void emit(const char* type) {
  std::string event = begin_event(type);
  end_event(event);
}

// What a command still owes, kept in the plainest way.
struct Model {
  std::vector<std::string> tags;  // of unanswered requests
  std::vector<CommandHold> holds;
  std::string failure;  // as its end tells it; empty: none
};

class RandomRun {
 public:
  RandomRun(unsigned seed, int steps) : random_(seed) {
    for (int step = 0; step < steps && !::testing::Test::HasFailure(); ++step) take_step();
    end_of_run();
  }

 private:
  unsigned below(std::size_t limit) {
    return static_cast<unsigned>(random_() % static_cast<unsigned>(limit));
  }

  void take_step() {
    switch (below(8)) {
      case 0:
      case 1: return run_line();
      case 2: return answer_from(answered_);
      case 3:
        return answer_from({"getChat:5#0.0", "getChat:5#501.1",
                            "getChat:5#9007199254740991.4294967295",
                            "getChat:5#99999999999999999999.1"});
      case 4: return release_hold();
      default: return answer_open();
    }
  }

  // What a handler may do in its command's name: requests, a hold, one event.
  void act(std::int64_t id, Model& model) {
    for (unsigned more = below(3); more > 0; --more) {
      model.tags.push_back(tag_of_request("getChat:5"));
    }
    if (below(4) == 0) model.holds.push_back(CommandHold::of_current());
    emit("chat");
    expect_lines({"{\"type\":\"chat\",\"cmd\":" + std::to_string(id)});
  }

  void run_line() {
    const std::int64_t id = 1 + below(500);
    ASSERT_EQ(command_is_open(id), open_.count(id) != 0);
    if (command_is_open(id)) {
      emit_refused_end(id, "open", "id_in_use");
      return expect_lines({end_line(id, ",\"error\":\"id_in_use\"")});
    }
    Model& model = open_[id];
    open_command(id, "open");
    as_command(id, [&] {
      if (below(5) == 0) {
        note_refusal("usage open");
        model.failure = ",\"error\":\"usage open\"";
      } else {
        act(id, model);
      }
    });
    end_of_line(id);
    expect_end_if_over(id);
  }

  void answer_open() {
    auto it = open_.lower_bound(1 + below(500));
    while (it != open_.end() && it->second.tags.empty()) ++it;
    if (it == open_.end()) return;
    const std::int64_t id = it->first;
    Model& model = it->second;
    const std::size_t index = below(model.tags.size());
    std::string tag = model.tags[index];
    EXPECT_NE(tag, "getChat:5");
    answered_.push_back(tag);
    const RequestRef request = take_request(tag);
    EXPECT_EQ(tag, "getChat:5");
    ASSERT_EQ(request.command, id);
    as_command(request.command, [&] {
      if (below(6) == 0) {
        const int code = static_cast<int>(400 + below(9));
        note_td_error(code, "x");
        const std::string told = ",\"code\":" + std::to_string(code) + ",\"error\":\"x\"";
        if (model.failure.empty()) model.failure = told;
      }
      if (below(3) == 0) act(id, model);
    });
    model.tags.erase(model.tags.begin() + static_cast<std::ptrdiff_t>(index));
    end_of_answer(request);
    expect_end_if_over(id);
  }

  // An answer that came before, or one that nobody asked for, belongs to nobody.
  void answer_from(const std::vector<std::string>& tags) {
    if (tags.empty()) return;
    std::string tag = tags[below(tags.size())];
    const RequestRef request = take_request(tag);
    EXPECT_EQ(tag, "getChat:5");
    ASSERT_EQ(request.command, 0);
    as_command(request.command, [] {
      note_td_error(500, "nobody's");
      emit("chat");
    });
    end_of_answer(request);
    expect_lines({"{\"type\":\"chat\""});
  }

  void release_hold() {
    auto it = open_.lower_bound(1 + below(500));
    while (it != open_.end() && it->second.holds.empty()) ++it;
    if (it == open_.end()) return;
    // Released in another command's name, as a closed chat drops a scheduled question.
    as_nobody([&] { it->second.holds.pop_back(); });
    expect_end_if_over(it->first);
  }

  static std::string end_line(std::int64_t id, const std::string& failure) {
    return "{\"type\":\"command_end\",\"cmd\":" + std::to_string(id) +
           ",\"command\":\"open\",\"ok\":" + (failure.empty() ? "true" : "false") + failure;
  }

  void expect_end_if_over(std::int64_t id) {
    const Model& model = open_[id];
    const bool over = model.tags.empty() && model.holds.empty();
    expect_lines(over ? std::vector<std::string>{end_line(id, model.failure)}
                      : std::vector<std::string>{});
    EXPECT_EQ(command_is_open(id), !over);
    if (over) open_.erase(id);
  }

  void end_of_run() {
    close_all_commands();
    std::vector<std::string> ends;
    for (const auto& entry : open_) ends.push_back(end_line(entry.first, ",\"error\":\"closed\""));
    expect_lines(ends);
    open_.clear();  // holds that outlive the run end nothing
    expect_lines({});
    EXPECT_EQ(open_commands(), 0u);
  }

  void expect_lines(const std::vector<std::string>& wanted) {
    std::vector<std::string> lines = events_.take();
    for (std::string& line : lines) line.resize(line.rfind(",\"seq\":"));
    EXPECT_EQ(lines, wanted);
  }

  EventLines events_;
  std::mt19937 random_;
  std::map<std::int64_t, Model> open_;
  std::vector<std::string> answered_;
};

TEST_F(InFlight, EveryIdEndsOnceWhateverHappens) {
  for (const unsigned seed : {1u, 2u}) RandomRun(seed, 8000);
}

TEST_F(InFlight, NothingIsTakenForASuffixThatIsNone) {
  const std::string typed = tag_of_request("resolve:ann#7.1");
  EXPECT_EQ(typed, "resolve:ann#7.1#0.0");
  open_command(7, "open");
  std::string request;
  as_command(7, [&] { request = tag_of_request("resolve:ann#7.1"); });
  for (std::string tag : {typed, request}) {
    (void)take_request(tag);
    EXPECT_EQ(tag, "resolve:ann#7.1");
  }
  for (const char* tag : {"#", "#.", "#1.", "#.1", "1.1", "a#1.x", "a#x.1", "a#1.1 "}) {
    std::string taken = tag;
    EXPECT_EQ(take_request(taken).command, 0);
    EXPECT_EQ(taken, tag);
  }
  close_all_commands();
}

}  // namespace
