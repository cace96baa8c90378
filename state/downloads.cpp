#include "state/downloads.h"

#include <algorithm>
#include <limits>
#include <string>

#include "frame/channels.h"
#include "frame/clock.h"
#include "frame/protocol.h"
#include "json/scan.h"
#include "json/text.h"
#include "json/walk.h"

namespace {

constexpr std::int64_t kProgressIntervalMs = 300;

std::int64_t total_bytes(std::string_view file) {
  const std::int64_t size = member_int(file, "size");
  return size > 0 ? size : std::max<std::int64_t>(member_int(file, "expected_size"), 0);
}

FileProgress read_download(std::string_view file, std::string_view local) {
  return {std::max<std::int64_t>(member_int(local, "downloaded_size"), 0), total_bytes(file),
          member_true(local, "is_downloading_active")};
}

FileProgress read_upload(std::string_view file, std::string_view remote) {
  return {std::max<std::int64_t>(member_int(remote, "uploaded_size"), 0), total_bytes(file),
          member_true(remote, "is_uploading_active")};
}

void emit_file_event(std::int64_t file_id, std::string_view local) {
  std::string event = begin_event("file");
  append_int_member(event, "id", file_id);
  append_string_member(event, "path", member_string(local, "path"));
  end_event(event);
}

// How the lines of the two directions differ, and where their records are.
struct DownloadLines {
  Downloads& table;
  static constexpr std::string_view kType = "file_progress";
  static constexpr std::string_view kDone = "downloaded";
  Transfer* find(std::int64_t file_id) const {
    const auto it = table.find(file_id);
    return it == table.end() ? nullptr : &it->second.transfer;
  }
  void told(std::int64_t) const {}  // its record ends with the file's completion
};
struct UploadLines {
  Uploads& table;
  static constexpr std::string_view kType = "upload_progress";
  static constexpr std::string_view kDone = "uploaded";
  Transfer* find(std::int64_t file_id) const {
    const auto it = table.by_file.find(file_id);
    return it == table.by_file.end() ? nullptr : &it->second;
  }
  void told(std::int64_t file_id) const {
    if (!table.by_file[file_id].told_active) table.by_file.erase(file_id);
  }
};

template <class Lines>
void tell_progress(Lines lines, std::int64_t file_id, Transfer& transfer, std::int64_t now_ms) {
  const FileProgress progress = transfer.latest;
  transfer.told = true;
  transfer.late = false;
  transfer.told_at_ms = now_ms;
  transfer.told_percent = download_percent(progress.done, progress.total);
  transfer.told_active = progress.active;

  std::string event = begin_event(Lines::kType);
  append_int_member(event, "id", file_id);
  append_int_member(event, Lines::kDone, progress.done);
  append_int_member(event, "total", progress.total);
  append_bool_member(event, "active", progress.active);
  end_event(event);
  lines.told(file_id);
}

// Without this line the UI would go on showing a transfer that has stopped.
template <class Lines>
void tell_late(Lines lines, Timers& timers, std::int64_t file_id, std::int64_t due_ms) {
  add_timer(timers, due_ms, [lines, file_id, due_ms] {
    Transfer* transfer = lines.find(file_id);
    if (transfer == nullptr || !transfer->late) return;
    if (transfer->told_at_ms + kProgressIntervalMs != due_ms) return;  // a later line's timer
    tell_progress(lines, file_id, *transfer, mono_ms());
  });
}

template <class Lines>
void on_progress(Lines lines, Timers& timers, std::int64_t file_id, Transfer& transfer,
                 const FileProgress& progress) {
  const bool was_late = transfer.late;
  transfer.latest = progress;
  transfer.late = false;
  const std::int64_t now_ms = mono_ms();
  if (!transfer.told) return tell_progress(lines, file_id, transfer, now_ms);
  const std::int64_t percent = download_percent(progress.done, progress.total);
  const bool stopped = transfer.told_active && !progress.active;
  if (percent == transfer.told_percent && progress.active == transfer.told_active) return;
  if (now_ms - transfer.told_at_ms >= kProgressIntervalMs) {
    return tell_progress(lines, file_id, transfer, now_ms);
  }
  transfer.late = stopped;
  if (stopped && !was_late) {
    tell_late(lines, timers, file_id, transfer.told_at_ms + kProgressIntervalMs);
  }
}

void tell_stopped(std::int64_t file_id, Download& download) {
  if (!at_level2() || download.stopped) return;
  download.stopped = true;
  std::string event = begin_event("file_stopped");
  append_int_member(event, "id", file_id);
  end_event(event);
}

// A download that was under way and is so no more, without being complete.
void note_activity(std::int64_t file_id, Download& download, bool active) {
  const bool stopped = download.active && !active;
  download.active = active;
  if (active) download.stopped = false;
  if (stopped) tell_stopped(file_id, download);
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
  download.stopped = false;
  if (what == Follow::kProgress) download.wants_progress = true;
}

static void follow_uploads(Uploads& uploads, Timers& timers, std::string_view text) {
  // Nearly every update is about a download.
  const bool active = json_contains(text, "\"is_uploading_active\":true");
  if (!active && uploads.by_file.empty()) return;
  const std::string_view file = member_object(text, "file");
  const std::int64_t file_id = member_int(file, "id", 0);
  const std::string_view remote = member_object(file, "remote");
  if (file_id < 1 || remote.empty()) return;
  const FileProgress progress = read_upload(file, remote);
  if (!progress.active && uploads.by_file.count(file_id) == 0) return;
  on_progress(UploadLines{uploads}, timers, file_id, uploads.by_file[file_id], progress);
}

void on_update_file(Downloads& downloads, Uploads& uploads, Timers& timers, std::string_view text) {
  if (at_level2()) follow_uploads(uploads, timers, text);
  if (downloads.empty()) return;  // most files are none of the UI's
  const std::string_view file = member_object(text, "file");
  const std::int64_t file_id = member_int(file, "id");
  const auto it = downloads.find(file_id);
  if (it == downloads.end()) return;
  const std::string_view local = member_object(file, "local");
  if (local.empty() || finish(downloads, file_id, local)) return;
  Download& download = it->second;
  const FileProgress progress = read_download(file, local);
  if (download.wants_progress) {
    on_progress(DownloadLines{downloads}, timers, file_id, download.transfer, progress);
  }
  note_activity(file_id, download, progress.active);
}

void stop_download(Downloads& downloads, std::int64_t file_id) {
  const auto it = downloads.find(file_id);
  if (it != downloads.end()) tell_stopped(file_id, it->second);
}

void on_download_answer(Downloads& downloads, std::string_view file_json) {
  (void)finish(downloads, member_int(file_json, "id"), member_object(file_json, "local"));
}
