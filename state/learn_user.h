// What happens whenever TDLib shows a user object, in an update or an answer. Main thread only.
#pragma once

#include <cstdint>
#include <string_view>

#include "frame/answer.h"

// Caches the first user object in `json`; when it is new or changed, tells the UI and completes
// the sentences that name the user. Its id, or 0 when there is no user object.
std::int64_t learn_user(std::string_view json);
// The same, with the "user" event also where nothing is new.
void tell_user(std::string_view json);

// A change of presence: stored for a cached user, and told when it is one.
void learn_user_status(std::string_view update);

// A question for a user that failed.
void on_user_error(TdError& error);
