#include "commands/send.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "commands/mp4_probe.h"
#include "frame/channels.h"
#include "json/text.h"
#include "json/walk.h"
#include "state/message.h"

namespace {

constexpr std::string_view kSendOptions =
    "\"options\":{\"@type\":\"messageSendOptions\",\"suggested_post_info\":null,"
    "\"disable_notification\":false,\"from_background\":false,\"protect_content\":false,"
    "\"allow_paid_broadcast\":false,\"paid_message_star_count\":0,"
    "\"update_order_of_installed_sticker_sets\":false,\"scheduling_state\":null,\"effect_id\":0,"
    "\"sending_id\":1,\"only_preview\":false}";
constexpr std::size_t kRequestBytes = 700;  // what a request holds beside its texts

// "reply_to":...,  with the comma behind it; a `reply_to` below 1 answers nothing.
void append_send_reply_to(std::string& json, std::int64_t reply_to) {
  if (reply_to < 1) {
    json += "\"reply_to\":null,";
    return;
  }
  json += "\"reply_to\":{\"@type\":\"inputMessageReplyToMessage\"";
  append_int_member(json, "message_id", reply_to);
  json += "},";
}

// A request up to its options; the content follows.
std::string begin_send(std::int64_t chat_id, std::int64_t reply_to, std::size_t text_bytes) {
  std::string json;
  json.reserve(kRequestBytes + text_bytes);
  json += "{\"@type\":\"sendMessage\"";
  append_int_member(json, "chat_id", chat_id);
  json += ",\"topic_id\":null,";
  append_send_reply_to(json, reply_to);
  json += kSendOptions;
  return json;
}

// ,"key":{"@type":"formattedText",...}
void append_formatted_text(std::string& json, std::string_view key, std::string_view text) {
  json += ",\"";
  json += key;
  json += "\":{\"@type\":\"formattedText\"";
  append_string_member(json, "text", text);
  json += ",\"entities\":[]}";
}

void append_local_file(std::string& json, std::string_view key, std::string_view path) {
  json += ",\"";
  json += key;
  json += "\":{\"@type\":\"inputFileLocal\"";
  append_string_member(json, "path", path);
  json += '}';
}

void append_text_content(std::string& json, std::string_view text) {
  json += ",\"reply_markup\":null,\"input_message_content\":{\"@type\":\"inputMessageText\"";
  append_formatted_text(json, "text", text);
  json += ",\"link_preview_options\":null,\"clear_draft\":false}}";
}

std::string make_send_message_text(std::int64_t chat_id, std::string_view text,
                                   std::int64_t reply_to) {
  std::string json = begin_send(chat_id, reply_to, text.size());
  append_text_content(json, text);
  return json;
}

std::string make_send_document(std::int64_t chat_id, std::int64_t reply_to, std::string_view path,
                               std::string_view caption) {
  std::string json = begin_send(chat_id, reply_to, path.size() + caption.size());
  json += ",\"input_message_content\":{\"@type\":\"inputMessageDocument\"";
  append_local_file(json, "document", path);
  json += ",\"thumbnail\":null";
  append_formatted_text(json, "caption", caption);
  json += ",\"disable_content_type_detection\":false}}";
  return json;
}

std::string make_send_voice_note(std::int64_t chat_id, std::int64_t reply_to, std::string_view path,
                                 std::int64_t duration_seconds) {
  std::string json = begin_send(chat_id, reply_to, path.size());
  json += ",\"input_message_content\":{\"@type\":\"inputMessageVoiceNote\"";
  append_local_file(json, "voice_note", path);
  append_int_member(json, "duration", duration_seconds);
  json += ",\"waveform\":\"\"";
  append_formatted_text(json, "caption", "");
  json += ",\"self_destruct_type\":null}}";
  return json;
}

// `length` is the side of the square picture in pixels.
std::string make_send_video_note(std::int64_t chat_id, std::int64_t reply_to, std::string_view path,
                                 std::int64_t duration_seconds, std::int64_t length) {
  std::string json = begin_send(chat_id, reply_to, path.size());
  json += ",\"input_message_content\":{\"@type\":\"inputMessageVideoNote\"";
  append_local_file(json, "video_note", path);
  append_int_member(json, "duration", duration_seconds);
  append_int_member(json, "length", length);
  json += "}}";
  return json;
}

// The last members of a photo or video.
void append_caption_and_rest(std::string& json, std::string_view caption) {
  append_formatted_text(json, "caption", caption);
  json += ",\"show_caption_above_media\":false,\"self_destruct_type\":null,\"has_spoiler\":false}}";
}

// The service measures the picture itself.
std::string make_send_photo(std::int64_t chat_id, std::int64_t reply_to, std::string_view path,
                            std::string_view caption) {
  std::string json = begin_send(chat_id, reply_to, path.size() + caption.size());
  json += ",\"input_message_content\":{\"@type\":\"inputMessagePhoto\"";
  append_local_file(json, "photo", path);
  json += ",\"thumbnail\":null,\"added_sticker_file_ids\":[],\"width\":0,\"height\":0";
  append_caption_and_rest(json, caption);
  return json;
}

std::string make_send_video(std::int64_t chat_id, std::int64_t reply_to, std::string_view path,
                            std::string_view caption, const Mp4MediaHeader& header) {
  std::string json = begin_send(chat_id, reply_to, path.size() + caption.size());
  json += ",\"input_message_content\":{\"@type\":\"inputMessageVideo\"";
  append_local_file(json, "video", path);
  json += ",\"thumbnail\":null,\"cover\":null,\"start_timestamp\":0,\"added_sticker_file_ids\":[]";
  append_int_member(json, "duration", mp4_duration_seconds(header));
  append_int_member(json, "width", header.width);
  append_int_member(json, "height", header.height);
  json += ",\"supports_streaming\":false";
  append_caption_and_rest(json, caption);
  return json;
}

std::string make_resend_messages(std::int64_t chat_id, const std::vector<std::int64_t>& ids) {
  std::string json = "{\"@type\":\"resendMessages\"";
  append_int_member(json, "chat_id", chat_id);
  append_message_ids(json, ids);
  json += ",\"quote\":null,\"paid_message_star_count\":0}";
  return json;
}

std::string make_edit_message_text(std::int64_t chat_id, std::int64_t message_id,
                                   std::string_view text) {
  std::string json;
  json.reserve(kRequestBytes + text.size());
  json += "{\"@type\":\"editMessageText\"";
  append_int_member(json, "chat_id", chat_id);
  append_int_member(json, "message_id", message_id);
  append_text_content(json, text);
  return json;
}

// An optional reply target and a required text, as the last arguments: of two the first is the
// target. False when the text is missing or the target is no number.
bool arg_reply_and_text(CommandCall& call, std::int64_t& reply_to, std::string_view& text) {
  const std::string_view first = next_arg(call);
  const std::string_view second = next_arg(call);
  text = second.empty() ? first : second;
  if (text.empty()) return false;
  return second.empty() || first.empty() || parse_i64(first, reply_to);
}

// Hands the request over under the next tag of its kind, "send", "sendfile" and so on.
void send_tagged(std::string request, std::string_view kind, std::int64_t chat_id,
                 SendCounter& counter, const TdClient& td) {
  td_request(td, std::move(request), make_tag(kind, chat_id, ++counter.sends));
}

constexpr std::int64_t kMaxDurationSeconds = 2147483647;
constexpr std::int64_t kDefaultNoteSeconds = 1;
constexpr std::int64_t kDefaultNoteLength = 384;
constexpr std::uint32_t kMaxNoteLength = 640;

// A descriptor of the file, or -1. The kind is looked at before the file is opened, for opening a
// device can already have an effect, and again on what was opened.
int open_regular_file(const std::string& path) {
  if (path.find('\0') != std::string::npos) return -1;
  struct stat info = {};
  if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return -1;
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) return -1;
  if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) return fd;
  close(fd);
  return -1;
}

