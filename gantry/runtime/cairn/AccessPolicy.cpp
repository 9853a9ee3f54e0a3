/// The end of a permission.
#include <gantry/runtime/cairn/AccessPolicy.h>

namespace Cairn {

Permit::~Permit() = default;
AccessPolicy::~AccessPolicy() = default;

void Permit::withdraw(Fen::String8 const& reason) {
   User* const told = user_;
   user_ = nullptr;
   if (told != nullptr) {
      told->handleWithdrawn(reason);
   }
}

} // namespace Cairn
