// What the environment says at start. Read once, step by step in the order of the start-up,
// and never again. Main thread only.
#pragma once

#include <cstdint>
#include <string>

// The variable's text, or `fallback` when it is absent; set but empty is the empty text.
std::string get_env(const char* name, const std::string& fallback);
// Base 10, the whole text. Absent or empty: `fallback`; a bad value is reported on standard
// error and gives `fallback`, too.
std::int64_t get_env_i64(const char* name, std::int64_t fallback);
// Applies NAME=value lines to the environment; later lines and the file win over what was set.
// A file that cannot be opened is skipped.
void load_env_file_into_process(const char* path);

struct Config {
  std::string mode;  // as given; only exactly "hub" is hub mode
  std::int64_t mmap_large_alloc = 0;
  std::int64_t mmap_large_threshold = 0;  // bytes
  std::int64_t raise_rlimit = 0;
  std::int64_t api_id = 0;
  std::string api_hash;
  bool use_test_dc = false;
  bool auto_send_phone = false;
  bool auto_set_params = false;
  std::int64_t use_file_db = 0;
  std::int64_t use_chat_info_db = 0;
  std::int64_t use_message_db = 0;
  std::int64_t use_secret_chats = 0;
  std::string log_file;
  std::string log_mirror_file;
  bool log_stderr = false;
  std::int64_t log_verbosity = 0;
  std::string events_file;  // empty: no events
  bool events_append = false;
  std::int64_t events_max_bytes = 0;  // 0 or less: no limit
  std::int64_t protocol = 0;          // anything but 2 is level 1
  std::string db_dir;
  std::string files_dir;
  bool wake_on_input = false;
  bool exit_on_eof = false;
};

// The points of the start-up at which keys are read.
enum class ConfigStep {
  kMode,
  kMemory,
  kLimits,
  kApi,
  kLogin,
  kDatabases,
  kLog,
  kVerbosity,
  kEvents,
  kDirs,
  kLoop
};

// Reads the mode; every other field has its default for that mode.
Config read_config_mode();
// Reads the keys of one step; a key that is absent or bad leaves its field alone.
void read_config_step(Config& config, ConfigStep step);
// Reads the API keys, from the two environment files when what was given cannot be used.
void read_api_keys(Config& config);
bool has_api_keys(const Config& config);
