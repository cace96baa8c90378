// The media header found in box trees that are built here, whole and broken.
#include "commands/mp4_probe.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

std::string be32(std::uint64_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xff);
  return bytes;
}
std::string be64(std::uint64_t value) { return be32(value >> 32) + be32(value); }

std::string box(const std::string& name, const std::string& content) {
  return be32(8 + content.size()) + name + content;
}
// With its size in eight bytes.
std::string big_box(const std::string& name, const std::string& content) {
  return be32(1) + name + be64(16 + content.size()) + content;
}
// To the end of what is around it.
std::string open_box(const std::string& name, const std::string& content) {
  return be32(0) + name + content;
}

std::string mdhd_body(int version, std::uint32_t scale, std::uint64_t duration) {
  return static_cast<char>(version) + std::string(version == 0 ? 11 : 19, '\1') + be32(scale) +
         (version == 0 ? be32(duration) : be64(duration)) + "lang";
}
std::string mdhd(int version, std::uint32_t scale, std::uint64_t duration) {
  return box("mdhd", mdhd_body(version, scale, duration));
}
std::string tkhd_body(int version, std::uint32_t width) {
  return static_cast<char>(version) + std::string(version == 0 ? 75 : 87, '\1') +
         be32(width << 16 | 0x8000) + be32(90 << 16);
}
std::string tkhd(int version, std::uint32_t width) {
  return box("tkhd", tkhd_body(version, width));
}
std::string hdlr_body(const std::string& kind) {
  return std::string(8, '\0') + kind + std::string(13, '\0');
}
std::string track(const std::string& header, const std::string& media, const std::string& kind) {
  return box("trak", header + box("mdia", media + box("hdlr", hdlr_body(kind)) + box("minf", "?")));
}

// "scale/duration/width x height", or "refused".
std::string probe(int fd) {
  Mp4MediaHeader header;
  if (!mp4_parse_mdhd(fd, header)) return "refused";
  return std::to_string(header.time_scale) + "/" + std::to_string(header.duration) + "/" +
         std::to_string(header.width) + "x" + std::to_string(header.height);
}

void put(std::FILE* file, std::int64_t offset, std::string_view bytes) {
  EXPECT_EQ(pwrite(fileno(file), bytes.data(), bytes.size(), offset), ssize_t(bytes.size()));
}

std::string probe(std::string_view bytes) {
  std::FILE* const file = std::tmpfile();
  put(file, 0, bytes);
  const std::string found = probe(fileno(file));
  std::fclose(file);
  return found;
}

const std::string kFtyp = box("ftyp", "isomiso2");
const std::string kVideo = track(tkhd(0, 240), mdhd(0, 600, 1500), "vide");
const std::string kSound = track(tkhd(0, 0), mdhd(0, 44100, 88200), "soun");

