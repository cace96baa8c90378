// The three output channels and the descriptors behind them. Every write is best effort: it
// never blocks and never fails its caller; what does not fit is lost.
// Main thread only, except the atomics, which TDLib's log callback and the crash handlers read
// on any thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>

extern bool g_hub_mode;                    // only the event types of that mode leave
extern bool g_verbose_stdout;              // no events file: every reply line is written
extern std::atomic<bool> g_log_to_stderr;  // diagnostic lines go to standard error, too
extern std::atomic<int> g_log_fd;          // -1: closed, as for the three below
extern std::atomic<int> g_log_mirror_fd;
extern std::atomic<int> g_events_fd;
extern std::atomic<int> g_db_lock_fd;

// Writes until all is out or a write would block or fails; an interrupted write is repeated.
void write_best_effort(int fd, const char* buf, std::size_t len);

// What became of a line: all of it left, its beginning did, or nothing.
enum class LineFate { kWhole, kTorn, kNothing };

// One line in one write: `text`, then `end`, which is its line feed and whatever goes before it.
// Behind a line that was cut off a line feed goes first, in the same write, so that what is torn
// stands alone. Any thread; allocates nothing.
LineFate write_line(int fd, std::string_view text, std::string_view end);
// For a file that is opened behind a line without a line feed, and for those who write a line
// feed themselves: take_line_cut tells whether one is due, once. Async-signal-safe.
void set_line_cut(int fd, bool cut);
bool take_line_cut(int fd);

// One line, prefix and message, in a single write; nothing when fd is negative, "(null)" for a
// null message, a blank for a control character. A line that does not fit 2048 bytes is written as
// its first 2047 bytes and a NUL, without a line feed. Any thread; allocates nothing.
void write_line_best_effort(int fd, const char* prefix, const char* msg);

// A diagnostic line "[backend] <msg>" to standard error (when switched on), log and mirror.
void dbg(const char* msg);
inline void dbg(const std::string& msg) { dbg(msg.c_str()); }

// False when no diagnostic line goes anywhere: a line that is costly to build need not be built.
inline bool dbg_on() { return g_log_to_stderr || g_log_fd >= 0 || g_log_mirror_fd >= 0; }

// A reply line for the UI on standard output. With an events file in use, acknowledgements
// ("OK ", "ERR ", "TD_ERROR ", "PONG", "BYE") are left out: the UI follows the events. Control
// characters are written as blanks.
void print_line(std::string_view line);

// One event: a complete JSON object on one line. Nothing happens without an events file. All
// events leave here, but the last one of a run that crashes.
void emit_event_json_line(std::string_view json);
// An event in the making: {"type":"<type>" and whatever members the caller appends. end_event
// closes and writes it. `reserved` bytes are set aside at once.
std::string begin_event(std::string_view type, std::size_t reserved = 128);
void end_event(std::string& event);
// {"type":"<type>","<key>":"<value>"}, each text escaped.
void emit_event_type_state(std::string_view type, std::string_view key, std::string_view value);
