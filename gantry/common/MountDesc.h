/// One mount that a system publishes to its peers: five texts, a plain value, on whatever thread.
#pragma once

#include <gantry/runtime/fen/Attribute.h>

namespace Controller {

class GANTRY_EXPORT MountDesc {
 public:
   /// Empty texts, and "rt" as flags.
   MountDesc() = default;
   MountDesc(Fen::String8 controllerdbPath, Fen::String8 remotePath, Fen::String8 fenType,
             Fen::String8 mountFlags, Fen::String8 serviceName)
      : controllerdbPath_(controllerdbPath), remotePath_(remotePath), fenType_(fenType),
        mountFlags_(mountFlags), serviceName_(serviceName) {}

   /// The path in the publisher's own database; the key wherever descriptions are collected.
   Fen::String8 controllerdbPath() const { return controllerdbPath_; }
   void controllerdbPathIs(Fen::String8 value) { controllerdbPath_ = value; }
   /// The path as the peer sees it.
   Fen::String8 remotePath() const { return remotePath_; }
   void remotePathIs(Fen::String8 value) { remotePath_ = value; }
   /// Name of the entity type at that path.
   Fen::String8 fenType() const { return fenType_; }
   void fenTypeIs(Fen::String8 value) { fenType_ = value; }
   Fen::String8 mountFlags() const { return mountFlags_; }
   void mountFlagsIs(Fen::String8 value) { mountFlags_ = value; }
   /// The service that publishes it.
   Fen::String8 serviceName() const { return serviceName_; }
   void serviceNameIs(Fen::String8 value) { serviceName_ = value; }

   bool operator==(MountDesc const& other) const = default;
   /// True exactly for a value that equals a default-constructed one, flags included: empty flags
   /// make a description that is not null.
   bool operator!() const { return *this == MountDesc(); }

   static Fen::FenType* _fwkType();

 private:
   Fen::String8 controllerdbPath_;
   Fen::String8 remotePath_;
   Fen::String8 fenType_;
   Fen::String8 mountFlags_ = "rt";
   Fen::String8 serviceName_;
};

/// The log form: the five texts in their order.
GANTRY_EXPORT void operator<<(Fen::NboAttrLog::Out& out, MountDesc const& description);
GANTRY_EXPORT void operator>>(Fen::NboAttrLog::In& in, MountDesc& description);
/// The memory of the texts, for limits on what a peer may send.
GANTRY_EXPORT std::size_t fenHeldBytes(MountDesc const& description);

} // namespace Controller

template <>
struct Fen::TypeName<Controller::MountDesc> {
   static constexpr char const* name = "Controller::MountDesc";
};
