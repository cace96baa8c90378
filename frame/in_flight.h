// The commands that a client gave an id (level 2), from their line to their "command_end".
//
// A command is over when its line has been handled, no request that it caused is unanswered and
// nothing holds it (a repetition that is scheduled, an input that waits for its state, a series
// that others may complete). It is then told exactly once, and nothing carries its id any more.
//
//   as_command(id, f)     runs f in the command's name: events carry its id, requests belong to it
//   as_nobody(f)          runs f in nobody's name, for requests that are everybody's business
//   tag_of_request(tag)   a request leaves: its tag gets the suffix "#<id>.<number of the request>"
//   take_request(tag)     an answer comes: the suffix is taken off again
//   CommandHold           keeps the command open as long as it lives
//
// The number, never used twice, makes a second answer to the same request harmless: it belongs to
// nobody, also when the id is open again. Main thread only. At level 1 the table is empty and none
// of this does anything.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

// In whose name something happens now; 0: nobody's.
std::int64_t current_command();

bool command_is_open(std::int64_t id);
std::size_t open_commands();
// `word` lives as long as the record: as long as the process, or until end_of_line when the command
// causes nothing. The id is not open.
void open_command(std::int64_t id, std::string_view word);
// The current command was refused; `reason`: the reply line without "ERR ".
void note_refusal(std::string_view reason);
// One of the current command's requests was answered with an error. The first one is told.
void note_td_error(std::int64_t code, std::string_view message);
// The line has been handled.
void end_of_line(std::int64_t id);
// "command_end" for a line that never got a record of its own.
void emit_refused_end(std::int64_t id, std::string_view word, std::string_view reason);
// The run ends: every open command does, too, with the error "closed".
void close_all_commands();

// The tag of a request that leaves now. One without a command is left alone, unless it holds
// what could be taken for a suffix.
std::string tag_of_request(std::string_view tag);

// A request of which the answer has come.
struct RequestRef {
  std::int64_t command = 0;  // 0: nobody's, or it had its answer before
  std::uint32_t number = 0;
};
// Takes the suffix off the tag of an answer.
RequestRef take_request(std::string& tag);
// The answer has been handled.
void end_of_answer(const RequestRef& request);

// Sets whose name counts, and gives what counted before.
std::int64_t exchange_current_command(std::int64_t id);
// Tells the end when the command is over.
void end_command_if_over(std::int64_t id);

template <class Function>
void as_command(std::int64_t id, Function function) {
  const std::int64_t before = exchange_current_command(id);
  function();
  (void)exchange_current_command(before);
  if (id != 0) end_command_if_over(id);
}

template <class Function>
void as_nobody(Function function) {
  as_command(0, function);
}

class CommandHold {
 public:
  CommandHold() = default;
  CommandHold(CommandHold&& other) noexcept : id_(std::exchange(other.id_, 0)) {}
  CommandHold& operator=(CommandHold&& other) noexcept {
    std::swap(id_, other.id_);
    other.release();
    return *this;
  }
  ~CommandHold() { release(); }

  // Of the current command; of nobody when there is none.
  static CommandHold of_current();
  std::int64_t command() const { return id_; }
  void release();

 private:
  explicit CommandHold(std::int64_t id) : id_(id) {}
  std::int64_t id_ = 0;
};
