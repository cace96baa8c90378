// Boxes of an MP4 file, built from their parts.
#pragma once

#include <cstdint>
#include <string>

inline std::string be32(std::uint64_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xff);
  return bytes;
}
inline std::string be64(std::uint64_t value) { return be32(value >> 32) + be32(value); }

inline std::string box(const std::string& name, const std::string& content) {
  return be32(8 + content.size()) + name + content;
}
// With its size in eight bytes.
inline std::string big_box(const std::string& name, const std::string& content) {
  return be32(1) + name + be64(16 + content.size()) + content;
}
// To the end of what is around it.
inline std::string open_box(const std::string& name, const std::string& content) {
  return be32(0) + name + content;
}

inline std::string mdhd_body(int version, std::uint32_t scale, std::uint64_t duration) {
  const std::string head(1, static_cast<char>(version));
  if (version == 0) return head + std::string(11, '\1') + be32(scale) + be32(duration) + "lang";
  return head + std::string(19, '\1') + be32(scale) + be64(duration) + "lang";
}
inline std::string mdhd(int version, std::uint32_t scale, std::uint64_t duration) {
  return box("mdhd", mdhd_body(version, scale, duration));
}

inline std::string tkhd_body(int version, std::uint32_t width) {
  return std::string(1, static_cast<char>(version)) + std::string(version == 0 ? 75 : 87, '\1') +
         be32(width << 16 | 0x8000) + be32(0);
}
inline std::string tkhd(int version, std::uint32_t width) {
  return box("tkhd", tkhd_body(version, width));
}

inline std::string hdlr_body(const std::string& kind) {
  return std::string(8, '\0') + kind + std::string(13, '\0');
}
inline std::string hdlr(const std::string& kind) { return box("hdlr", hdlr_body(kind)); }

inline std::string track(const std::string& header, const std::string& media_header,
                         const std::string& kind) {
  return box("trak", header + box("mdia", media_header + hdlr(kind) + box("minf", "?")));
}
