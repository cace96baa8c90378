// td_backend: a headless messaging backend. The UI's process writes commands to its standard input
// and reads replies from its standard output and events from the events file.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "frame/alloc.h"
#include "frame/channels.h"
#include "frame/config.h"
#include "frame/crash.h"
#include "frame/events_file.h"
#include "frame/files.h"
#include "frame/in_flight.h"
#include "frame/loop.h"
#include "frame/protocol.h"
#include "frame/signals.h"
#include "frame/tdlib.h"
#include "frame/ui_running.h"
#include "json/text.h"
#include "platform/process_name.h"
#include "state/users.h"
#include "tables/dispatch.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace {

enum ExitStatus { kExitOk = 0, kExitNoApiKeys = 2, kExitNoTdlib = 3, kExitDatabaseLocked = 9 };

void set_allocation_policy(Config& config) {
  read_config_step(config, ConfigStep::kMemory);
  g_mmap_large_allocs = config.mmap_large_alloc != 0;
  set_mmap_large_threshold(config.mmap_large_threshold);
}

// The limits themselves are left alone; "unlimited" is what the device grants.
void report_limits(Config& config) {
  read_config_step(config, ConfigStep::kLimits);
  if (config.raise_rlimit == 0) return;
  for (const char* name : {"AS", "DATA", "STACK"}) {
    std::fprintf(stderr, "rlimit %s: cur=%lld max=%lld\n", name, -1LL, -1LL);
  }
}

void report_mode(const Config& config) {
  std::fprintf(stderr,
               "backend: mode=%s raise_rlimits=%d use_file_db=%d use_chat_info_db=%d "
               "use_message_db=%d use_secret_chats=%d\n",
               config.mode.c_str(), config.raise_rlimit != 0, config.use_file_db != 0,
               config.use_chat_info_db != 0, config.use_message_db != 0,
               config.use_secret_chats != 0);
}

TdlibParameters tdlib_parameters(const Config& config) {
  return {config.use_test_dc,
          config.db_dir,
          config.files_dir,
          config.use_file_db != 0,
          config.use_chat_info_db != 0,
          config.use_message_db != 0,
          config.use_secret_chats != 0,
          config.api_id,
          config.api_hash};
}

// Gives back what the start had taken and says why there is no run.
int fail_start(TdApi& api, const char* line, ExitStatus status) {
  print_line(line);
  close_output_files();
  unload_tdlib(api);
  return status;
}

void announce_client(int client_id) {
  print_line("BACKEND_READY client_id=" + std::to_string(client_id));
  dbg("BACKEND_READY");
  std::string event = begin_event("backend_ready");
  append_int_member(event, "client_id", client_id);
  end_event(event);
}

// The earlier of two, where -1 is none.
std::int64_t earlier(std::int64_t a_ms, std::int64_t b_ms) {
  if (a_ms < 0 || b_ms < 0) return std::max(a_ms, b_ms);
  return std::min(a_ms, b_ms);
}

std::string_view goodbye_reason(const AuthState& auth, LoopEnd end) {
  if (auth.state == kAuthClosed) return auth.logging_out ? "logged_out" : "closed";
  switch (end) {
    case LoopEnd::kSignal: return "signal";
    case LoopEnd::kInputEnded: return "input_ended";
    case LoopEnd::kStopped: break;
  }
  return "quit";
}

void serve(const TdApi& api, const Config& config) {
  Rooms rooms;
  rooms.auth.auto_set_params = config.auto_set_params;
  rooms.auth.auto_send_phone = config.auto_send_phone;
  rooms.auth.parameters = tdlib_parameters(config);
  take_titles_from(rooms.chats);
  rooms.td = {api.send, api.create_client_id()};
  announce_client(rooms.td.id);
  send_first_requests(rooms.auth, rooms.td);

  LoopHooks hooks;
  hooks.command = [&](std::string_view line) { dispatch_command(rooms, line); };
  hooks.follow_up = [&] {
    send_pending_inputs(rooms.auth, rooms.td);
    send_next_user_request(rooms.td);
    run_due_timers(rooms.timers);
  };
  hooks.next_deadline = [&] {
    return earlier(next_timer_ms(rooms.timers), next_user_request_ms());
  };
  hooks.object = [&](std::string_view text) { dispatch_object(rooms, text); };
  const LoopEnd end = run_loop(api, rooms.td, hooks, {config.wake_on_input, config.exit_on_eof},
                               rooms.keep_running);
  close_all_commands();
  keep_events_file();
  emit_goodbye(goodbye_reason(rooms.auth, end));
}

// The start-up, each step once and in this order.
int main_impl(int argc, char** argv) {
  ignore_write_signals();
  name_process("TDLib UI Lumo");
  open_missing_standard_descriptors();
  unblock_standard_descriptors();
  Config config = read_config_mode();
  g_hub_mode = config.mode == "hub";
  set_allocation_policy(config);
  report_limits(config);

  const std::string exe_dir = program_directory(argc, argv);
  setenv("OPENSSL_armcap", "0", 1);
  TdApi api;
  load_tdlib(exe_dir, api);
  if (!api.loaded) return fail_start(api, "FATAL failed to load TDLib (dlopen)", kExitNoTdlib);

  read_api_keys(config);
  read_config_step(config, ConfigStep::kLogin);
  read_config_step(config, ConfigStep::kDatabases);
  report_mode(config);
  if (!has_api_keys(config)) {
    return fail_start(api, "FATAL missing TG_API_ID/TG_API_HASH", kExitNoApiKeys);
  }

  read_config_step(config, ConfigStep::kLog);
  open_log_files(config.log_file, config.log_mirror_file);
  g_log_to_stderr = config.log_stderr;
  record_module_bases(api);
  install_crash_handlers();
  install_end_signals();
  dbg("BACKEND_START pid=" + std::to_string(getpid()) + " mode=" + config.mode +
      " exe_dir=" + exe_dir);
  read_config_step(config, ConfigStep::kVerbosity);
  route_tdlib_log(api, static_cast<int>(config.log_verbosity));

  read_config_step(config, ConfigStep::kEvents);
  g_verbose_stdout = config.events_file.empty();
  g_protocol = config.protocol == 2 ? 2 : 1;
  set_ui_running_marker(config.events_file);
  read_config_step(config, ConfigStep::kDirs);
  mkdir_if_missing(config.db_dir);
  mkdir_if_missing(config.files_dir);
  if (!take_database_lock(config.db_dir)) {
    return fail_start(api, "FATAL tdlib db locked", kExitDatabaseLocked);
  }
  if (!config.events_file.empty()) {
    open_events_file(config.events_file, config.events_append, config.events_max_bytes);
  }
  read_config_step(config, ConfigStep::kLoop);

  serve(api, config);
  close_output_files();
  return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
  const int status = run_main(main_impl, argc, argv);
  std::fflush(nullptr);
  restore_standard_descriptors();
#ifdef __SANITIZE_ADDRESS__
  __lsan_do_leak_check();
#endif
  // TDLib's threads are still at work, and its destructors abort when they find them so. They are
  // not run: everything of ours is closed and flushed.
  std::_Exit(status);
}