TEST(Mp4Probe, FindsTheHeaderInLegalTreesAlone) {
  const std::string video_v1 = track(tkhd(1, 320), mdhd(1, 1000, 6000000000), "vide");
  const std::string handler = box("hdlr", hdlr_body("vide"));
  const std::string mdia = box("mdia", handler + mdhd(0, 600, 1500));
  const std::string to_the_end =
      box("trak", tkhd(0, 240) + box("mdia", handler + open_box("mdhd", mdhd_body(0, 7, 70))));
  const std::string big_boxes =
      big_box("moov", big_box("trak", big_box("tkhd", tkhd_body(0, 50)) +
                                          big_box("mdia", big_box("mdhd", mdhd_body(1, 3, 9)) +
                                                              big_box("hdlr", hdlr_body("vide")))));
  const auto movie = [](const std::string& content) { return box("moov", box("trak", content)); };
  const auto media = [&](const std::string& content) { return movie(box("mdia", content)); };
  const struct {
    const char* found;
    std::string bytes;
  } trees[] = {
      {"600/1500/240x90", kFtyp + box("moov", kVideo) + box("mdat", "x")},
      {"600/1500/240x90", kFtyp + box("moov", box("mvhd", "?") + kSound + kVideo)},
      {"600/1500/240x90", box("moov", kVideo + video_v1)},
      {"44100/88200/0x0", box("moov", kSound)},
      {"1000/6000000000/320x90", box("moov", kSound + video_v1)},
      {"10/20/100x90", movie(tkhd(0, 100) + box("mdia", mdhd(0, 10, 20)))},
      {"600/1500/240x90", box("moov", box("trak", tkhd(0, 9)) + kVideo)},
      {"10/20/0x0", media(mdhd(0, 10, 20))},
      // Without its height, and with half of it.
      {"10/20/9x0",
       movie(box("tkhd", tkhd_body(0, 9).substr(0, 80)) + box("mdia", mdhd(0, 10, 20)))},
      {"10/20/9x0",
       movie(box("tkhd", tkhd_body(0, 9).substr(0, 82)) + box("mdia", mdhd(0, 10, 20)))},
      {"3/9/50x90", kFtyp + big_boxes},
      {"7/70/240x90", kFtyp + open_box("moov", to_the_end)},
      {"600/1500/240x90", box("moov", kVideo) + open_box("mdat", "abc")},
      // Names below other boxes do not count.
      {"600/1500/240x90", box("moov", box("udta", box("mdhd", "")) + kVideo) + box("mdhd", "")},
      // An unknown duration.
      {"5/18446744073709551615/1x90",
       box("moov", track(tkhd(0, 1), mdhd(0, 5, 0xffffffff), "vide"))},
      {"refused", std::string(100, 'x')},
      {"refused", kFtyp + box("mdat", mdia)},
      {"refused", box("moov", "")},
      {"refused", movie(tkhd(0, 9) + box("mdia", handler))},
      {"refused", media(mdhd(0, 0, 1500))},
      {"refused", media(box("mdhd", "\2" + std::string(40, '\1')))},
      // Contents that are too short.
      {"refused", media(box("mdhd", mdhd_body(0, 6, 1).substr(0, 19)))},
      {"refused", media(box("mdhd", mdhd_body(1, 6, 1).substr(0, 31)))},
      {"refused", movie(box("tkhd", tkhd_body(0, 9).substr(0, 79)) + mdia)},
      {"refused", media(box("hdlr", "12345678vid") + mdhd(0, 6, 1))},
      // Sizes below their own head, without room, around the end, beyond the parent.
      {"refused", movie(mdia + be32(7) + "fre" + box("free", ""))},
      {"refused", movie(mdia + be32(1) + "free" + be64(8))},
      {"refused", box("moov", kVideo + be32(1) + "free" + "123")},
      {"refused", movie(mdia + be32(1) + "free" + be64(UINT64_MAX))},
      {"refused", movie(mdia + be32(9) + "free")},
      {"refused", box("moov", kVideo + "1234567")},
      {"refused", box("moov", kVideo) + be32(1000) + "mdat"}};
  for (const auto& [found, bytes] : trees) {
    EXPECT_EQ(probe(bytes), found) << testing::PrintToString(bytes);
  }
  EXPECT_EQ(probe(-1), "refused");
}

TEST(Mp4Probe, RefusesAFileCutAnywhere) {
  const std::string whole = kFtyp + big_box("mdat", "abc") + box("moov", kSound + kVideo);
  ASSERT_EQ(probe(whole), "600/1500/240x90");
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
  std::FILE* const file = std::tmpfile();  // a hole takes no room on the disk
  const std::int64_t size = (std::int64_t{5} << 30) + 3;
  put(file, 0, be32(1) + "mdat" + be64(static_cast<std::uint64_t>(size)));
  ASSERT_EQ(ftruncate(fileno(file), size), 0);
  EXPECT_EQ(probe(fileno(file)), "refused");
  put(file, size, box("moov", kVideo));
  EXPECT_EQ(probe(fileno(file)), "600/1500/240x90");
  std::fclose(file);
}

TEST(Mp4Probe, RoundsUpToWholeSeconds) {
  const auto seconds = [](std::uint32_t scale, std::uint64_t duration) {
    return mp4_duration_seconds({scale, duration, 0});
  };
  for (const std::uint64_t duration : {0U, 1U, 600U}) EXPECT_EQ(seconds(600, duration), 1);
  for (const std::uint64_t duration : {1500U, 1800U}) EXPECT_EQ(seconds(600, duration), 3);
  EXPECT_EQ(seconds(600, 1801), 4);
  EXPECT_EQ(seconds(1, 2147483647), 2147483647);
  EXPECT_EQ(seconds(1, 2147483648), 0);
  EXPECT_EQ(seconds(2, 4294967295), 0);
  for (const std::uint32_t scale : {0u, 1000u, UINT32_MAX}) {
    EXPECT_EQ(seconds(scale, UINT64_MAX), 0) << scale;
  }
  EXPECT_EQ(seconds(1000, UINT64_MAX - 1), 0);
}

}  // namespace
