#include "platform/process_name.h"

#include <errno.h>
#include <pthread.h>
#include <stdlib.h>

#include <cstring>

namespace {

#if defined(__linux__)
// Linux has no setprogname; its C library takes the name for its messages from here.
void set_program_name(const char* name) { program_invocation_short_name = const_cast<char*>(name); }
#else
void set_program_name(const char* name) { setprogname(name); }
#endif

void set_thread_name(const char* name) {
#if defined(__linux__)
  // A longer name would be refused whole.
  constexpr std::size_t kLongest = 15;
  char cut[kLongest + 1] = {};
  std::strncpy(cut, name, kLongest);
  name = cut;
#endif
  pthread_setname_np(pthread_self(), name);
}

}  // namespace

void name_process(const char* name) {
  set_program_name(name);
  set_thread_name(name);
}
