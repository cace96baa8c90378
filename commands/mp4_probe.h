// The media header of an MP4 or MOV file. Only box headers and the few fields named here are
// read, at their places, whatever the size of the file. Pure but for reading; any thread.
#pragma once

#include <cstdint>

struct Mp4MediaHeader {
  std::uint32_t time_scale = 0;  // units a second; at least 1
  std::uint64_t duration = 0;    // in units; UINT64_MAX: not known
  std::uint32_t width = 0;       // of the picture in whole pixels; 0: not known, or no picture
  std::uint32_t height = 0;      // the same
};

// Reads the media header of the file behind `fd`, the video track's where there are several
// tracks. False when there is none, when any box on the way breaks off or does not fit into the
// one around it, and when there are more boxes than a file of this kind has. The file offset of
// `fd` is not used.
bool mp4_parse_mdhd(int fd, Mp4MediaHeader& out);

// The duration in seconds, rounded up, at least 1. 0 when it is not known or above 2147483647.
std::int64_t mp4_duration_seconds(const Mp4MediaHeader& header);
