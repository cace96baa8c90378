// The allocator's own stock.
#pragma once

// Gives the memory that was freed back to the system, where the allocator would keep it. It takes
// a look at the whole heap: for the end of something large.
void give_back_free_memory();
