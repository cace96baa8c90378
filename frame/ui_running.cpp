#include "frame/ui_running.h"

#include <sys/stat.h>

#include "frame/clock.h"

std::string g_ui_running_marker_path;
std::int64_t g_ui_running_last_check_mono_ms = 0;
bool g_ui_running_cached_active = false;

constexpr std::int64_t kProbeIntervalMs = 500;
constexpr std::int64_t kMarkerMaxAgeMs = 15000;

void set_ui_running_marker(const std::string& events_path) {
  const std::size_t slash = events_path.rfind('/');
  if (slash == std::string::npos || slash == 0) return;
  g_ui_running_marker_path = events_path.substr(0, slash) + "/ui_running.txt";
}

static bool probe_marker() {
  struct stat info {};
  if (stat(g_ui_running_marker_path.c_str(), &info) != 0) return false;
  const std::int64_t now = wall_ms();
  if (now < 1) return true;  // without a clock the file's being there has to do
  return now - static_cast<std::int64_t>(info.st_mtime) * 1000 <= kMarkerMaxAgeMs;
}

bool is_ui_running_active() {
  const std::int64_t now = mono_ms();
  const std::int64_t last = g_ui_running_last_check_mono_ms;
  if (last >= 1 && last < now && now - last < kProbeIntervalMs) return g_ui_running_cached_active;
  g_ui_running_last_check_mono_ms = now;
  g_ui_running_cached_active = probe_marker();
  return g_ui_running_cached_active;
}
