#include "tables/dispatch.h"

#include <array>
#include <string>

#include "frame/channels.h"
#include "frame/in_flight.h"
#include "frame/protocol.h"
#include "frame/td_errors.h"
#include "json/scan.h"
#include "json/search.h"
#include "json/text.h"
#include "tables/tables.h"

constexpr std::string_view kQuit = "quit";

static const Command* find_command(std::string_view word) {
  for (const Command& row : command_table()) {
    if (row.word == word && row.level <= g_protocol) return &row;
  }
  return nullptr;
}

static void run_line(Rooms& rooms, std::string_view line) {
  std::string_view word;
  std::string_view args;
  (void)split_once(line, ' ', word, args);
  word = trim(word);
  CommandCall call{word, "", trim(args), Gate::kOpen, rooms.auth.state == kAuthReady};
  if (line == kQuit) {
    print_line("BYE");
    rooms.keep_running = false;
  } else if (const Command* row = find_command(word)) {
    call.arguments = row->arguments;
    call.gate = row->gate;
    row->run(rooms, call);
  } else {
    refuse(call, "unknown_command");
  }
}

// "#<id> <line>": takes the id off. False when the line does not begin so, or the id is none.
static bool take_command_id(std::string_view& line, std::int64_t& id) {
  constexpr std::int64_t kMostId = 9007199254740991;  // what every JSON reader holds exactly
  if (line.empty() || line.front() != '#') return false;
  const std::size_t end = line.find(' ');
  const std::string_view digits = line.substr(1, end == std::string_view::npos ? end : end - 1);
  if (end == std::string_view::npos || digits.empty() ||
      digits.find_first_not_of("0123456789") != std::string_view::npos || !parse_i64(digits, id) ||
      id < 1 || id > kMostId) {
    return false;
  }
  line = trim(line.substr(end));
  return true;
}

// The word as the record keeps it, which outlives the line: a row's, or empty.
static std::string_view lasting_word(std::string_view line) {
  if (line == kQuit) return kQuit;
  const Command* row = find_command(trim(line.substr(0, line.find(' '))));
  return row == nullptr ? std::string_view() : row->word;
}

static void run_with_id(Rooms& rooms, std::int64_t id, std::string_view line) {
  const std::string_view lasting = lasting_word(line);
  const std::string_view word =
      lasting.empty() ? shown_word(trim(line.substr(0, line.find(' ')))) : lasting;
  if (command_is_open(id)) {
    const std::int64_t before = exchange_current_command(id);
    tell_refusal(word, "id_in_use");  // no failure of the command that has the id
    (void)exchange_current_command(before);
    return emit_refused_end(id, word, "id_in_use");
  }
  open_command(id, word);
  as_command(id, [&] { run_line(rooms, line); });
  end_of_line(id);
}

void dispatch_command(Rooms& rooms, std::string_view line) {
  std::int64_t id = 0;
  if (at_level2() && take_command_id(line, id)) return run_with_id(rooms, id, line);
  run_line(rooms, line);
}

// A tag is matched by its whole prefix with the colon, or whole when it is a bare word.
static const AnswerRow* find_answer_row(std::string_view tag) {
  const std::string_view prefix = tag.substr(0, tag.find(':') + 1);
  const std::string_view key = prefix.empty() ? tag : prefix;
  for (const AnswerRow& row : answer_table()) {
    if (row.tag == key && row.level <= g_protocol) return &row;
  }
  return nullptr;
}

static std::string_view fields_behind(std::string_view tag) {
  const std::size_t colon = tag.find(':');
  return colon == std::string_view::npos ? std::string_view() : tag.substr(colon + 1);
}

static bool has_shape(std::string_view text, const AnswerShape& shape) {
  if (shape.begins.empty()) return json_contains(text, shape.contains);
  return json_starts_with(text, shape.begins) ||
         (!shape.begins_else.empty() && json_starts_with(text, shape.begins_else));
}

