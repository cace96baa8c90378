// Files: named when a text first shows them, written to the disk when they are downloaded.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "world/world.h"

namespace world {

static constexpr int kSteps = 5;  // pieces of a download
static constexpr double kStepSeconds = 0.25;

static File* find_file(Id id) {
  if (id < 1 || id > static_cast<Id>(g_world.files.size())) return nullptr;
  return &g_world.files[static_cast<std::size_t>(id - 1)];
}

bool has_file(Id id) { return find_file(id) != nullptr; }

static int add_file(File file) {
  g_world.files.push_back(std::move(file));
  return static_cast<int>(g_world.files.size());
}

int own_file(const std::string& path, int size) {
  File file;
  file.path = path;
  file.size = file.done = size;
  file.own = true;
  return add_file(std::move(file));
}

static bool is_complete(const File& file) { return !file.path.empty() && file.done == file.size; }

std::string file_text(int id) {
  const File& file = *find_file(id);
  const bool complete = is_complete(file);
  const std::string name = std::to_string(id);
  return object(
      "file id=%a size=%b expected_size=%b local.path=%c local.can_be_downloaded=true "
      "local.can_be_deleted=%d local.is_downloading_active=%e local.is_downloading_completed=%f "
      "local.downloaded_prefix_size=%g local.downloaded_size=%g remote.id=%h remote.unique_id=%i "
      "remote.is_uploading_completed=true remote.uploaded_size=%b",
      {id, file.size, file.path, complete && !file.own, file.active, complete, file.done,
       "AgACAgIAAx0CW" + name, "AQADW" + name});
}

std::string file_text(Id key, int size, bool photo) {
  int& id = g_world.file_ids[key];
  if (id == 0) {
    File file;
    file.key = key;
    file.size = size;
    file.photo = photo;
    id = add_file(std::move(file));
  }
  return file_text(id);
}

static void tell_file(int id) { tell("updateFile file", {file_text(id)}); }

// ---- what stands in them

static std::string big_endian(std::size_t number) {
  std::string out;
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(number >> shift);
  return out;
}

// A part of a PNG file: its length, its type and data, and their checksum.
static std::string png_chunk(const std::string& type, const std::string& data) {
  const std::string chunk = type + data;
  std::uint32_t crc = 0xFFFFFFFFu;
  for (const char c : chunk) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0);
  }
  return big_endian(data.size()) + chunk + big_endian(~crc);
}

// A circle of one colour in another, not compressed: one stored block of a zlib stream.
static std::string picture(std::uint64_t dice, std::size_t size) {
  const std::size_t edge = std::clamp<std::size_t>(size / 3000 * 8, 24, 100);
  std::string rows;
  for (std::size_t y = 0; y < edge; ++y) {
    rows += '\0';
    for (std::size_t x = 0; x < edge; ++x) {
      const std::uint64_t colour = x * x + y * y < edge * edge / 2 ? dice : ~dice;
      for (int k = 0; k < 3; ++k) rows += static_cast<char>(colour >> 8 * k);
    }
  }
  std::string stream = "\x78\x01\x01";
  for (const std::size_t n : {rows.size(), ~rows.size()})
    (stream += static_cast<char>(n)) += static_cast<char>(n >> 8);
  std::uint32_t a = 1, b = 0;  // its checksum
  for (const char c : rows) {
    a = (a + static_cast<unsigned char>(c)) % 65521;
    b = (b + a) % 65521;
  }
  stream += rows + big_endian(b << 16 | a);
  const std::string header = big_endian(edge) + big_endian(edge) + std::string("\x08\x02\0\0\0", 5);
  return "\x89PNG\r\n\x1a\n" + png_chunk("IHDR", header) + png_chunk("IDAT", stream) +
         png_chunk("IEND", "");
}

static std::string file_bytes(const File& file) {
  const std::uint64_t dice = mix(g_world.settings.seed, static_cast<std::uint64_t>(file.key));
  const auto size = static_cast<std::size_t>(file.size);
  std::string bytes = file.photo ? picture(dice, size) : "";
  // What follows a picture's end is ignored; the others are plain text.
  for (unsigned i = 0; bytes.size() < size; ++i) (bytes += some_text(mix(dice, i))) += '\n';
  bytes.resize(size);
  return bytes;
}

