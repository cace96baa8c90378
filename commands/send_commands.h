// Text messages: sent and edited. And what every kind of send has in common.
// Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "commands/call.h"
#include "frame/answer.h"
#include "frame/tdlib.h"

struct SendCounter {
  std::int64_t sends = 0;  // of this run; the second field of every send's tag
};

void run_send(CommandCall& call, SendCounter& counter, const TdClient& td);
void run_send64(CommandCall& call, SendCounter& counter, const TdClient& td);
void run_edit64(CommandCall& call, const TdClient& td);

// An optional reply target and a required text, as the last arguments: of two the first is the
// target. False when the text is missing or the target is no number.
bool arg_reply_and_text(CommandCall& call, std::int64_t& reply_to, std::string_view& text);
// Hands the request over under the next tag of its kind, "send", "sendfile" and so on.
void send_tagged(std::string request, std::string_view kind, std::int64_t chat_id,
                 SendCounter& counter, const TdClient& td);
// The message of a send, of any kind: "send_ok".
void on_sent(const Answer& answer);
