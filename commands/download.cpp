#include "commands/download.h"

#include "frame/answer.h"
#include "json/text.h"

std::string make_download_file(std::int64_t file_id, int priority) {
  std::string json = "{\"@type\":\"downloadFile\"";
  append_int_member(json, "file_id", file_id);
  append_int_member(json, "priority", priority);
  json += ",\"offset\":0,\"limit\":0,\"synchronous\":false}";
  return json;
}

static void start_download(CommandCall& call, Downloads& downloads, const TdClient& td,
                           Follow what) {
  std::int64_t file_id = 0;
  if (!arg_positive(call, file_id)) return refuse_usage(call);
  if (!gate_open(call)) return;
  follow_download(downloads, file_id, what);
  const bool watched = what == Follow::kProgress;
  td_request(td,
             make_download_file(file_id, watched ? kWatchedDownloadPriority : kDownloadPriority),
             make_tag("download", file_id));
  reply_ok(call, watched ? "SEND downloadFile (progress)" : "SEND downloadFile");
}

void run_download(CommandCall& call, Downloads& downloads, const TdClient& td) {
  start_download(call, downloads, td, Follow::kCompletion);
}

void run_cancel(CommandCall& call, const TdClient& td) {
  std::int64_t file_id = 0;
  if (!arg_positive(call, file_id)) return refuse_usage(call);
  if (!gate_open(call)) return;
  std::string request = "{\"@type\":\"cancelDownloadFile\"";
  append_int_member(request, "file_id", file_id);
  request += ",\"only_if_pending\":false}";
  td_request(td, std::move(request), make_tag("cancel", file_id));
  reply_ok(call, "SEND cancelDownloadFile");
}

void on_cancelled(Answer& answer, Downloads& downloads) {
  stop_download(downloads, next_field_i64(answer.fields));
}

void run_downloadp(CommandCall& call, Downloads& downloads, const TdClient& td) {
  start_download(call, downloads, td, Follow::kProgress);
}
