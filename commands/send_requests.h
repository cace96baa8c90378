// The requests that send, edit and forward messages, as complete texts without a tag. All texts
// are escaped here; ids are written as they are. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// ,"message_ids":[1,2]
void append_message_ids(std::string& json, const std::vector<std::int64_t>& message_ids);
// "reply_to":...,  with the comma behind it; a `reply_to` below 1 answers nothing.
void append_send_reply_to(std::string& json, std::int64_t reply_to);

std::string make_send_message_text(std::int64_t chat_id, std::string_view text,
                                   std::int64_t reply_to);
std::string make_send_document(std::int64_t chat_id, std::int64_t reply_to, std::string_view path,
                               std::string_view caption);
std::string make_send_voice_note(std::int64_t chat_id, std::int64_t reply_to, std::string_view path,
                                 std::int64_t duration_seconds);
// `length` is the side of the square picture in pixels.
std::string make_send_video_note(std::int64_t chat_id, std::int64_t reply_to, std::string_view path,
                                 std::int64_t duration_seconds, std::int64_t length);
std::string make_edit_message_text(std::int64_t chat_id, std::int64_t message_id,
                                   std::string_view text);
std::string make_forward_messages(std::int64_t chat_id, std::int64_t from_chat_id,
                                  const std::vector<std::int64_t>& message_ids);
