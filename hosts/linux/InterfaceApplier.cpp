// When a wish is applied, and what is told of it.

#include <hosts/linux/InterfaceApplier.fen.h>

#include <hosts/linux/LinkControl.h>

#include <gantry/runtime/fen/Dir.h>

#include <cstring>

namespace Linux {

void InterfaceApplier::handleConfig(Fen::Name name) {
   Fen::Ptr<Fen::Entity const> const member = configDir() ? configDir()->entityPtr(name) : nullptr;
   Fen::Ptr<InterfaceConfig const> const wishes(dynamic_cast<InterfaceConfig const*>(member.ptr()));
   if (wishes) {
      configIs(wishes);
   } else {
      configDel(name);
      pendingDel(name);
      appliedDir()->entityPtrDel(name);
   }
}

void InterfaceApplier::FenConfig::handleSettings() {
   interfaceApplier()->pendingAdd(notifier()->name());
}

void InterfaceApplier::handleInterface(Fen::Name name) {
   if (config(name) && interfaceDir()->interface(name)) {
      pendingAdd(name);
   }
}

/// The attributes of a wish arrive one after the other; at the next turn they are all there.
void InterfaceApplier::pendingAdd(Fen::Name name) {
   pendingIs(name, true);
   applyClock()->timeMinIs(0.0);
}

void InterfaceApplier::handleApply() {
   for (auto i = pendingIterator(); i; ++i) {
      Fen::Name const name = i->key();
      pendingDel(name);
      if (Fen::Ptr<FenConfig> const wishes = config(name)) {
         apply(wishes->notifier());
      }
   }
}

void InterfaceApplier::apply(Fen::Ptr<InterfaceConfig const> const& wishes) {
   LinkSettings settings;
   if (wishes->adminState() != adminAsItIs) {
      settings.adminUp = wishes->adminState() == adminUp;
   }
   if (wishes->mtu() != 0) {
      settings.mtu = wishes->mtu();
   }
   if (wishes->description()) {
      settings.description = std::string(wishes->description().view());
   }
   int const error = kernel()->linkIs(std::string(wishes->name().view()), settings);
   Fen::Ptr<InterfaceApplied> applied(
      dynamic_cast<InterfaceApplied*>(appliedDir()->entityPtr(wishes->name()).ptr()));
   if (!applied) {
      applied = interfaceAppliedFactory(wishes->name());
      appliedDir()->entityPtrIs(applied);
   }
   applied->adminStateIs(wishes->adminState());
   applied->mtuIs(wishes->mtu());
   applied->descriptionIs(wishes->description());
   applied->errorIs(error == 0 ? Fen::String8() : Fen::String8(std::strerror(error)));
   applied->attemptsIs(applied->attempts() + 1);
}

} // namespace Linux
