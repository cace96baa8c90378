#include "state/downloads.h"

#include <algorithm>
#include <limits>
#include <string>

#include "frame/channels.h"
#include "frame/clock.h"
#include "json/text.h"
#include "json/walk.h"

namespace {

constexpr std::int64_t kProgressIntervalMs = 300;

FileProgress read_progress(std::string_view file, std::string_view local) {
  FileProgress progress;
  progress.downloaded = std::max<std::int64_t>(member_int(local, "downloaded_size"), 0);
  progress.total = member_int(file, "size");
  if (progress.total <= 0) {
    progress.total = std::max<std::int64_t>(member_int(file, "expected_size"), 0);
  }
  progress.active = member_true(local, "is_downloading_active");
  return progress;
}

void emit_file_event(std::int64_t file_id, std::string_view local) {
  std::string event = begin_event("file");
  append_int_member(event, "id", file_id);
  append_string_member(event, "path", member_string(local, "path"));
  end_event(event);
}

void tell_progress(std::int64_t file_id, Download& download, std::int64_t now_ms) {
  const FileProgress& progress = download.latest;
  download.told = true;
  download.late = false;
  download.told_at_ms = now_ms;
  download.told_percent = download_percent(progress.downloaded, progress.total);
  download.told_active = progress.active;

  std::string event = begin_event("file_progress");
  append_int_member(event, "id", file_id);
  append_int_member(event, "downloaded", progress.downloaded);
  append_int_member(event, "total", progress.total);
  append_bool_member(event, "active", progress.active);
  end_event(event);
}

// Without this line the UI would go on showing a download that has stopped.
void tell_late(Downloads& downloads, Timers& timers, std::int64_t file_id) {
  const std::int64_t due_ms = downloads[file_id].told_at_ms + kProgressIntervalMs;
  add_timer(timers, due_ms, [&downloads, file_id, due_ms] {
    const auto it = downloads.find(file_id);
    if (it == downloads.end() || !it->second.late) return;
    if (it->second.told_at_ms + kProgressIntervalMs != due_ms) return;  // a later line's timer
    tell_progress(file_id, it->second, mono_ms());
  });
}

void on_progress(Downloads& downloads, Timers& timers, std::int64_t file_id,
                 const FileProgress& progress) {
  Download& download = downloads[file_id];
  const bool was_late = download.late;
  download.latest = progress;
  download.late = false;
  const std::int64_t now_ms = mono_ms();
  if (!download.told) return tell_progress(file_id, download, now_ms);
  const std::int64_t percent = download_percent(progress.downloaded, progress.total);
  const bool stopped = download.told_active && !progress.active;
  if (percent == download.told_percent && progress.active == download.told_active) return;
  if (now_ms - download.told_at_ms >= kProgressIntervalMs) {
    return tell_progress(file_id, download, now_ms);
  }
  download.late = stopped;
  if (stopped && !was_late) tell_late(downloads, timers, file_id);
}

// True when the file was followed and is complete; it has then been told.
bool finish(Downloads& downloads, std::int64_t file_id, std::string_view local) {
  if (!member_true(local, "is_downloading_completed")) return false;
  if (downloads.erase(file_id) > 0) emit_file_event(file_id, local);
  return true;
}

}  // namespace

std::int64_t download_percent(std::int64_t downloaded, std::int64_t total) {
  if (total <= 0 || downloaded <= 0) return 0;
  if (downloaded >= total) return 100;
  // Beyond this the product would not fit; such a total is well above 100.
  if (downloaded > std::numeric_limits<std::int64_t>::max() / 100) {
    return std::min<std::int64_t>(downloaded / (total / 100), 100);
  }
  return downloaded * 100 / total;
}

void follow_download(Downloads& downloads, std::int64_t file_id, Follow what) {
  Download& download = downloads[file_id];
  if (what == Follow::kProgress) download.wants_progress = true;
}

void on_update_file(Downloads& downloads, Timers& timers, std::string_view text) {
  if (downloads.empty()) return;  // most files are none of the UI's
  const std::string_view file = member_object(text, "file");
  const std::int64_t file_id = member_int(file, "id");
  const auto it = downloads.find(file_id);
  if (it == downloads.end()) return;
  const std::string_view local = member_object(file, "local");
  if (local.empty() || finish(downloads, file_id, local)) return;
  if (!it->second.wants_progress) return;
  on_progress(downloads, timers, file_id, read_progress(file, local));
}

void on_download_answer(Downloads& downloads, std::string_view file_json) {
  (void)finish(downloads, member_int(file_json, "id"), member_object(file_json, "local"));
}
