// What goes wrong on request: one list, looked through for every request.
#include <list>

#include "world/world.h"

namespace world {

static std::list<Fault> g_faults;  // in the order in which they were asked for

void add_fault(Fault fault) { g_faults.push_back(std::move(fault)); }

const Fault* next_fault(std::string_view request) {
  static Fault now_due;
  for (auto fault = g_faults.begin(); fault != g_faults.end(); ++fault) {
    if (fault->request != request) continue;
    now_due = *fault;
    if (--fault->times <= 0) g_faults.erase(fault);
    return &now_due;
  }
  return nullptr;
}

}  // namespace world
