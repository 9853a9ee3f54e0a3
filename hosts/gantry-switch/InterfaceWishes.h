/// Sets this host's interfaces as a controller's published directory says, and shows at
/// "linux/applied" what has become of each wish.
///
/// Owned by the program; on the activity loop's thread. While the controller is away, and when it
/// publishes nothing any more, the interfaces stay as they are.
#pragma once

#include <hosts/gantry-switch/PublishedMounts.h>

#include <hosts/linux/InterfaceApplier.fen.h>
#include <hosts/linux/LinkControl.h>

#include <memory>

namespace Host {

class InterfaceWishes {
 public:
   /// The path that a controller gives to a directory of Linux::InterfaceConfig entities for this.
   static constexpr char const* remotePath = "interfaces";

   /// `linux` is the directory of this host's state.
   InterfaceWishes(Fen::Ptr<Linux::InterfaceDir> const& interfaces,
                   Fen::Ptr<Fen::Dir> const& linux);

   /// The directory of wishes may have come, gone or become another one.
   void follow(PublishedMounts const& mounts);
   Fen::Ptr<Linux::InterfaceApplier> const& machine() const { return applier_; }

 private:
   std::unique_ptr<Linux::LinkControl> const kernel_;
   Fen::Ptr<Linux::InterfaceApplier> applier_;
};

} // namespace Host
