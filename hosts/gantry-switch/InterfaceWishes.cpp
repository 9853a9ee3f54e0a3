// The way from a published directory to the machine that applies it.

#include <hosts/gantry-switch/InterfaceWishes.h>

#include <gantry/runtime/fen/Dir.h>

namespace Host {

InterfaceWishes::InterfaceWishes(Fen::Ptr<Linux::InterfaceDir> const& interfaces,
                                 Fen::Ptr<Fen::Dir> const& linux)
   : kernel_(Linux::rtnetlinkControl()) {
   Fen::Ptr<Fen::Dir> const applied = Fen::dirFactory("applied");
   linux->entityPtrIs(applied);
   applier_ = Linux::interfaceApplierFactory(interfaces, applied, kernel_.get());
}

void InterfaceWishes::follow(PublishedMounts const& mounts) {
   Fen::Ptr<Fen::Entity> const published = mounts.published(remotePath);
   Fen::Ptr<Fen::Dir const> const wishes(dynamic_cast<Fen::Dir const*>(published.ptr()));
   if (wishes == applier_->configDir()) {
      return;
   }
   if (wishes) {
      applier_->configDirIs(wishes);
   } else {
      applier_->configDirDel();
   }
}

} // namespace Host
