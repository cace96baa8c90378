// Requests about chats that several subjects send; without tags.
#pragma once

#include <cstdint>
#include <string>

std::string make_get_chat(std::int64_t chat_id);
std::string make_get_basic_group(std::int64_t basic_group_id);
std::string make_get_supergroup(std::int64_t supergroup_id);
