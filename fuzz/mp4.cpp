#include <sys/mman.h>
#include <unistd.h>

#include "commands/mp4_probe.h"
#include "fuzz/targets.h"

void fuzz_mp4(std::string_view input) {
  static const int file = memfd_create("mp4", MFD_CLOEXEC);
  must(ftruncate(file, 0) == 0 &&
           pwrite(file, input.data(), input.size(), 0) == static_cast<ssize_t>(input.size()),
       "write");
  Mp4MediaHeader header;
  if (!mp4_parse_mdhd(file, header)) return;
  must(header.time_scale >= 1, "a time scale is at least 1");
  const std::int64_t seconds = mp4_duration_seconds(header);
  must(seconds >= 0 && seconds <= 2147483647, "a duration is in its range");
}
