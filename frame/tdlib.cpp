#include "frame/tdlib.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "frame/channels.h"
#include "frame/crash.h"
#include "frame/in_flight.h"
#include "json/text.h"

void* g_backend_base = nullptr;
void* g_tdjson_base = nullptr;

std::string program_directory(int argc, char** argv) {
  if (argc < 1 || argv[0] == nullptr) return ".";
  const std::string_view path = argv[0];
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return ".";
  return slash == 0 ? "/" : std::string(path.substr(0, slash));
}

static const char* dl_error_text(const char* error) { return error == nullptr ? "(null)" : error; }

// False, with the reason on standard error, when the library lacks `name`.
template <typename Function>
static bool resolve(void* handle, const char* name, Function& function) {
  (void)dlerror();  // what an earlier call left behind is not this one's error
  void* symbol = dlsym(handle, name);
  const char* error = dlerror();
  if (error != nullptr || symbol == nullptr) {
    std::fprintf(stderr, "dlsym('%s') failed: %s\n", name, dl_error_text(error));
    return false;
  }
  function = reinterpret_cast<Function>(symbol);
  return true;
}

// A library without one of them is refused, also where the program never calls it: it is not the
// library that this program was made for.
static bool resolve_all(TdApi& api) {
  return resolve(api.handle, "td_create_client_id", api.create_client_id) &&
         resolve(api.handle, "td_send", api.send) &&
         resolve(api.handle, "td_receive", api.receive) &&
         resolve(api.handle, "td_execute", api.execute) &&
         resolve(api.handle, "td_set_log_file_path", api.set_log_file_path) &&
         resolve(api.handle, "td_set_log_max_file_size", api.set_log_max_file_size) &&
         resolve(api.handle, "td_set_log_verbosity_level", api.set_log_verbosity_level) &&
         resolve(api.handle, "td_set_log_message_callback", api.set_log_message_callback);
}

void load_tdlib(const std::string& exe_dir, TdApi& api) {
  // For TDLib, which finds it once it is loaded. One that is linked with its own needs none, so a
  // failure is no error.
  (void)dlopen((exe_dir + "/libz.so.2").c_str(), RTLD_LAZY | RTLD_GLOBAL);
  const std::string path = exe_dir + "/libtdjson.so.1.8.61";
  api.handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_GLOBAL);
  if (api.handle == nullptr) {
    std::fprintf(stderr, "dlopen('%s') failed: %s\n", path.c_str(), dl_error_text(dlerror()));
    return;
  }
  api.loaded = resolve_all(api);
  if (!api.loaded) unload_tdlib(api);
}

void unload_tdlib(TdApi& api) {
  if (api.handle != nullptr) (void)dlclose(api.handle);
  api = TdApi{};
}

static void* log_module_base(const char* module, const void* address) {
  Dl_info info{};
  char line[512];
  if (dladdr(address, &info) == 0 || info.dli_fbase == nullptr) {
    std::snprintf(line, sizeof line, "MODULE_BASE %s unavailable", module);
    dbg(line);
    return nullptr;
  }
  std::snprintf(line, sizeof line, "MODULE_BASE %s base=%p file=%s", module, info.dli_fbase,
                info.dli_fname == nullptr ? "?" : info.dli_fname);
  dbg(line);
  return info.dli_fbase;
}

void record_module_bases(const TdApi& api) {
  g_backend_base = log_module_base("backend", reinterpret_cast<const void*>(&fatal_signal_handler));
  if (api.receive == nullptr) {
    dbg("MODULE_BASE tdjson null_symbol");
    return;
  }
  g_tdjson_base = log_module_base("tdjson", reinterpret_cast<const void*>(api.receive));
}

void route_tdlib_log(const TdApi& api, int level) {
  api.set_log_verbosity_level(level);
  api.set_log_message_callback(level, log_cb);
}

void log_cb(int verbosity_level, const char* message) {
  char prefix[32];
  std::snprintf(prefix, sizeof prefix, "[tdlib:%d] ", verbosity_level);
  if (g_log_to_stderr) write_line_best_effort(STDERR_FILENO, prefix, message);
  write_line_best_effort(g_log_fd, prefix, message);
  write_line_best_effort(g_log_mirror_fd, prefix, message);
}

void td_request(const TdClient& td, std::string request, std::string_view tag) {
  if (!is_utf8(request)) request = with_valid_utf8(request);
  td_request_with_raw_paths(td, std::move(request), tag);
}

void td_request_with_raw_paths(const TdClient& td, std::string request, std::string_view tag) {
  if (!tag.empty()) {
    const std::string whole = tag_of_request(tag);
    request = json_add_extra(std::move(request), is_utf8(whole) ? whole : with_valid_utf8(whole));
  }
  td.send(td.id, request.c_str());
}

std::string make_id_request(std::string_view method, std::string_view key, std::int64_t id) {
  std::string request = "{\"@type\":\"";
  request += method;
  request += '"';
  append_int_member(request, key, id);
  request += '}';
  return request;
}
