/// The identity of one system, a controller or a switch. A plain value, copied freely, on whatever
/// thread. Its text form is the name of the system's connection everywhere.
#pragma once

#include <gantry/runtime/nimet/EthAddr.h>

namespace Controller {

/// 48 bits in the layout of an Ethernet address. The zero value stands for no system at all.
class GANTRY_EXPORT SystemId : public Nimet::EthAddr {
 public:
   SystemId() = default;
   /// From text such as "02:00:00:00:00:01". Upper-case digits are accepted, and the text form is
   /// always lower case. Text that names no system gives the zero value.
   explicit SystemId(Fen::String8 text) : EthAddr(text) {}

   static Fen::FenType* _fwkType();
};

static_assert(sizeof(SystemId) == 6);

/// As with addresses: a text that names no system is refused with RangeException.
GANTRY_EXPORT SystemId sequenceToValue(Fen::String8::IteratorConst& at,
                                       Fen::String8::IteratorConst const& end, SystemId*);

} // namespace Controller

template <>
struct Fen::TypeName<Controller::SystemId> {
   static constexpr char const* name = "Controller::SystemId";
};
