// TDLib's JSON interface, loaded at run time from the program's directory. The library stays
// loaded for the whole run. Main thread only, except log_cb.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct TdApi {
  void* handle = nullptr;
  int (*create_client_id)() = nullptr;
  void (*send)(int client_id, const char* request) = nullptr;
  // The text is valid until the next call; null when nothing came within `timeout` seconds.
  const char* (*receive)(double timeout) = nullptr;
  const char* (*execute)(const char* request) = nullptr;    // never called
  int (*set_log_file_path)(const char* path) = nullptr;     // never called
  void (*set_log_max_file_size)(long long size) = nullptr;  // never called
  void (*set_log_verbosity_level)(int level) = nullptr;
  void (*set_log_message_callback)(int max_level,
                                   void (*callback)(int level, const char* message)) = nullptr;
  bool loaded = false;  // the library and all eight entry points are there
};

// Load addresses for the crash report; null while unknown.
extern void* g_backend_base;
extern void* g_tdjson_base;

// The directory part of argv[0], unresolved; "." when there is none.
std::string program_directory(int argc, char** argv);
// Fills `api`; what is missing is reported on standard error, and `api.loaded` stays false.
void load_tdlib(const std::string& exe_dir, TdApi& api);
void unload_tdlib(TdApi& api);
// Learns both load addresses and logs them.
void record_module_bases(const TdApi& api);
// Sets TDLib's log level and takes its log over.
void route_tdlib_log(const TdApi& api, int level);
// TDLib's log goes to our diagnostic channels. Called on any thread of TDLib's; allocates nothing,
// takes no lock.
void log_cb(int verbosity_level, const char* message);

// The one client of the run, as far as senders need it.
struct TdClient {
  void (*send)(int client_id, const char* request) = nullptr;
  int id = 0;
};
// Hands a request to TDLib with `tag` as its "@extra", by which the answer is routed
// (frame/answer.h); without one when the tag is empty. Every request of the program goes this way.
// It leaves as UTF-8 throughout, each byte that is none replaced by U+FFFD: the library echoes
// texts and ends the process when it comes upon one that is not UTF-8.
void td_request(const TdClient& td, std::string request, std::string_view tag);
// The same with the request's bytes as they are, for "setTdlibParameters": the library opens
// directories of any name.
void td_request_with_raw_paths(const TdClient& td, std::string request, std::string_view tag);
// A request about one thing: {"@type":"<method>","<key>":<id>}.
std::string make_id_request(std::string_view method, std::string_view key, std::int64_t id);
