// Messages sent and edited: text, documents, voice notes, video notes. The refusals of files come
// in one order: usage, the gate, the path's base64, the caption's, the duration, the file. A path
// must name a regular file (through links) that can be read; nothing waits for a pipe or a device.
// Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "frame/answer.h"
#include "frame/command.h"
#include "frame/tdlib.h"

// What "forward" needs of the requests here: ,"message_ids":[1,2] and the whole request.
void append_message_ids(std::string& json, const std::vector<std::int64_t>& message_ids);
std::string make_forward_messages(std::int64_t chat_id, std::int64_t from_chat_id,
                                  const std::vector<std::int64_t>& message_ids);

struct SendCounter {
  std::int64_t sends = 0;  // of this run; the second field of every send's tag
};

void run_send(CommandCall& call, SendCounter& counter, const TdClient& td);
void run_send64(CommandCall& call, SendCounter& counter, const TdClient& td);
void run_edit64(CommandCall& call, const TdClient& td);

// The message of a send, of any kind: "send_ok".
void on_sent(Answer& answer);

void run_sendfile64(CommandCall& call, SendCounter& counter, const TdClient& td);
void run_sendvoice64(CommandCall& call, SendCounter& counter, const TdClient& td);
void run_sendvideonote64(CommandCall& call, SendCounter& counter, const TdClient& td);

// Level 2.
void run_sendphoto64(CommandCall& call, SendCounter& counter, const TdClient& td);
// Size and duration come from the file's header when it is an MP4 or MOV file; otherwise they are
// not told.
void run_sendvideo64(CommandCall& call, SendCounter& counter, const TdClient& td);
void run_send_again(CommandCall& call, const TdClient& td);
// The messages sent once more: "send_ok" for each.
void on_sent_again(Answer& answer);
