// Signals that are no crash. Main thread only, except end_signalled, which the handler sets.
#pragma once

// A write to a reader that went away, or beyond a file's size limit, is a failed write and no
// reason to end.
void ignore_write_signals();
// SIGTERM, SIGINT and SIGHUP ask for the run's end; a second one of them ends the process as the
// system does. One that was ignored when the program started stays so.
void install_end_signals();
// Whether one has come.
bool end_signalled();
