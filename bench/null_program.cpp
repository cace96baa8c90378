// The yardstick of the flood: makes the calls of td_backend to the same library, the same reads of
// standard input and the same writes of the same lines, and does nothing else.
//
// usage: null_program LIBRARY LINES_FILE OBJECTS OUTPUT_FILE
// LINES_FILE holds what td_backend wrote for OBJECTS objects; the lines are spread over as many.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

std::string_view map_file(const char* path) {
  const int fd = open(path, O_RDONLY);
  struct stat info {};
  if (fd < 0 || fstat(fd, &info) != 0 || info.st_size == 0) return {};
  void* bytes = mmap(nullptr, static_cast<std::size_t>(info.st_size), PROT_READ,
                     MAP_PRIVATE | MAP_POPULATE, fd, 0);
  close(fd);
  return {static_cast<const char*>(bytes), static_cast<std::size_t>(info.st_size)};
}

std::uint64_t count_lines(std::string_view text) {
  std::uint64_t count = 0;
  for (const char c : text) count += c == '\n';
  return count;
}

void write_next_line(int fd, std::string_view& lines) {
  const auto* end = static_cast<const char*>(std::memchr(lines.data(), '\n', lines.size()));
  const auto length = static_cast<std::size_t>(end - lines.data());
  (void)!write(fd, lines.data(), length);
  (void)!write(fd, "\n", 1);
  lines.remove_prefix(length + 1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  void* library = dlopen(argv[1], RTLD_LAZY | RTLD_GLOBAL);
  if (library == nullptr) return 3;
  const auto receive = reinterpret_cast<const char* (*)(double)>(dlsym(library, "td_receive"));
  const auto create = reinterpret_cast<int (*)()>(dlsym(library, "td_create_client_id"));
  (void)create();
  std::string_view lines = map_file(argv[2]);
  const std::uint64_t objects = std::strtoull(argv[3], nullptr, 10);
  const std::uint64_t line_count = count_lines(lines);
  const int out = open(argv[4], O_WRONLY | O_CREAT | O_TRUNC, 0666);
  (void)fcntl(0, F_SETFL, O_NONBLOCK);

  std::string received;
  std::uint64_t handled = 0;
  std::uint64_t written = 0;
  while (true) {
    char buffer[4096];
    while (read(0, buffer, sizeof buffer) > 0) {
    }
    const char* text = receive(0.2);
    if (text == nullptr) continue;
    received.assign(text);
    if (std::strstr(received.c_str(), "authorizationStateClosed") != nullptr &&
        handled >= objects) {
      return 0;
    }
    ++handled;
    for (; written * objects < handled * line_count && !lines.empty(); ++written) {
      write_next_line(out, lines);
    }
  }
}