bool is_regular_file(const std::string& path) {
  const int fd = open_regular_file(path);
  if (fd < 0) return false;
  close(fd);
  return true;
}

// Up to three arguments behind the chat id, of which the last ones may be missing.
struct Pieces {
  std::string_view first;
  std::string_view second;
  std::string_view third;
};

Pieces next_pieces(CommandCall& call) {
  Pieces pieces;
  pieces.first = next_arg(call);
  pieces.second = next_arg(call);
  pieces.third = next_arg(call);
  return pieces;
}

// An optional reply target in front of further arguments.
bool parse_reply_to(std::string_view piece, std::int64_t& reply_to) {
  return piece.empty() || parse_i64(piece, reply_to);
}

// With two arguments the first is the reply target when it is a number, else the path.
bool sort_document_pieces(const Pieces& pieces, std::int64_t& reply_to, std::string_view& path64,
                          std::string_view& caption64) {
  if (!pieces.third.empty()) {
    path64 = pieces.second;
    caption64 = pieces.third;
    return !path64.empty() && parse_reply_to(pieces.first, reply_to);
  }
  if (!pieces.second.empty() && parse_reply_to(pieces.first, reply_to)) {
    path64 = pieces.second;
  } else {
    path64 = pieces.first;
    caption64 = pieces.second;
  }
  return !path64.empty();
}

