// One command of the UI while it is carried out: its row, its arguments, and the reply
// conventions that all handlers share. A handler parses, refuses, acts and tells, in that order:
// a malformed command gets its usage line even before the account is logged in.
// Main thread only; views live as long as the handler's call.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

enum class Gate {
  kOpen,   // accepted in every state
  kReady,  // acts for the user: refused until the account is logged in
};

struct CommandCall {
  std::string_view word;       // as typed
  std::string_view arguments;  // their description in the command's row
  std::string_view args;       // what is left of the argument text
  Gate gate = Gate::kOpen;
  bool ready = false;  // the account is logged in
};

// Takes the next argument off the front, trimmed. Empty when none is left, and for the empty
// piece between two blanks, which counts as a missing argument.
std::string_view next_arg(CommandCall& call);
// The next argument where it is a text: also empty when it is not UTF-8.
std::string_view next_text(CommandCall& call);
// A base64 argument decoded; false when it is no base64 or decodes to something else than UTF-8.
bool decode_text(std::string_view base64, std::string& text);
// A required number. False when it is missing or does not parse.
bool arg_i64(CommandCall& call, std::int64_t& out);
// A required id of a chat (also negative) or another object: a number other than 0.
bool arg_id(CommandCall& call, std::int64_t& out);
// A required number of at least 1 (message ids, request numbers).
bool arg_positive(CommandCall& call, std::int64_t& out);
// One or more numbers of at least 1, to the end of the line.
bool arg_message_ids(CommandCall& call, std::vector<std::int64_t>& ids);
// An optional number: a missing one leaves `out` at its default; false when it does not parse.
bool arg_optional_i64(CommandCall& call, std::int64_t& out);

std::int64_t clamp_i64(std::int64_t value, std::int64_t least, std::int64_t most);

// A word as events show it: its first 64 bytes.
std::string_view shown_word(std::string_view word);
// "ERR <text>" as a reply line and, at level 2, as "command_refused".
void tell_refusal(std::string_view word, std::string_view text);
// The one way in which a command is refused: told, and the command's end tells it again.
void refuse(const CommandCall& call, std::string_view text);
// "ERR usage <word> <arguments>"
void refuse_usage(const CommandCall& call);
// "ERR <word> <reason>"
void refuse_with(const CommandCall& call, std::string_view reason);
// "ERR <reason>", and in the log with the word in front of the reason, or of `logged`.
void refuse_and_log(const CommandCall& call, std::string_view reason, std::string_view logged = "");
// True when the command may go on; otherwise the refusal has been replied and logged.
bool gate_open(const CommandCall& call);
// "OK <word>", then the log line.
void reply_ok(const CommandCall& call, const std::string& log_line);
