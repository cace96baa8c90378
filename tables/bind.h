// Binds a handler to its row: the handler's parameter types say what it wants, the command, answer
// or text that came in and members of Rooms, in any order. `command<run_open>` is a function of the
// table's type that calls run_open(call, rooms.history, rooms.pinned, ...).
#pragma once

#include <string_view>
#include <tuple>
#include <type_traits>

#include "frame/answer.h"
#include "frame/command.h"
#include "frame/td_errors.h"
#include "tables/rooms.h"

// What a handler gets that wants no more than a text.
inline const std::string_view& text_of(const CommandCall& call) { return call.args; }
inline const std::string_view& text_of(const Answer& answer) { return answer.text; }

template <typename Wanted, typename Input>
auto& supply(Rooms& rooms, Input& input) {
  using Type = std::remove_cv_t<std::remove_reference_t<Wanted>>;
  if constexpr (std::is_same_v<Type, Input>) {
    return input;
  } else if constexpr (std::is_same_v<Type, std::string_view>) {
    return text_of(input);
  } else {
    return std::get<Type&>(members(rooms));
  }
}

template <typename Input, typename Result, typename... Wanted>
void call_with(Result (*handler)(Wanted...), Rooms& rooms, Input& input) {
  (void)handler(supply<Wanted>(rooms, input)...);
}

template <auto handler>
void command(Rooms& rooms, CommandCall& call) {
  call_with(handler, rooms, call);
}

template <auto handler>
void answer(Rooms& rooms, Answer& input) {
  call_with(handler, rooms, input);
}

template <auto handler>
void error(Rooms& rooms, TdError& input) {
  call_with(handler, rooms, input);
}

// An error that is told by its row alone.
template <const ErrorEvent& row>
void error_event(Rooms&, TdError& input) {
  emit_error_event(row, input);
}

template <auto handler>
void update(Rooms& rooms, std::string_view text) {
  call_with(handler, rooms, text);
}
