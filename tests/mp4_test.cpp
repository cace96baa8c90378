// The media header found in box trees that are built here, whole and broken.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "commands/mp4_probe.h"
#include "tests/mp4_texts.h"

namespace {

struct ProbeFile {
  std::FILE* file = std::tmpfile();
  ProbeFile() {
    if (file == nullptr) std::abort();
  }
  ~ProbeFile() { std::fclose(file); }
  ProbeFile(const ProbeFile&) = delete;
  ProbeFile& operator=(const ProbeFile&) = delete;

  int fd() const { return fileno(file); }
  void put(std::int64_t offset, std::string_view bytes) const {
    if (pwrite(fd(), bytes.data(), bytes.size(), offset) != static_cast<ssize_t>(bytes.size())) {
      std::abort();
    }
  }
  void resize(std::int64_t size) const {
    if (ftruncate(fd(), size) != 0) std::abort();
  }
};

// "scale/duration/width", or "refused".
std::string probe(int fd) {
  Mp4MediaHeader header;
  if (!mp4_parse_mdhd(fd, header)) return "refused";
  return std::to_string(header.time_scale) + "/" + std::to_string(header.duration) + "/" +
         std::to_string(header.width);
}

std::string probe(std::string_view bytes) {
  const ProbeFile file;
  file.put(0, bytes);
  return probe(file.fd());
}

const std::string kFtyp = box("ftyp", "isomiso2");
const std::string kVideo = track(tkhd(0, 240), mdhd(0, 600, 1500), "vide");
const std::string kSound = track(tkhd(0, 0), mdhd(0, 44100, 88200), "soun");

TEST(Mp4Probe, FindsTheHeaderInEveryLegalTree) {
  const std::string video_v1 = track(tkhd(1, 320), mdhd(1, 1000, 6000000000), "vide");
  const std::string no_handler = box("trak", tkhd(0, 100) + box("mdia", mdhd(0, 10, 20)));
  const std::string to_the_end =
      box("trak", tkhd(0, 240) + box("mdia", hdlr("vide") + open_box("mdhd", mdhd_body(0, 7, 70))));
  const std::string big_boxes =
      big_box("moov", big_box("trak", big_box("tkhd", tkhd_body(0, 50)) +
                                          big_box("mdia", big_box("mdhd", mdhd_body(1, 3, 9)) +
                                                              big_box("hdlr", hdlr_body("vide")))));
  const struct {
    const char* what;
    std::string bytes;
    const char* found;
  } trees[] = {
      {"one track", kFtyp + box("moov", kVideo) + box("mdat", "x"), "600/1500/240"},
      {"the sound first", kFtyp + box("moov", box("mvhd", "?") + kSound + kVideo), "600/1500/240"},
      {"two videos", box("moov", kVideo + video_v1), "600/1500/240"},
      {"only sound", box("moov", kSound), "44100/88200/0"},
      {"eight-byte fields", box("moov", kSound + video_v1), "1000/6000000000/320"},
      {"no handler, no other boxes", box("moov", no_handler), "10/20/100"},
      {"a track without media", box("moov", box("trak", tkhd(0, 9)) + kVideo), "600/1500/240"},
      {"no track header", box("moov", box("trak", box("mdia", mdhd(0, 10, 20)))), "10/20/0"},
      {"eight-byte sizes", kFtyp + big_boxes, "3/9/50"},
      {"sizes to the end", kFtyp + open_box("moov", to_the_end), "7/70/240"},
      {"media data to the end", box("moov", kVideo) + open_box("mdat", "abc"), "600/1500/240"},
      {"names below other boxes do not count",
       box("moov", box("udta", box("mdhd", "")) + kVideo) + box("mdhd", ""), "600/1500/240"},
      {"an unknown duration", box("moov", track(tkhd(0, 1), mdhd(0, 5, 0xffffffff), "vide")),
       "5/18446744073709551615/1"},
  };
  for (const auto& tree : trees) EXPECT_EQ(probe(tree.bytes), tree.found) << tree.what;
}

TEST(Mp4Probe, RefusesEveryBrokenTree) {
  const std::string mdia = box("mdia", hdlr("vide") + mdhd(0, 600, 1500));
  const auto movie = [](const std::string& content) { return box("moov", box("trak", content)); };
  const struct {
    const char* what;
    std::string bytes;
  } trees[] = {
      {"nothing", ""},
      {"no boxes", std::string(100, 'x')},
      {"zeros", std::string(1, '\0')},
      {"no movie", kFtyp + box("mdat", mdia)},
      {"no track", box("moov", "")},
      {"no media header", movie(tkhd(0, 9) + box("mdia", hdlr("vide")))},
      {"a time scale of 0", movie(box("mdia", mdhd(0, 0, 1500)))},
      {"an unknown version", movie(box("mdia", box("mdhd", "\2" + std::string(40, '\1'))))},
      {"a short media header", movie(box("mdia", box("mdhd", mdhd_body(0, 6, 1).substr(0, 19))))},
      {"a short long media header",
       movie(box("mdia", box("mdhd", mdhd_body(1, 6, 1).substr(0, 31))))},
      {"a short track header", movie(box("tkhd", tkhd_body(0, 9).substr(0, 79)) + mdia)},
      {"a short handler", movie(box("mdia", box("hdlr", "12345678vid") + mdhd(0, 6, 1)))},
      {"a size below its head", movie(be32(7) + "mdia" + mdhd(0, 6, 1))},
      {"a long size below its head", movie(be32(1) + "mdia" + be64(15) + mdhd(0, 6, 1))},
      {"a long size without room", box("moov", kVideo + be32(1) + "free" + "123")},
      {"a long size around the end", movie(mdia + be32(1) + "free" + be64(UINT64_MAX))},
      {"a child beyond its parent", movie(mdia + be32(9) + "free")},
      {"bytes behind the last child", box("moov", kVideo + "1234567")},
      {"bytes behind the last box", box("moov", kVideo) + "1234"},
      {"a broken box behind the movie", box("moov", kVideo) + be32(1000) + "mdat"},
  };
  for (const auto& tree : trees) EXPECT_EQ(probe(tree.bytes), "refused") << tree.what;
  EXPECT_EQ(probe(-1), "refused");
}

TEST(Mp4Probe, RefusesAFileCutAnywhere) {
  const std::string whole = kFtyp + big_box("mdat", "abc") + box("moov", kSound + kVideo);
  ASSERT_EQ(probe(whole), "600/1500/240");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(probe(std::string_view(whole).substr(0, size)), "refused") << size;
  }
}

