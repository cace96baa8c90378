// The files that the UI asked for, from the command to the file's completion. TDLib speaks of many
// files; all others are passed over. Main thread only; a record lives until its file is complete.
#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>

#include "frame/timers.h"

enum class Follow { kCompletion, kProgress };

// How far a download is.
struct FileProgress {
  std::int64_t downloaded = 0;  // bytes
  std::int64_t total = 0;       // bytes, an expectation while the size is not known; 0: not known
  bool active = false;
};

struct Download {
  bool wants_progress = false;
  bool told = false;            // the UI has had a "file_progress"
  bool late = false;            // `latest` waits for the end of the interval
  std::int64_t told_at_ms = 0;  // mono_ms of the last one
  std::int64_t told_percent = 0;
  bool told_active = false;
  FileProgress latest;
};

using Downloads = std::unordered_map<std::int64_t, Download>;  // by file id

// Follows the file from now on, if it is not followed yet. Once progress is wanted it stays so.
void follow_download(Downloads& downloads, std::int64_t file_id, Follow what);

// "updateFile": of a followed file either its completion ("file", and it is followed no longer) or,
// where wanted, its progress: at most one "file_progress" in 300 ms, and only when the whole
// percentage or the active flag changed. A download that stops within this time is told when the
// time is over. `timers` and `downloads` live as long as the loop.
void on_update_file(Downloads& downloads, Timers& timers, std::string_view text);
// The answer to a download command, a file object: TDLib sends no update for a file that is
// complete already. An incomplete one tells nothing new.
void on_download_answer(Downloads& downloads, std::string_view file_json);

// 0 to 100; 0 when the total is not known.
std::int64_t download_percent(std::int64_t downloaded, std::int64_t total);
