// A stack of its own for signal handlers, so that a stack overflow can be reported.
#pragma once

// Gives the calling thread an alternate signal stack that lives as long as the process. Returns
// the sigaction flags that put a handler there and let a second fault in it through at once; a
// flag that the system lacks is left out. Call it on the main thread only: there is one stack.
int use_alternate_signal_stack();
