// Files: named when a text first shows them, written to the disk when they are downloaded.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "world/requests.h"
#include "world/schema.h"

namespace world {

static constexpr int kSteps = 5;  // pieces of a download
static constexpr double kStepSeconds = 0.25;

int file_of(Id key, int size, bool photo) {
  const auto found = g_world.file_ids.find(key);
  if (found != g_world.file_ids.end()) return found->second;
  File file;
  file.key = key;
  file.size = size;
  file.photo = photo;
  g_world.files.push_back(file);
  const int id = static_cast<int>(g_world.files.size());
  g_world.file_ids[key] = id;
  return id;
}

int own_file(const std::string& path) {
  struct stat status {};
  File file;
  if (stat(path.c_str(), &status) == 0)
    file.size = static_cast<int>(std::min<off_t>(status.st_size, 0x7FFFFFFF));
  file.path = path;
  file.done = file.size;
  file.own = true;
  g_world.files.push_back(file);
  return static_cast<int>(g_world.files.size());
}

static File* find_file(Id id) {
  if (id < 1 || id > static_cast<Id>(g_world.files.size())) return nullptr;
  return &g_world.files[static_cast<std::size_t>(id - 1)];
}

std::string file_text(int id) {
  static const Shape shape(
      "file",
      "id size expected_size local.path local.can_be_downloaded local.can_be_deleted "
      "local.is_downloading_active local.is_downloading_completed local.downloaded_prefix_size "
      "local.downloaded_size remote.id remote.unique_id remote.is_uploading_completed "
      "remote.uploaded_size");
  const File& file = *find_file(id);
  const bool complete = !file.path.empty() && file.done == file.size;
  const std::string name = std::to_string(id);
  return shape.text({id, file.size, file.size, file.path, true, complete && !file.own, file.active,
                     complete, file.done, file.done, "AgACAgIAAx0CW" + name, "AQADW" + name, true,
                     file.size});
}

static void tell_file(int id) {
  static const Shape shape("updateFile", "file");
  tell(shape.text({file_text(id)}));
}

// ---- what stands in them

static std::uint32_t crc_of(std::string_view bytes) {
  std::uint32_t crc = 0xFFFFFFFFu;
  for (const char c : bytes) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0);
  }
  return ~crc;
}

static void add_big_endian(std::string& out, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(number >> shift);
}

static void add_chunk(std::string& out, std::string_view type, std::string_view data) {
  add_big_endian(out, static_cast<std::uint32_t>(data.size()));
  const std::string chunk = std::string(type) + std::string(data);
  out += chunk;
  add_big_endian(out, crc_of(chunk));
}

// A picture of two colours that depend on the dice, not compressed, so that its size is known.
static std::string picture(std::uint64_t dice, std::size_t size) {
  const std::size_t edge = std::clamp<std::size_t>(size / 3000 * 8, 24, 100);
  std::string rows;
  for (std::size_t y = 0; y < edge; ++y) {
    rows += '\0';
    for (std::size_t x = 0; x < edge; ++x) {
      const std::uint64_t colour = (x * x + y * y < edge * edge / 2) ? dice : ~dice;
      for (int k = 0; k < 3; ++k) rows += static_cast<char>(colour >> 8 * k);
    }
  }
  std::uint32_t a = 1, b = 0;  // the checksum of a zlib stream
  std::string stream = "\x78\x01";
  for (std::size_t i = 0; i < rows.size(); i += 65535) {
    const auto part = static_cast<std::uint32_t>(std::min<std::size_t>(rows.size() - i, 65535));
    stream += i + part == rows.size() ? '\1' : '\0';
    for (const std::uint32_t n : {part, ~part}) {
      stream += static_cast<char>(n);
      stream += static_cast<char>(n >> 8);
    }
    stream.append(rows, i, part);
  }
  for (const char c : rows) {
    a = (a + static_cast<unsigned char>(c)) % 65521;
    b = (b + a) % 65521;
  }
  add_big_endian(stream, b << 16 | a);
  std::string header;
  add_big_endian(header, static_cast<std::uint32_t>(edge));
  add_big_endian(header, static_cast<std::uint32_t>(edge));
  header.append("\x08\x02\0\0\0", 5);
  std::string png = "\x89PNG\r\n\x1a\n";
  add_chunk(png, "IHDR", header);
  add_chunk(png, "IDAT", stream);
  add_chunk(png, "IEND", "");
  return png;
}

