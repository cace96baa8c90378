// An MP4 file is a row of boxes: a size of four bytes that counts itself, a name of four bytes,
// the content. A size of 1 means that the size follows the name in eight bytes, 0 that the box
// goes on to the end. Some boxes hold boxes again. The way to what is looked for:
//
//   moov            the description of the film
//     trak          one for each track
//       tkhd        width and height of its picture
//       mdia
//         mdhd      time scale and duration
//         hdlr      what kind of track it is
//
// The walk reads every box header on these four levels, also behind the one that it wants: a file
// that breaks off later is no whole film either.
#include "commands/mp4_probe.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string_view>

namespace {

constexpr int kMaxBoxes = 20000;  // a minute of film in fragments has some hundreds

struct Mp4File {
  int fd = -1;
  int boxes_left = kMaxBoxes;
};

struct Span {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

struct Box {
  unsigned char name[4] = {};
  Span content;
};

struct Track {
  Mp4MediaHeader header;
  bool has_header = false;
  bool has_kind = false;
  bool is_video = false;
};

std::uint64_t big_endian(const unsigned char* bytes, std::size_t size) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) value = value << 8U | bytes[i];
  return value;
}

// All `size` bytes at `offset`, or false.
bool read_at(const Mp4File& file, std::uint64_t offset, unsigned char* out, std::size_t size) {
  while (size > 0) {
    const ssize_t got = pread(file.fd, out, size, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    out += got;
    size -= static_cast<std::size_t>(got);
    offset += static_cast<std::uint64_t>(got);
  }
  return true;
}

// The first `size` bytes of the content; false when it is shorter.
bool read_content(const Mp4File& file, Span content, unsigned char* out, std::size_t size) {
  return content.end - content.begin >= size && read_at(file, content.begin, out, size);
}

// The box at the front of `rest`, which then begins behind it. False when it does not fit.
bool next_box(Mp4File& file, Span& rest, Box& box) {
  unsigned char head[16];
  if (file.boxes_left-- <= 0 || !read_content(file, rest, head, 8)) return false;
  const std::uint64_t room = rest.end - rest.begin;
  std::uint64_t head_size = 8;
  std::uint64_t size = big_endian(head, 4);
  if (size == 0) {
    size = room;
  } else if (size == 1) {
    head_size = 16;
    if (!read_content(file, rest, head, 16)) return false;
    size = big_endian(head + 8, 8);
  }
  if (size < head_size || size > room) return false;
  for (std::size_t i = 0; i < sizeof box.name; ++i) box.name[i] = head[4 + i];
  box.content = {rest.begin + head_size, rest.begin + size};
  rest.begin += size;
  return true;
}

bool named(const Box& box, std::string_view name) {
  for (std::size_t i = 0; i < sizeof box.name; ++i) {
    if (box.name[i] != static_cast<unsigned char>(name[i])) return false;
  }
  return true;
}

bool read_media_header(const Mp4File& file, Span content, Mp4MediaHeader& out) {
  unsigned char bytes[32];
  if (!read_content(file, content, bytes, 20)) return false;
  if (bytes[0] == 0) {
    out.time_scale = static_cast<std::uint32_t>(big_endian(bytes + 12, 4));
    out.duration = big_endian(bytes + 16, 4);
    if (out.duration == UINT32_MAX) out.duration = UINT64_MAX;
  } else {
    if (bytes[0] != 1 || !read_content(file, content, bytes, 32)) return false;
    out.time_scale = static_cast<std::uint32_t>(big_endian(bytes + 20, 4));
    out.duration = big_endian(bytes + 24, 8);
  }
  return out.time_scale > 0;
}

// Width and height are fixed-point numbers: whole pixels in the upper half.
bool read_track_header(const Mp4File& file, Span content, Track& track) {
  unsigned char bytes[96] = {};
  if (!read_content(file, content, bytes, 80)) return false;
  std::size_t width_at = 76;
  if (bytes[0] != 0) {
    if (bytes[0] != 1 || !read_content(file, content, bytes, 92)) return false;
    width_at = 88;
  }
  track.header.width = static_cast<std::uint32_t>(big_endian(bytes + width_at, 2));
  // A header that ends behind the width is taken as before; it then has no height.
  if (read_content(file, content, bytes, width_at + 8)) {
    track.header.height = static_cast<std::uint32_t>(big_endian(bytes + width_at + 4, 2));
  }
  return true;
}

bool read_handler(const Mp4File& file, Span content, Track& track) {
  unsigned char bytes[12];
  if (!read_content(file, content, bytes, sizeof bytes)) return false;
  track.has_kind = true;
  track.is_video = big_endian(bytes + 8, 4) == 0x76696465;  // "vide"
  return true;
}

bool read_media(Mp4File& file, Span content, Track& track) {
  for (Box box; content.begin < content.end;) {
    if (!next_box(file, content, box)) return false;
    if (named(box, "mdhd") && !track.has_header) {
      if (!read_media_header(file, box.content, track.header)) return false;
      track.has_header = true;
    } else if (named(box, "hdlr") && !track.has_kind) {
      if (!read_handler(file, box.content, track)) return false;
    }
  }
  return true;
}

bool read_track(Mp4File& file, Span content, Track& track) {
  for (Box box; content.begin < content.end;) {
    if (!next_box(file, content, box)) return false;
    if (named(box, "tkhd") && !read_track_header(file, box.content, track)) return false;
    if (named(box, "mdia") && !read_media(file, box.content, track)) return false;
  }
  // What is known to be something else has no picture, whatever its header says.
  if (track.has_kind && !track.is_video) track.header.width = track.header.height = 0;
  return true;
}

// `best`: the first video track, else the first track.
bool read_movie(Mp4File& file, Span content, Track& best) {
  for (Box box; content.begin < content.end;) {
    if (!next_box(file, content, box)) return false;
    if (!named(box, "trak")) continue;
    Track track;
    if (!read_track(file, box.content, track)) return false;
    if (!track.has_header) continue;
    if (!best.has_header || (track.is_video && !best.is_video)) best = track;
  }
  return true;
}

}  // namespace

bool mp4_parse_mdhd(int fd, Mp4MediaHeader& out) {
  struct stat info = {};
  if (fstat(fd, &info) != 0 || info.st_size < 0) return false;
  Mp4File file{fd};
  Track best;
  Span rest{0, static_cast<std::uint64_t>(info.st_size)};
  for (Box box; rest.begin < rest.end;) {
    if (!next_box(file, rest, box)) return false;
    if (named(box, "moov") && !read_movie(file, box.content, best)) return false;
  }
  out = best.header;
  return best.has_header;
}

std::int64_t mp4_duration_seconds(const Mp4MediaHeader& header) {
  if (header.time_scale == 0 || header.duration == UINT64_MAX) return 0;
  const std::uint64_t seconds =
      header.duration / header.time_scale + (header.duration % header.time_scale != 0 ? 1 : 0);
  if (seconds > 2147483647) return 0;
  return seconds < 1 ? 1 : static_cast<std::int64_t>(seconds);
}