bool sort_voice_pieces(const Pieces& pieces, std::int64_t& reply_to, std::string_view& path64,
                       std::string_view& duration) {
  const bool has_target = !pieces.third.empty();
  path64 = has_target ? pieces.second : pieces.first;
  duration = has_target ? pieces.third : pieces.second;
  if (path64.empty() || duration.empty()) return false;
  return !has_target || parse_reply_to(pieces.first, reply_to);
}

struct NoteShape {
  std::int64_t duration_seconds = kDefaultNoteSeconds;
  std::int64_t length = kDefaultNoteLength;
};

NoteShape probe_video_note(int fd) {
  Mp4MediaHeader header;
  NoteShape shape;
  const std::int64_t seconds = mp4_parse_mdhd(fd, header) ? mp4_duration_seconds(header) : 0;
  if (seconds == 0) {
    dbg("WARN sendvideonote64: mp4 probe failed, using defaults");
    return shape;
  }
  shape.duration_seconds = seconds;
  if (header.width >= 1 && header.width <= kMaxNoteLength) shape.length = header.width;
  return shape;
}

}  // namespace

void append_message_ids(std::string& json, const std::vector<std::int64_t>& message_ids) {
  json += ",\"message_ids\":[";
  for (std::size_t i = 0; i < message_ids.size(); ++i) {
    if (i > 0) json += ',';
    append_i64(json, message_ids[i]);
  }
  json += ']';
}

std::string make_forward_messages(std::int64_t chat_id, std::int64_t from_chat_id,
                                  const std::vector<std::int64_t>& message_ids) {
  std::string json = "{\"@type\":\"forwardMessages\"";
  append_int_member(json, "chat_id", chat_id);
  append_int_member(json, "from_chat_id", from_chat_id);
  append_message_ids(json, message_ids);
  json += ',';
  json += kSendOptions;
  json += ",\"send_copy\":false,\"remove_caption\":false}";
  return json;
}

void run_send(CommandCall& call, SendCounter& counter, const TdClient& td) {
  std::int64_t chat_id = 0;
  if (!arg_id(call, chat_id)) return refuse_usage(call);
  const std::string_view text = trim(call.args);
  if (text.empty() || !is_utf8(text)) return refuse_usage(call);
  if (!gate_open(call)) return;
  send_tagged(make_send_message_text(chat_id, text, 0), "send", chat_id, counter, td);
  reply_ok(call, "SEND sendMessage");
}

void run_send64(CommandCall& call, SendCounter& counter, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t reply_to = 0;
  std::string_view text64;
  if (!arg_id(call, chat_id) || !arg_reply_and_text(call, reply_to, text64)) {
    return refuse_usage(call);
  }
  if (!gate_open(call)) return;
  std::string text;
  if (!decode_text(text64, text)) return refuse_with(call, "bad_base64");
  send_tagged(make_send_message_text(chat_id, text, reply_to), "send", chat_id, counter, td);
  reply_ok(call, "SEND sendMessage (send64)");
}

void run_edit64(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t message_id = 0;
  if (!arg_id(call, chat_id) || !arg_positive(call, message_id)) return refuse_usage(call);
  const std::string_view text64 = next_arg(call);
  if (text64.empty()) return refuse_usage(call);
  if (!gate_open(call)) return;
  std::string text;
  if (!decode_text(text64, text)) return refuse_with(call, "bad_base64");
  td_request(td, make_edit_message_text(chat_id, message_id, text),
             make_tag("edit", chat_id, message_id));
  reply_ok(call, "SEND editMessageText (edit64)");
}

static void emit_send_ok(std::int64_t chat_id, std::int64_t message_id) {
  if (chat_id == 0 || message_id < 1) return;
  std::string event = begin_event("send_ok");
  append_int_member(event, "chat_id", chat_id);
  append_int_member(event, "message_id", message_id);
  end_event(event);
}

void on_sent(Answer& answer) {
  emit_send_ok(next_field_i64(answer.fields), member_int(answer.text, "id"));
}

void on_sent_again(Answer& answer) {
  const std::int64_t chat_id = next_field_i64(answer.fields);
  MessagePage page = open_message_page(answer.text);
  for (std::string_view message; next_message(page, message);) {
    emit_send_ok(chat_id, member_int(message, "id"));
  }
}

// What "sendfile64" and its siblings are given, decoded.
struct FileToSend {
  std::int64_t chat_id = 0;
  std::int64_t reply_to = 0;
  std::string path;
  std::string caption;
};

