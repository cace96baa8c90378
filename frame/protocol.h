// Which level of the protocol the client asked for, and what the second one adds to every event:
// its number, the command that it belongs to, and the count of those that were lost. Main thread
// only, except the number, which the crash handlers read.
#pragma once

#include <cstdint>
#include <string_view>

extern int g_protocol;  // 1 or 2; set once, before the first event
inline bool at_level2() { return g_protocol >= 2; }

// The first event of a run, written when the events file is open, and the last one. Nothing at
// level 1.
void emit_hello();
void emit_goodbye(std::string_view reason);
// The run's opening events are written: where a FIFO got its reader late, what was missed until
// then counts as lost from here on.
void count_missed_events();

// A complete JSON object becomes a numbered line: ,"cmd":...  and ,"seq":... stand before its last
// brace. A line that is not written whole counts as lost, and the next one that can be is preceded
// by "events_lost". `fd` may be -1: lost.
void write_numbered_event(int fd, std::string_view json);
// The number of the next event, for a report that is written past this room. Async-signal-safe.
std::int64_t next_event_number();