static std::string file_bytes(const File& file) {
  std::string bytes;
  const std::uint64_t dice = mix(g_world.settings.seed, static_cast<std::uint64_t>(file.key));
  const auto size = static_cast<std::size_t>(file.size);
  if (file.photo) bytes = picture(dice, size);
  // What follows a picture's end is ignored; the others are plain text.
  for (unsigned i = 0; bytes.size() < size; ++i) (bytes += some_text(mix(dice, i))) += '\n';
  bytes.resize(size);
  return bytes;
}

// Appends the next piece to the file on the disk; false when the disk will not have it.
static bool write_piece(File& file, int up_to) {
  if (file.path.empty()) {
    const std::string directory = g_world.files_directory + (file.photo ? "/photos" : "/documents");
    mkdir(directory.c_str(), 0700);
    file.path = directory + "/file_" + std::to_string(file.key < 0 ? -file.key : file.key) +
                (file.photo ? ".png" : ".txt");
  }
  const int fd = open(file.path.c_str(), O_WRONLY | O_CREAT | (file.done == 0 ? O_TRUNC : 0), 0600);
  if (fd < 0) return false;
  const std::string bytes = file_bytes(file);
  const auto size = static_cast<std::size_t>(up_to - file.done);
  const bool ok =
      pwrite(fd, bytes.data() + file.done, size, file.done) == static_cast<ssize_t>(size);
  close(fd);
  if (ok) file.done = up_to;
  return ok;
}

static void next_piece(int id, int run) {
  File& file = *find_file(id);
  if (!file.active || file.run != run) return;
  if (g_world.connection != "connectionStateReady") {
    later(1, [id, run] { next_piece(id, run); });
    return;
  }
  const int up_to = std::min(file.size, file.done + file.size / kSteps + 1);
  if (!write_piece(file, up_to)) {
    file.active = false;
    file.done = 0;
    file.path.clear();
  } else if (file.done == file.size) {
    file.active = false;
  }
  tell_file(id);
  if (file.active) later(kStepSeconds, [id, run] { next_piece(id, run); });
}

// ---- what the client asks

std::string download_file(const Json& request) {
  const Id id = request.number("file_id");
  const Id priority = request.number("priority");
  if (priority < 1 || priority > 32)
    return error_text(400, "Download priority must be between 1 and 32");
  File* file = find_file(id);
  if (file == nullptr) return error_text(400, "Invalid file identifier");
  const bool complete = !file->path.empty() && file->done == file->size;
  if (complete && access(file->path.c_str(), R_OK) != 0) {
    file->path.clear();
    file->done = 0;
  } else if (complete) {
    return file_text(static_cast<int>(id));
  }
  if (!file->active) {
    file->active = true;
    const int number = static_cast<int>(id), run = ++file->run;
    tell_file(number);
    later(kStepSeconds, [number, run] { next_piece(number, run); });
  }
  return file_text(static_cast<int>(id));
}

std::string cancel_download(const Json& request) {
  File* file = find_file(request.number("file_id"));
  if (file == nullptr) return error_text(400, "Invalid file identifier");
  if (file->active) {
    file->active = false;
    tell_file(static_cast<int>(request.number("file_id")));
  }
  return ok_text();
}

std::string get_file(const Json& request) {
  const Id id = request.number("file_id");
  return find_file(id) != nullptr ? file_text(static_cast<int>(id))
                                  : error_text(400, "Invalid file identifier");
}

// ---- storage

static bool is_kept(const File& file) { return !file.path.empty() && !file.own; }

std::string get_storage(const Json&) {
  static const Shape shape("storageStatisticsFast", "files_size file_count database_size");
  Id size = 0, count = 0;
  for (const File& file : g_world.files) {
    if (!is_kept(file)) continue;
    size += file.done;
    ++count;
  }
  return shape.text({size, count, 352256});
}

std::string optimize_storage(const Json& request) {
  static const Shape shape("storageStatistics", "size count");
  const Json& limit = request["size"];
  Id left = limit.kind == Json::kNull || number_of(limit) < 0 ? Id{1} << 30 : number_of(limit);
  Id freed = 0, count = 0;
  for (std::size_t i = g_world.files.size(); i-- > 0;) {
    File& file = g_world.files[i];
    if (!is_kept(file) || file.active) continue;
    if ((left -= file.done) >= 0) continue;
    unlink(file.path.c_str());
    freed += file.done;
    ++count;
    file.path.clear();
    file.done = 0;
    tell_file(static_cast<int>(i + 1));
  }
  return shape.text({freed, count});
}

}  // namespace world
