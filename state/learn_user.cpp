#include "state/learn_user.h"

#include "frame/channels.h"
#include "state/service_messages.h"
#include "state/users.h"

std::int64_t learn_user(std::string_view json) {
  std::int64_t user_id = 0;
  if (update_user_cache_from_json(json, user_id)) {
    emit_user_event(user_id);
    update_pending_service_messages(user_id);
  }
  return user_id;
}

void tell_user(std::string_view json) {
  std::int64_t user_id = 0;
  const bool changed = update_user_cache_from_json(json, user_id);
  emit_user_event(user_id);
  if (changed) update_pending_service_messages(user_id);
}

void learn_user_status(std::string_view update) {
  std::int64_t user_id = 0;
  if (update_user_status_from_json(update, user_id)) emit_user_event(user_id);
}

void on_user_error(TdError& error) {
  dbg("TD_ERROR getUser");
  forget_service_messages_of(next_field_i64(error.fields));
}
