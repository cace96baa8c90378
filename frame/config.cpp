#include "frame/config.h"

#include <sys/types.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <variant>

#include "json/text.h"

std::string get_env(const char* name, const std::string& fallback) {
  const char* value = std::getenv(name);
  return value == nullptr ? fallback : std::string(value);
}

std::int64_t get_env_i64(const char* name, std::int64_t fallback) {
  const char* text = std::getenv(name);
  if (text == nullptr || *text == '\0') return fallback;
  errno = 0;
  char* end = nullptr;
  const long long value = std::strtoll(text, &end, 10);
  if (errno == 0 && end != text && *end == '\0') return value;
  std::fprintf(stderr, "Invalid int value for %s: '%s'\n", name, text);
  return fallback;
}

static void apply_env_line(std::string_view line) {
  line = trim(line);
  if (line.empty() || line.front() == '#' || line.front() == '=') return;
  std::string_view name;
  std::string_view value;
  if (!split_once(line, '=', name, value)) return;
  const std::string name_text(trim(name));
  if (name_text.empty()) return;
  setenv(name_text.c_str(), std::string(trim(value)).c_str(), 1);
}

void load_env_file_into_process(const char* path) {
  std::FILE* file = std::fopen(path, "re");
  if (file == nullptr) return;
  char* line = nullptr;
  std::size_t capacity = 0;
  for (ssize_t got = 0; (got = getline(&line, &capacity, file)) > 0;) {
    apply_env_line({line, static_cast<std::size_t>(got)});
  }
  std::free(line);
  std::fclose(file);
}

namespace {

// A text, a number, or a flag that is on only when exactly "1".
using Field = std::variant<std::string Config::*, std::int64_t Config::*, bool Config::*>;

struct EnvKey {
  ConfigStep step;
  const char* name;
  Field field;
  const char* ui_default;
  const char* hub_default;
};

// In the order in which they are read. The id and hash are those of the public deployment; a
// deployment of its own overrides them in the environment.
const EnvKey kEnvKeys[] = {
    {ConfigStep::kMode, "TD_BACKEND_MODE", &Config::mode, "ui", "ui"},
    {ConfigStep::kMemory, "TD_MMAP_LARGE_ALLOC", &Config::mmap_large_alloc, "0", "1"},
    {ConfigStep::kMemory, "TD_MMAP_LARGE_THRESHOLD", &Config::mmap_large_threshold, "131072",
     "131072"},
    {ConfigStep::kLimits, "TD_RAISE_RLIMIT", &Config::raise_rlimit, "0", "1"},
    {ConfigStep::kApi, "TG_API_ID", &Config::api_id, "41870062", "41870062"},
    {ConfigStep::kApi, "TG_API_HASH", &Config::api_hash, "4f1c9a7e2b8d6035c7e1a9f4b2d80c6e",
     "4f1c9a7e2b8d6035c7e1a9f4b2d80c6e"},
    {ConfigStep::kLogin, "TG_USE_TEST_DC", &Config::use_test_dc, "0", "0"},
    {ConfigStep::kLogin, "TG_AUTO_SEND_PHONE", &Config::auto_send_phone, "0", "0"},
    {ConfigStep::kLogin, "TD_AUTO_SET_PARAMS", &Config::auto_set_params, "1", "1"},
    {ConfigStep::kDatabases, "TD_USE_FILE_DATABASE", &Config::use_file_db, "1", "0"},
    {ConfigStep::kDatabases, "TD_USE_CHAT_INFO_DATABASE", &Config::use_chat_info_db, "1", "0"},
    {ConfigStep::kDatabases, "TD_USE_MESSAGE_DATABASE", &Config::use_message_db, "1", "0"},
    {ConfigStep::kDatabases, "TD_USE_SECRET_CHATS", &Config::use_secret_chats, "1", "0"},
    {ConfigStep::kLog, "TDLIB_LOG_FILE", &Config::log_file, "", ""},
    {ConfigStep::kLog, "TDLIB_LOG_MIRROR_FILE", &Config::log_mirror_file, "", ""},
    {ConfigStep::kLog, "BACKEND_LOG_STDERR", &Config::log_stderr, "0", "0"},
    {ConfigStep::kVerbosity, "TDLIB_LOG_VERBOSITY", &Config::log_verbosity, "2", "2"},
    {ConfigStep::kEvents, "BACKEND_EVENTS_FILE", &Config::events_file, "", ""},
    {ConfigStep::kEvents, "BACKEND_EVENTS_APPEND", &Config::events_append, "0", "0"},
    {ConfigStep::kEvents, "BACKEND_EVENTS_MAX_BYTES", &Config::events_max_bytes, "0", "0"},
    {ConfigStep::kEvents, "BACKEND_PROTOCOL", &Config::protocol, "1", "1"},
    {ConfigStep::kDirs, "TDLIB_DB_DIR", &Config::db_dir, "./tdlib-db", "./tdlib-db"},
    {ConfigStep::kDirs, "TDLIB_FILES_DIR", &Config::files_dir, "./tdlib-files", "./tdlib-files"},
    {ConfigStep::kLoop, "BACKEND_WAKE_ON_INPUT", &Config::wake_on_input, "0", "0"},
    {ConfigStep::kLoop, "BACKEND_EXIT_ON_EOF", &Config::exit_on_eof, "0", "0"},
};

struct DefaultSetter {
  Config& config;
  const char* text;
  void operator()(std::string Config::*field) const { config.*field = text; }
  void operator()(std::int64_t Config::*field) const {
    config.*field = std::strtoll(text, nullptr, 10);
  }
  void operator()(bool Config::*field) const { config.*field = *text == '1'; }
};

// What the field holds is the default.
struct EnvReader {
  Config& config;
  const char* name;
  void operator()(std::string Config::*field) const {
    config.*field = get_env(name, config.*field);
  }
  void operator()(std::int64_t Config::*field) const {
    config.*field = get_env_i64(name, config.*field);
  }
  void operator()(bool Config::*field) const {
    config.*field = get_env(name, config.*field ? "1" : "0") == "1";
  }
};

}  // namespace

static void set_defaults(Config& config, bool hub) {
  for (const EnvKey& key : kEnvKeys) {
    std::visit(DefaultSetter{config, hub ? key.hub_default : key.ui_default}, key.field);
  }
}

Config read_config_mode() {
  Config config;
  set_defaults(config, false);
  read_config_step(config, ConfigStep::kMode);
  const std::string mode = config.mode;
  set_defaults(config, mode == "hub");
  config.mode = mode;
  return config;
}

void read_config_step(Config& config, ConfigStep step) {
  for (const EnvKey& key : kEnvKeys) {
    if (key.step == step) std::visit(EnvReader{config, key.name}, key.field);
  }
}

bool has_api_keys(const Config& config) { return config.api_id >= 1 && !config.api_hash.empty(); }

void read_api_keys(Config& config) {
  read_config_step(config, ConfigStep::kApi);
  if (has_api_keys(config)) return;
  load_env_file_into_process("/accounts/1000/shared/misc/lumo/tg_api.env");
  load_env_file_into_process("/accounts/1000/shared/misc/lumo/tg_login.env");
  read_config_step(config, ConfigStep::kApi);
}
