// The chat that the UI shows: the one of the last accepted "open", until its "close".
#pragma once

#include <cstdint>

struct OpenChat {
  std::int64_t chat_id = 0;  // 0: none
};
