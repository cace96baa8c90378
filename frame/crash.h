// The three last-resort reporters: fatal signals, std::terminate, exceptions that escape the
// program's body.
//
// fatal_signal_handler may run on any thread, in any state of the process. It and everything that
// it calls (the append functions, read_crash_context, write_best_effort) is async-signal-safe:
// stack buffers, lock-free loads of the descriptors and of g_in_fatal_signal, plain loads of the
// two module bases (set before the handlers are installed), write and _exit. Keep it so.
#pragma once

#include <signal.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

// Set on the first entry to the signal handler; a later fatal signal ends without a report.
extern std::atomic<bool> g_in_fatal_signal;

// Append to buf at pos and return the new pos. At most cap - 1 bytes are ever used; what does not
// fit is dropped; no terminating NUL is written. Async-signal-safe.
std::size_t append_cstr(char* buf, std::size_t cap, std::size_t pos, const char* text);
std::size_t append_u64_dec(char* buf, std::size_t cap, std::size_t pos, std::uint64_t value);
// Lower case, without "0x" and leading zeros.
std::size_t append_u64_hex(char* buf, std::size_t cap, std::size_t pos, std::uint64_t value);

// Two lines to standard error, log and mirror, one "backend_fatal" event past every filter, then
// _exit(128 + sig). `info` and `ucontext` may be null. Never returns.
void fatal_signal_handler(int sig, siginfo_t* info, void* ucontext);

// One line to standard error, log and mirror, one event, then _Exit(45).
[[noreturn]] void backend_terminate_handler();

// Installs both on the main thread and ignores SIGPIPE. The signal handler gets an alternate stack
// on this thread only: a stack overflow on another thread ends as the system ends it.
void install_crash_handlers();

// Runs the program's body. What it throws becomes a line on standard error and the status 42
// (std::bad_alloc), 43 (another std::exception) or 44 (anything else).
int run_main(int (*main_impl)(int, char**), int argc, char** argv);