// Reads the arguments and opens the file; -1 when the command has been refused.
static int open_file_to_send(CommandCall& call, FileToSend& file) {
  constexpr int kRefused = -1;
  std::string_view path64;
  std::string_view caption64;
  if (!arg_id(call, file.chat_id) ||
      !sort_document_pieces(next_pieces(call), file.reply_to, path64, caption64)) {
    refuse_usage(call);
    return kRefused;
  }
  if (!gate_open(call)) return kRefused;
  if (!decode_text(path64, file.path)) {
    refuse_with(call, "bad_base64_path");
    return kRefused;
  }
  if (!decode_text(caption64, file.caption)) {
    refuse_with(call, "bad_base64_caption");
    return kRefused;
  }
  const int fd = open_regular_file(file.path);
  if (fd < 0) refuse_with(call, "no_such_file");
  return fd;
}

void run_sendfile64(CommandCall& call, SendCounter& counter, const TdClient& td) {
  FileToSend file;
  const int fd = open_file_to_send(call, file);
  if (fd < 0) return;
  close(fd);
  send_tagged(make_send_document(file.chat_id, file.reply_to, file.path, file.caption), "sendfile",
              file.chat_id, counter, td);
  reply_ok(call, "SEND sendMessage (document/sendfile64)");
}

void run_sendphoto64(CommandCall& call, SendCounter& counter, const TdClient& td) {
  FileToSend file;
  const int fd = open_file_to_send(call, file);
  if (fd < 0) return;
  close(fd);
  send_tagged(make_send_photo(file.chat_id, file.reply_to, file.path, file.caption), "sendphoto",
              file.chat_id, counter, td);
  reply_ok(call, "SEND sendMessage (photo/sendphoto64)");
}

void run_sendvideo64(CommandCall& call, SendCounter& counter, const TdClient& td) {
  FileToSend file;
  const int fd = open_file_to_send(call, file);
  if (fd < 0) return;
  Mp4MediaHeader header;
  if (!mp4_parse_mdhd(fd, header)) {
    header = Mp4MediaHeader{};
    dbg("WARN sendvideo64: mp4 probe failed");
  }
  close(fd);
  send_tagged(make_send_video(file.chat_id, file.reply_to, file.path, file.caption, header),
              "sendvideo", file.chat_id, counter, td);
  reply_ok(call, "SEND sendMessage (video/sendvideo64)");
}

void run_send_again(CommandCall& call, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::vector<std::int64_t> ids;
  if (!arg_id(call, chat_id) || !arg_message_ids(call, ids)) return refuse_usage(call);
  if (!gate_open(call)) return;
  td_request(td, make_resend_messages(chat_id, ids), make_tag("sendAgain", chat_id));
  reply_ok(call, "SEND resendMessages");
}

void run_sendvoice64(CommandCall& call, SendCounter& counter, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t reply_to = 0;
  std::string_view path64;
  std::string_view duration;
  if (!arg_id(call, chat_id) || !sort_voice_pieces(next_pieces(call), reply_to, path64, duration)) {
    return refuse_usage(call);
  }
  if (!gate_open(call)) return;
  std::string path;
  std::int64_t seconds = -1;
  if (!decode_text(path64, path)) return refuse_with(call, "bad_base64_path");
  if (!parse_i64(duration, seconds) || seconds < 0 || seconds > kMaxDurationSeconds) {
    return refuse_with(call, "bad_duration");
  }
  if (!is_regular_file(path)) return refuse_with(call, "no_such_file");
  send_tagged(make_send_voice_note(chat_id, reply_to, path, seconds), "sendvoice", chat_id, counter,
              td);
  reply_ok(call, "SEND sendMessage (voice/sendvoice64)");
}

void run_sendvideonote64(CommandCall& call, SendCounter& counter, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t reply_to = 0;
  std::string_view path64;
  if (!arg_id(call, chat_id) || !arg_reply_and_text(call, reply_to, path64)) {
    return refuse_usage(call);
  }
  if (!gate_open(call)) return;
  std::string path;
  if (!decode_text(path64, path)) return refuse_with(call, "bad_base64_path");
  const int fd = open_regular_file(path);
  if (fd < 0) return refuse_with(call, "no_such_file");
  const NoteShape shape = probe_video_note(fd);
  close(fd);
  send_tagged(make_send_video_note(chat_id, reply_to, path, shape.duration_seconds, shape.length),
              "sendvideonote", chat_id, counter, td);
  reply_ok(call, "SEND sendMessage (video_note/sendvideonote64)");
}