TEST(Mp4Probe, GivesUpOnBoxesWithoutEnd) {
  std::string boxes = box("moov", kVideo);
  for (int i = 0; i < 30000; ++i) boxes += box("free", "");
  EXPECT_EQ(probe(boxes), "refused");
}

TEST(Mp4Probe, ReadsBehindFourGigabytes) {
  const ProbeFile file;  // a hole takes no room on the disk
  const std::int64_t size = (std::int64_t{5} << 30) + 3;
  file.put(0, be32(1) + "mdat" + be64(static_cast<std::uint64_t>(size)));
  file.resize(size);
  EXPECT_EQ(probe(file.fd()), "refused");
  file.put(size, box("moov", kVideo));
  EXPECT_EQ(probe(file.fd()), "600/1500/240");
}

TEST(Mp4Probe, RoundsUpToWholeSeconds) {
  const struct {
    std::uint32_t scale;
    std::uint64_t duration;
    std::int64_t seconds;
  } cases[] = {
      {600, 1500, 3},
      {600, 1800, 3},
      {600, 1801, 4},
      {600, 1, 1},
      {600, 0, 1},
      {1, 2147483647, 2147483647},
      {1, 2147483648, 0},
      {2, 4294967295, 0},
      {1000, UINT64_MAX - 1, 0},
      {1000, UINT64_MAX, 0},
      {UINT32_MAX, UINT64_MAX, 0},
      {0, 5, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(mp4_duration_seconds({c.scale, c.duration, 0}), c.seconds)
        << c.duration << " / " << c.scale;
  }
}

}  // namespace
