/// The base of the adapters that stream an entity over an attribute log.
#pragma once

#include <gantry/runtime/fen/Entity.h>

namespace Fen {

class GANTRY_EXPORT Entity::FenNboAttrLogSa : public Entity::NotifieeConst {
 protected:
   FenNboAttrLogSa() : Entity::NotifieeConst(Kind::generic) {}
   ~FenNboAttrLogSa() override = default;
};

} // namespace Fen
