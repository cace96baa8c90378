// Files: named when a text first shows them, written to the disk when they are downloaded.
#include <filesystem>
#include <fstream>

#include "world/world.h"

namespace world {

static constexpr int kSteps = 5;  // pieces of a download
static constexpr double kStepSeconds = 0.25;

namespace {

struct File {
  Id key = 0;  // 0: the client's own, to be uploaded
  int size = 0;
  bool photo = false;
  std::string path;  // of what is on the disk; empty before the download
  int done = 0;
  bool active = false;
  int run = 0;  // counts the downloads, so that a step of a cancelled one is known

  bool is_complete() const { return !path.empty() && done == size; }
  bool is_kept() const { return !path.empty() && key != 0; }
};

}  // namespace

static std::vector<File> g_files;  // by id - 1

static File* find_file(Id id) {
  if (id < 1 || id > static_cast<Id>(g_files.size())) return nullptr;
  return &g_files[static_cast<std::size_t>(id - 1)];
}

static Id add_file(File file) {
  g_files.push_back(std::move(file));
  return static_cast<Id>(g_files.size());
}

Id own_file(const std::string& path, int size) {
  return add_file({0, size, false, path, size, false, 0});
}

std::string file_text(Id id) {
  const File& file = *find_file(id);
  const bool complete = file.is_complete();
  const std::string name = std::to_string(id);
  return object(
      "file id=%a size=%b expected_size=%b local.path=%c local.can_be_downloaded=true "
      "local.can_be_deleted=%d local.is_downloading_active=%e local.is_downloading_completed=%f "
      "local.downloaded_prefix_size=%g local.downloaded_size=%g remote.id=%h remote.unique_id=%i "
      "remote.is_uploading_completed=true remote.uploaded_size=%b",
      {id, file.size, file.path, complete && file.key != 0, file.active, complete, file.done,
       "AgACAgIAAx0CW" + name, "AQADW" + name});
}

std::string file_text(Id key, int size, bool photo) {
  static std::unordered_map<Id, Id> ids;
  Id& id = ids[key];
  if (id == 0) id = add_file({key, size, photo, "", 0, false, 0});
  return file_text(id);
}

static void tell_file(Id id) { tell("updateFile file", {file_text(id)}); }

// ---- what stands in them

// A BMP file, little-endian like the processors: a part of a circle in one colour on another.
static std::string picture(std::uint64_t dice, int size) {
  const auto colour = static_cast<std::uint32_t>(dice);
  const auto edge = static_cast<std::uint32_t>(std::clamp(size / 3000 * 8, 24, 100));
  const std::uint32_t bytes = 4 * edge * edge, before = 54, one_plane_of_32_bits = 32 << 16 | 1;
  std::vector<std::uint32_t> words = {
      before + bytes, 0, before, 40, edge, edge, one_plane_of_32_bits, 0, bytes, 2835, 2835, 0, 0};
  for (std::uint32_t i = 0; i < edge * edge; ++i) {
    const std::uint32_t x = i % edge, y = i / edge;
    words.push_back(x * x + y * y < edge * edge / 2 ? colour : ~colour);
  }
  return "BM" + std::string(reinterpret_cast<const char*>(words.data()), 4 * words.size());
}

static std::string file_bytes(const File& file) {
  const std::uint64_t dice = dice_for(file.key);
  const auto size = static_cast<std::size_t>(file.size);
  std::string bytes = file.photo ? picture(dice, file.size) : "";
  // What follows a picture's end is ignored; the others are plain text.
  for (unsigned i = 0; bytes.size() < size; ++i) (bytes += some_text(mix(dice, i))) += '\n';
  bytes.resize(size);
  return bytes;
}

// ---- downloads

static void forget(File& file) {
  std::error_code ignored;
  if (file.key != 0) std::filesystem::remove(file.path, ignored);
  file.path.clear();
  file.done = 0;
}

// Appends the next piece to the file on the disk; false when the disk will not have it.
static bool write_piece(File& file, int up_to) {
  if (file.path.empty()) {
    const std::string directory = g_world.files_directory + (file.photo ? "/photos" : "/documents");
    std::error_code ignored;
    std::filesystem::create_directory(directory, ignored);
    file.path = directory + "/file_" + std::to_string(file.key) + (file.photo ? ".bmp" : ".txt");
  }
  std::ofstream out(file.path, file.done == 0 ? std::ios::trunc : std::ios::app);
  out.write(file_bytes(file).data() + file.done, up_to - file.done);
  out.close();
  if (out) file.done = up_to;
  return !out.fail();
}

static void next_piece(Id id, int run);

static void await_piece(Id id, int run) {
  later(kStepSeconds, [id, run] { when_online([id, run] { next_piece(id, run); }); });
}

static void next_piece(Id id, int run) {
  File& file = *find_file(id);
  if (!file.active || file.run != run) return;
  const bool written = write_piece(file, std::min(file.size, file.done + file.size / kSteps + 1));
  if (!written) forget(file);
  file.active = written && file.done < file.size;
  tell_file(id);
  if (file.active) await_piece(id, run);
}

static std::string download_file(Asked& asked) {
  const Id priority = asked.json.number("priority");
  const Id id = asked.json.number("file_id");
  File* file = find_file(id);
  if (priority < 1 || priority > 32) return refuse("Download priority must be between 1 and 32");
  if (file == nullptr) return refuse("Invalid file identifier");
  std::error_code ignored;
  if (file->is_complete() && !std::filesystem::exists(file->path, ignored)) forget(*file);
  if (!file->is_complete() && !file->active) {
    file->active = true;
    tell_file(id);
    await_piece(id, ++file->run);
  }
  return file_text(id);
}

static std::string cancel_download(Asked& asked) {
  const Id id = asked.json.number("file_id");
  File* file = find_file(id);
  if (file == nullptr) return refuse("Invalid file identifier");
  if (file->active) {
    file->active = false;
    tell_file(id);
  }
  return {};
}

// ---- storage

static std::string get_storage(Asked&) {
  Id size = 0, count = 0;
  for (const File& file : g_files) {
    if (file.is_kept()) size += file.done;
    count += file.is_kept();
  }
  return object("storageStatisticsFast files_size file_count database_size=352256", {size, count});
}

static std::string optimize_storage(Asked& asked) {
  const Json& limit = asked.json["size"];
  Id left = limit.is_null() || limit.number() < 0 ? Id{1} << 30 : limit.number();
  Id freed = 0, count = 0;
  for (auto id = static_cast<Id>(g_files.size()); id > 0; --id) {
    File& file = *find_file(id);
    if (!file.is_kept() || file.active || (left -= file.done) >= 0) continue;
    freed += file.done;
    ++count;
    forget(file);
    tell_file(id);
  }
  return object("storageStatistics size count", {freed, count});
}

const Requests kFileRequests = {
    {"downloadFile", kNothing, download_file},
    {"cancelDownloadFile", kNothing, cancel_download},
    {"getStorageStatisticsFast", kNothing, get_storage, kWithParameters},
    {"optimizeStorage", kNothing, optimize_storage},
};

}  // namespace world
