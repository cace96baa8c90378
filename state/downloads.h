// The files that the UI asked for, from the command to the file's completion. TDLib speaks of many
// files; all others are passed over. Main thread only; a record lives until its file is complete.
#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>

#include "frame/timers.h"

enum class Follow { kCompletion, kProgress };

// How far a download or an upload is.
struct FileProgress {
  std::int64_t done = 0;   // bytes
  std::int64_t total = 0;  // bytes, an expectation while the size is not known; 0: not known
  bool active = false;
};

// What the UI has been told of it.
struct Transfer {
  bool told = false;            // there has been a line
  bool late = false;            // `latest` waits for the end of the interval
  std::int64_t told_at_ms = 0;  // mono_ms of the last one
  std::int64_t told_percent = 0;
  bool told_active = false;
  FileProgress latest;
};

struct Download {
  Transfer transfer;
  bool wants_progress = false;
  bool active = false;   // under way when last heard of
  bool stopped = false;  // the UI has been told that it stopped (level 2)
};

// By file id. Uploads are followed at level 2 only, from the first sign of life to the last.
using Downloads = std::unordered_map<std::int64_t, Download>;
struct Uploads {
  std::unordered_map<std::int64_t, Transfer> by_file;
};

// Follows the file from now on, if it is not followed yet. Once progress is wanted it stays so.
void follow_download(Downloads& downloads, std::int64_t file_id, Follow what);

// "updateFile": of a followed file either its completion ("file", and it is followed no longer) or,
// where wanted, its progress: at most one "file_progress" in 300 ms, and only when the whole
// percentage or the active flag changed. A download that stops within this time is told when the
// time is over. `timers` and the tables live as long as the loop.
// At level 2 also "file_stopped", and "upload_progress" of files on their way out, at the same
// pace.
void on_update_file(Downloads& downloads, Uploads& uploads, Timers& timers, std::string_view text);
// The library has stopped the download: "file_stopped", unless it has been told already.
void stop_download(Downloads& downloads, std::int64_t file_id);
// The answer to a download command, a file object: TDLib sends no update for a file that is
// complete already. An incomplete one tells nothing new.
void on_download_answer(Downloads& downloads, std::string_view file_json);

// 0 to 100; 0 when the total is not known.
std::int64_t download_percent(std::int64_t downloaded, std::int64_t total);
