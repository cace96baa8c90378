#include "commands/file_send_commands.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "commands/mp4_probe.h"
#include "commands/send_requests.h"
#include "frame/channels.h"
#include "json/text.h"

namespace {

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

void run_sendfile64(CommandCall& call, SendCounter& counter, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t reply_to = 0;
  std::string_view path64;
  std::string_view caption64;
  if (!arg_id(call, chat_id) ||
      !sort_document_pieces(next_pieces(call), reply_to, path64, caption64)) {
    return reply_usage(call);
  }
  if (!gate_open(call)) return;
  std::string path;
  std::string caption;
  if (!base64_decode(path64, path)) return reply_error(call, "bad_base64_path");
  if (!base64_decode(caption64, caption)) return reply_error(call, "bad_base64_caption");
  if (!is_regular_file(path)) return reply_error(call, "no_such_file");
  send_tagged(make_send_document(chat_id, reply_to, path, caption), "sendfile", chat_id, counter,
              td);
  reply_ok(call, "SEND sendMessage (document/sendfile64)");
}

void run_sendvoice64(CommandCall& call, SendCounter& counter, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t reply_to = 0;
  std::string_view path64;
  std::string_view duration;
  if (!arg_id(call, chat_id) || !sort_voice_pieces(next_pieces(call), reply_to, path64, duration)) {
    return reply_usage(call);
  }
  if (!gate_open(call)) return;
  std::string path;
  std::int64_t seconds = -1;
  if (!base64_decode(path64, path)) return reply_error(call, "bad_base64_path");
  if (!parse_i64(duration, seconds) || seconds < 0 || seconds > kMaxDurationSeconds) {
    return reply_error(call, "bad_duration");
  }
  if (!is_regular_file(path)) return reply_error(call, "no_such_file");
  send_tagged(make_send_voice_note(chat_id, reply_to, path, seconds), "sendvoice", chat_id, counter,
              td);
  reply_ok(call, "SEND sendMessage (voice/sendvoice64)");
}

void run_sendvideonote64(CommandCall& call, SendCounter& counter, const TdClient& td) {
  std::int64_t chat_id = 0;
  std::int64_t reply_to = 0;
  std::string_view path64;
  if (!arg_id(call, chat_id) || !arg_reply_and_text(call, reply_to, path64)) {
    return reply_usage(call);
  }
  if (!gate_open(call)) return;
  std::string path;
  if (!base64_decode(path64, path)) return reply_error(call, "bad_base64_path");
  const int fd = open_regular_file(path);
  if (fd < 0) return reply_error(call, "no_such_file");
  const NoteShape shape = probe_video_note(fd);
  close(fd);
  send_tagged(make_send_video_note(chat_id, reply_to, path, shape.duration_seconds, shape.length),
              "sendvideonote", chat_id, counter, td);
  reply_ok(call, "SEND sendMessage (video_note/sendvideonote64)");
}
