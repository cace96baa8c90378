#include "commands/resync.h"

#include <string>

#include "auth/auth_commands.h"
#include "frame/channels.h"
#include "json/walk.h"
#include "state/chat_rows.h"
#include "state/connection_state.h"
#include "state/learn_user.h"

namespace {

void emit_bare_event(std::string_view type) {
  std::string event = begin_event(type);
  end_event(event);
}

void tell_login(const AuthState& auth) {
  emit_event_type_state("auth_state", "state", authorization_state_name(auth.state));
  const char* need = needed_input(auth.state);
  if (need != nullptr) emit_event_type_state("need", "what", need);
}

// Calls tell(update) for each update of that type, in the order in which the library lists them.
template <typename Tell>
void for_each_update(std::string_view text, std::string_view type, Tell tell) {
  ArrayWalk walk{member_array(text, "updates")};
  for (std::string_view update; next_element(walk, update);) {
    if (object_type(update) == type) tell(update);
  }
}

// Shown is what the UI has been told of or what has a place in the chat list, unless the account
// is known not to be inside.
void tell_chat(ChatTable& chats, std::string_view update) {
  const std::int64_t chat_id = member_int(member_object(update, "chat"), "id", 0);
  ChatDescription row;
  if (!take_chat_object(chats, update, chat_id, row)) return;
  if (chat_filtered(chats, chat_id)) return;
  if (row.order != 0 || find_chat(chats, chat_id)->row_written) show_chat(chats, row);
}

}  // namespace

void run_resync(const CommandCall& call, const TdClient& td) {
  emit_bare_event("resync_begin");
  td_request(td, "{\"@type\":\"getCurrentState\"}", "resync");
  reply_ok(call, "SEND getCurrentState");
}

void on_current_state(Answer& answer, const AuthState& auth, ChatTable& chats) {
  tell_login(auth);
  tell_me(auth);
  for_each_update(answer.text, "updateConnectionState", on_connection_state);
  for_each_update(answer.text, "updateUser", tell_user);
  for_each_update(answer.text, "updateNewChat",
                  [&](std::string_view update) { tell_chat(chats, update); });
  emit_bare_event("resync_end");
}

void on_current_state_error(const TdError& error, const AuthState& auth) {
  report_td_error(error);
  tell_login(auth);
  emit_bare_event("resync_end");
}
