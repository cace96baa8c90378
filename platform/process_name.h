// The name under which the process and its main thread are listed by the system.
#pragma once

// Names the process and the calling thread. `name` must stay alive and unchanged for the whole
// run (a string literal). Linux keeps the first 15 bytes as the thread's name. Never fails: a
// name that the system refuses is left as it was.
void name_process(const char* name);
