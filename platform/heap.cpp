#include "platform/heap.h"

#include <stdlib.h>

#if defined(__GLIBC__)
#include <malloc.h>

void give_back_free_memory() { (void)malloc_trim(64 * 1024); }
#else
void give_back_free_memory() {}
#endif
