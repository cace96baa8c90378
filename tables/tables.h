// The three tables that are the program's index. A row says what comes in and names the function of
// its subject, bound to the state that it needs (tables/bind.h).
#pragma once

#include <cstddef>
#include <string_view>

#include "frame/answer.h"
#include "frame/command.h"
#include "tables/rooms.h"

struct Command {
  std::string_view word;
  std::string_view arguments;  // as "ERR usage" shows them; it alone knows which are checked
  Gate gate;
  void (*run)(Rooms& rooms, CommandCall& call);
  int level = 1;  // of the protocol, from which on the row is looked at, as for the rows below
};

// What an answer's text must show to belong to its row.
struct AnswerShape {
  std::string_view begins;       // the text begins with this, or with `begins_else`
  std::string_view begins_else;  // empty: no second form
  std::string_view contains;     // used when `begins` is empty; empty, too: any text
};

struct AnswerRow {
  std::string_view tag;  // a prefix with its colon, or a whole bare word
  AnswerShape shape;
  void (*handle)(Rooms& rooms, Answer& answer);  // null: nothing is owed to a success
  void (*fail)(Rooms& rooms, TdError& error);    // null: the general "td_error"
  int level = 1;
  bool error_is_answer = false;  // an error tells no failure of the command that asked
};

struct UpdateRow {
  std::string_view type;
  void (*handle)(Rooms& rooms, std::string_view text);
  int level = 1;
};

template <typename Row>
struct Table {
  const Row* rows;
  std::size_t size;
  const Row* begin() const { return rows; }
  const Row* end() const { return rows + size; }
};

Table<Command> command_table();  // in the order in which a word is looked up
Table<AnswerRow> answer_table();
Table<UpdateRow> update_table();  // in the order in which markers are looked for
