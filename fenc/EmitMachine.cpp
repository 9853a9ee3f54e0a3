// The class of a machine, with its nested reactors.

#include <fenc/EmitParts.h>

namespace Fenc {

void emitMachine(EmitText&, Type const&) {}
void emitMachineSource(EmitText&, Type const&) {}

} // namespace Fenc
