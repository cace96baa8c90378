// Files that the UI wants. Main thread only.
#pragma once

#include <cstdint>
#include <string>

#include "frame/answer.h"
#include "frame/command.h"
#include "frame/tdlib.h"
#include "state/downloads.h"

// TDLib downloads what has the higher priority first.
constexpr int kDownloadPriority = 16;
constexpr int kWatchedDownloadPriority = 32;  // somebody looks at a progress bar

std::string make_download_file(std::int64_t file_id, int priority);

// "download" and, with its progress, "downloadp".
void run_download(CommandCall& call, Downloads& downloads, const TdClient& td);
void run_downloadp(CommandCall& call, Downloads& downloads, const TdClient& td);

// Level 2: stops a download; what has come stays.
void run_cancel(CommandCall& call, const TdClient& td);
void on_cancelled(Answer& answer, Downloads& downloads);
