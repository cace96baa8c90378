#include "frame/command.h"

#include <algorithm>

#include "frame/channels.h"
#include "frame/in_flight.h"
#include "frame/protocol.h"
#include "json/text.h"

std::string_view next_arg(CommandCall& call) {
  std::string_view piece;
  std::string_view rest;
  (void)split_once(call.args, ' ', piece, rest);
  call.args = rest;
  return trim(piece);
}

std::string_view next_text(CommandCall& call) {
  const std::string_view text = next_arg(call);
  return is_utf8(text) ? text : std::string_view();
}

bool decode_text(std::string_view base64, std::string& text) {
  return base64_decode(base64, text) && is_utf8(text);
}

bool arg_i64(CommandCall& call, std::int64_t& out) { return parse_i64(next_arg(call), out); }

bool arg_id(CommandCall& call, std::int64_t& out) { return arg_i64(call, out) && out != 0; }

bool arg_positive(CommandCall& call, std::int64_t& out) { return arg_i64(call, out) && out >= 1; }

bool arg_message_ids(CommandCall& call, std::vector<std::int64_t>& ids) {
  do {
    std::int64_t id = 0;
    if (!arg_positive(call, id)) return false;
    ids.push_back(id);
  } while (!call.args.empty());
  return true;
}

bool arg_optional_i64(CommandCall& call, std::int64_t& out) {
  const std::string_view piece = next_arg(call);
  return piece.empty() || parse_i64(piece, out);
}

std::int64_t clamp_i64(std::int64_t value, std::int64_t least, std::int64_t most) {
  return std::min(std::max(value, least), most);
}

// A word that is no command's may be of any length; the cut leaves no half character.
std::string_view shown_word(std::string_view word) {
  constexpr std::size_t kMostBytes = 64;
  if (word.size() <= kMostBytes) return word;
  std::size_t end = kMostBytes;
  while (end > kMostBytes - 3 && (static_cast<unsigned char>(word[end]) & 0xC0) == 0x80) --end;
  return word.substr(0, end);
}

void tell_refusal(std::string_view word, std::string_view text) {
  const std::string line = "ERR " + std::string(text);
  print_line(line);
  if (!at_level2()) return;
  std::string event = begin_event("command_refused");
  append_string_member(event, "command", with_valid_utf8(shown_word(word)));
  append_string_member(event, "text", line);
  end_event(event);
}

void refuse(const CommandCall& call, std::string_view text) {
  note_refusal(text);
  tell_refusal(call.word, text);
}

void refuse_usage(const CommandCall& call) {
  std::string text = "usage " + std::string(call.word);
  if (!call.arguments.empty()) text += " " + std::string(call.arguments);
  refuse(call, text);
}

void refuse_with(const CommandCall& call, std::string_view reason) {
  refuse(call, std::string(call.word) + " " + std::string(reason));
}

void refuse_and_log(const CommandCall& call, std::string_view reason, std::string_view logged) {
  refuse(call, reason);
  dbg("ERR " + std::string(call.word) + " " + std::string(logged.empty() ? reason : logged));
}

bool gate_open(const CommandCall& call) {
  if (call.gate == Gate::kOpen || call.ready) return true;
  refuse_and_log(call, "not_ready");
  return false;
}

void reply_ok(const CommandCall& call, const std::string& log_line) {
  print_line("OK " + std::string(call.word));
  dbg(log_line);
}
