// The system's clock.

#include <hosts/support/WallTime.h>

#include <gantry/runtime/fen/VirtualTime.h>

#include <chrono>

namespace Host {

double wallTime() {
   using namespace std::chrono;
   Fen::VirtualTime const* const virtualTime = Fen::VirtualTime::current();
   return virtualTime != nullptr ? virtualTime->time()
                                 : duration<double>(system_clock::now().time_since_epoch()).count();
}

} // namespace Host
