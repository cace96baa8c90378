// Files sent as documents, voice notes and video notes. Refusals come in one order: usage, the
// gate, the path's base64, the caption's, the duration, the file. A path must name a regular
// file (through links) that can be read; nothing waits for a pipe or a device.
// Main thread only.
#pragma once

#include "commands/call.h"
#include "commands/send_commands.h"
#include "frame/tdlib.h"

void run_sendfile64(CommandCall& call, SendCounter& counter, const TdClient& td);
void run_sendvoice64(CommandCall& call, SendCounter& counter, const TdClient& td);
void run_sendvideonote64(CommandCall& call, SendCounter& counter, const TdClient& td);