static void dispatch_error(Rooms& rooms, std::string_view text, const std::string& tag) {
  TdError error{text, tag, fields_behind(tag), extract_json_int_field(text, "code"),
                extract_json_string_field(text, "message")};
  const AnswerRow* row = find_answer_row(tag);
  if (row == nullptr || !row->error_is_answer) note_td_error(error.code, error.message);
  if (row != nullptr && row->fail != nullptr) {
    row->fail(rooms, error);
  } else {
    report_td_error(error);
  }
}

// True when the text was an answer that its row knew.
static bool dispatch_answer(Rooms& rooms, std::string_view text, const std::string& tag) {
  if (tag.empty()) return false;
  const AnswerRow* row = find_answer_row(tag);
  if (row == nullptr || row->handle == nullptr || !has_shape(text, row->shape)) return false;
  Answer answer{text, tag, fields_behind(tag)};
  row->handle(rooms, answer);
  return true;
}

static const UpdateRow* find_update_row(std::string_view type) {
  for (const UpdateRow& row : update_table()) {
    if (row.type == type && row.level <= g_protocol) return &row;
  }
  return nullptr;
}

constexpr std::string_view kTypeKey = "\"@type\":\"";

static std::string_view type_at(std::string_view text, std::size_t key) {
  const std::size_t begin = key + kTypeKey.size();
  return text.substr(begin, text.find('"', begin) - begin);
}

// The object in which a row's marker stands; all of the text when "@type" is not its first member.
static std::string_view object_around(std::string_view text, std::size_t key) {
  return key > 0 && text[key - 1] == '{' ? text.substr(key - 1) : text;
}

// The text's leading "@type" does not decide, so each row's marker counts wherever it stands: one
// pass collects the types that occur, then the rows run in the table's order.
static void dispatch_by_markers(Rooms& rooms, std::string_view text) {
  const Table<UpdateRow> table = update_table();
  std::uint64_t hits = 0;
  std::array<std::string_view, 64> objects;  // by row
  for (std::size_t key = find_bytes(text, kTypeKey); key != kNotFound;
       key = find_bytes(text, kTypeKey, key + kTypeKey.size())) {
    const UpdateRow* row = find_update_row(type_at(text, key));
    if (row == nullptr) continue;
    const auto place = static_cast<std::size_t>(row - table.begin());
    if ((hits >> place & 1) == 0) objects[place] = object_around(text, key);
    hits |= std::uint64_t{1} << place;
  }
  for (const UpdateRow& row : table) {
    const auto place = static_cast<std::size_t>(&row - table.begin());
    if ((hits >> place & 1) != 0) row.handle(rooms, objects[place]);
  }
}

static bool is_error(std::string_view text) {
  return json_starts_with(text, "{\"@type\":\"error\"");
}

// An error or an answer, by its tag.
static void dispatch_reply(Rooms& rooms, std::string_view text, const std::string& tag) {
  if (is_error(text)) return dispatch_error(rooms, text, tag);
  if (!dispatch_answer(rooms, text, tag)) dispatch_by_markers(rooms, text);
}

// The error as it would be without the suffix of its tag, since errors are shown as they came.
static std::string without_suffix(std::string_view text, std::string_view suffix) {
  std::string cleaned(text);
  const std::size_t at = cleaned.rfind(std::string(suffix) + '"');
  if (at != std::string::npos) cleaned.erase(at, suffix.size());
  return cleaned;
}

void dispatch_object(Rooms& rooms, std::string_view text) {
  const bool is_update = json_starts_with(text, "{\"@type\":\"update");
  const UpdateRow* row = is_update ? find_update_row(type_at(text, 1)) : nullptr;
  if (row != nullptr) return row->handle(rooms, text);
  // The one answer whose type begins like an update's is asked for at level 2.
  if (is_update && !(at_level2() && type_at(text, 1) == "updates")) {
    return dispatch_by_markers(rooms, text);
  }
  const std::string whole_tag = take_tag(text);
  std::string tag = whole_tag;
  const RequestRef request = take_request(tag);
  std::string cleaned;
  if (tag.size() != whole_tag.size() && is_error(text)) {
    cleaned = without_suffix(text, std::string_view(whole_tag).substr(tag.size()));
    text = cleaned;
  }
  as_command(request.command, [&] { dispatch_reply(rooms, text, tag); });
  end_of_answer(request);
}