// ---- downloads

static void forget(File& file) {
  file.path.clear();
  file.done = 0;
}

// Appends the next piece to the file on the disk; false when the disk will not have it.
static bool write_piece(File& file, int up_to) {
  if (file.path.empty()) {
    const std::string directory = g_world.files_directory + (file.photo ? "/photos" : "/documents");
    mkdir(directory.c_str(), 0700);
    file.path = directory + "/file_" + std::to_string(file.key) + (file.photo ? ".png" : ".txt");
  }
  const int fd = open(file.path.c_str(), O_WRONLY | O_CREAT | (file.done == 0 ? O_TRUNC : 0), 0600);
  if (fd < 0) return false;
  const std::string bytes = file_bytes(file);
  const auto size = static_cast<std::size_t>(up_to - file.done);
  const auto written = pwrite(fd, bytes.data() + file.done, size, file.done);
  close(fd);
  if (written != static_cast<ssize_t>(size)) return false;
  file.done = up_to;
  return true;
}

static void next_piece(int id, int run) {
  File& file = *find_file(id);
  if (!file.active || file.run != run) return;
  if (is_online()) {
    const bool written = write_piece(file, std::min(file.size, file.done + file.size / kSteps + 1));
    if (!written) forget(file);
    file.active = written && file.done < file.size;
    tell_file(id);
  }
  if (file.active) later(is_online() ? kStepSeconds : 1, [id, run] { next_piece(id, run); });
}

static std::string with_file(Asked& asked, void (*change)(File& file, int id)) {
  const auto id = static_cast<int>(asked.json.number("file_id"));
  File* file = find_file(id);
  if (file == nullptr) return refuse("Invalid file identifier");
  change(*file, id);
  return file_text(id);
}

static void begin_download(File& file, int id) {
  if (is_complete(file) && access(file.path.c_str(), R_OK) != 0) forget(file);
  if (is_complete(file) || file.active) return;
  file.active = true;
  tell_file(id);
  later(kStepSeconds, [id, run = ++file.run] { next_piece(id, run); });
}

static void cancel_download(File& file, int id) {
  if (!file.active) return;
  file.active = false;
  tell_file(id);
}

static std::string download_file(Asked& asked) {
  const Id priority = asked.json.number("priority");
  if (priority < 1 || priority > 32) return refuse("Download priority must be between 1 and 32");
  return with_file(asked, begin_download);
}

static std::string cancel_file(Asked& asked) {
  const std::string answer = with_file(asked, cancel_download);
  return has_file(asked.json.number("file_id")) ? ok_text() : answer;
}

// ---- storage

static bool is_kept(const File& file) { return !file.path.empty() && !file.own; }

static std::string get_storage(Asked&) {
  Id size = 0, count = 0;
  for (const File& file : g_world.files) {
    if (is_kept(file)) size += file.done;
    count += is_kept(file);
  }
  return object("storageStatisticsFast files_size file_count database_size=352256", {size, count});
}

static std::string optimize_storage(Asked& asked) {
  const Json& limit = asked.json["size"];
  Id left = limit.is_null() || limit.number() < 0 ? Id{1} << 30 : limit.number();
  Id freed = 0, count = 0;
  for (auto i = static_cast<int>(g_world.files.size()); i > 0; --i) {
    File& file = *find_file(i);
    if (!is_kept(file) || file.active || (left -= file.done) >= 0) continue;
    unlink(file.path.c_str());
    freed += file.done;
    ++count;
    forget(file);
    tell_file(i);
  }
  return object("storageStatistics size count", {freed, count});
}

const Requests kFileRequests = {
    {"downloadFile", kNothing, download_file},
    {"cancelDownloadFile", kNothing, cancel_file},
    {"getFile", kNothing, [](Asked& asked) { return with_file(asked, [](File&, int) {}); }},
    {"getStorageStatisticsFast", kUnloggedIn, get_storage},
    {"optimizeStorage", kNothing, optimize_storage},
};

}  // namespace world
