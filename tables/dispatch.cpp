#include "tables/dispatch.h"

#include <array>
#include <string>

#include "frame/channels.h"
#include "frame/td_errors.h"
#include "json/scan.h"
#include "json/search.h"
#include "json/text.h"
#include "tables/tables.h"

void dispatch_command(Rooms& rooms, std::string_view line) {
  std::string_view word;
  std::string_view args;
  (void)split_once(line, ' ', word, args);
  word = trim(word);
  CommandCall call{word, "", trim(args), Gate::kOpen, rooms.auth.state == kAuthReady};
  for (const Command& row : command_table()) {
    if (row.word != word) continue;
    call.arguments = row.arguments;
    call.gate = row.gate;
    return row.run(rooms, call);
  }
  refuse(call, "unknown_command");
}

// A tag is matched by its whole prefix with the colon, or whole when it is a bare word.
static const AnswerRow* find_answer_row(std::string_view tag) {
  const std::string_view prefix = tag.substr(0, tag.find(':') + 1);
  const std::string_view key = prefix.empty() ? tag : prefix;
  for (const AnswerRow& row : answer_table()) {
    if (row.tag == key) return &row;
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

static void dispatch_error(Rooms& rooms, std::string_view text) {
  const std::string tag = take_tag(text);
  TdError error{text, tag, fields_behind(tag), extract_json_int_field(text, "code"),
                extract_json_string_field(text, "message")};
  const AnswerRow* row = find_answer_row(tag);
  if (row != nullptr && row->fail != nullptr) {
    row->fail(rooms, error);
  } else {
    report_td_error(error);
  }
}

// True when the text was an answer that its row knew.
static bool dispatch_answer(Rooms& rooms, std::string_view text) {
  const std::string tag = take_tag(text);
  if (tag.empty()) return false;
  const AnswerRow* row = find_answer_row(tag);
  if (row == nullptr || row->handle == nullptr || !has_shape(text, row->shape)) return false;
  Answer answer{text, tag, fields_behind(tag)};
  row->handle(rooms, answer);
  return true;
}

static const UpdateRow* find_update_row(std::string_view type) {
  for (const UpdateRow& row : update_table()) {
    if (row.type == type) return &row;
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

void dispatch_object(Rooms& rooms, std::string_view text) {
  if (json_starts_with(text, "{\"@type\":\"error\"")) return dispatch_error(rooms, text);
  if (json_starts_with(text, "{\"@type\":\"update")) {
    const UpdateRow* row = find_update_row(type_at(text, 1));
    if (row != nullptr) return row->handle(rooms, text);
  } else if (dispatch_answer(rooms, text)) {
    return;
  }
  dispatch_by_markers(rooms, text);
}
