/// The bodies of the progress of an unmount.
#include <gantry/runtime/cairn/RemoteUnmounter.h>
#include <gantry/runtime/fen/AttrAccess.h>

namespace Cairn {

namespace {

/// An attribute that the client does not store.
constexpr Fen::AttrDesc idle(Fen::AttributeId id, char const* name) {
   return {id, name, Fen::AttrKind::computed, "", nullptr, nullptr, nullptr};
}

constexpr Fen::AttrDesc remoteUnmounterAttributes[] = {
   idle(258, "configDir"),
   idle(259, "statusDir"),
   idle(260, "mount"),
   idle(261, "inputsComplete"),
   Fen::accessible<
      Fen::Access::Scalar<&RemoteUnmounter::statePreserving, &RemoteUnmounter::statePreservingIs>>(
      Fen::attrDesc<RemoteUnmounter::FenStatePreservingAttr>()),
   Fen::accessible<Fen::Access::Scalar<&RemoteUnmounter::unmountsComplete,
                                       &RemoteUnmounter::unmountsCompleteIs>>(
      Fen::attrDesc<RemoteUnmounter::FenUnmountsCompleteAttr>()),
   idle(264, "initialized"),
};
constexpr Fen::ParameterDesc remoteUnmounterParameters[] = {{"name", "Fen::Name"}};
constexpr Fen::TypeDesc remoteUnmounterType = {"Cairn::RemoteUnmounter",
                                               Fen::TypeKind::entity,
                                               &Fen::Entity::_fwkType,
                                               remoteUnmounterAttributes,
                                               remoteUnmounterParameters,
                                               nullptr,
                                               nullptr};

} // namespace

RemoteUnmounter::RemoteUnmounter(Fen::Name name) : Fen::Entity(name) {}
RemoteUnmounter::~RemoteUnmounter() = default;

void RemoteUnmounter::statePreservingIs(bool statePreserving) {
   Fen::scalarIs<FenStatePreservingAttr>(*this, statePreserving);
}
void RemoteUnmounter::unmountsCompleteIs(bool unmountsComplete) {
   Fen::scalarIs<FenUnmountsCompleteAttr>(*this, unmountsComplete);
}

void RemoteUnmounter::FenStatePreservingAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<RemoteUnmounter::NotifieeConst&>(notifiee).onStatePreserving();
}
void RemoteUnmounter::FenUnmountsCompleteAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<RemoteUnmounter::NotifieeConst&>(notifiee).onUnmountsComplete();
}

Fen::FenType* RemoteUnmounter::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(remoteUnmounterType);
   return type;
}
static Fen::TypeLoad const loadRemoteUnmounter(&RemoteUnmounter::_fwkType);
Fen::FenType* RemoteUnmounter::fwkType() const { return _fwkType(); }
Fen::String8 RemoteUnmounter::attributeString(Fen::AttributeId id) const {
   Fen::AttrDesc const* const attribute = _fwkType()->attribute(id);
   return attribute != nullptr ? Fen::String8(attribute->name) : Fen::Entity::attributeString(id);
}

RemoteUnmounter::NotifieeConst::NotifieeConst() = default;
RemoteUnmounter::NotifieeConst::NotifieeConst(Fen::Ptr<RemoteUnmounter const> const& notifier) {
   fenNotifierStore(notifier.ptr());
}
RemoteUnmounter::NotifieeConst::~NotifieeConst() = default;
void RemoteUnmounter::NotifieeConst::onConfigDir() {}
void RemoteUnmounter::NotifieeConst::onStatusDir() {}
void RemoteUnmounter::NotifieeConst::onMount(Fen::Name) {}
void RemoteUnmounter::NotifieeConst::onMountfenImmediate() {}
void RemoteUnmounter::NotifieeConst::onMount() {}
void RemoteUnmounter::NotifieeConst::onInputsComplete() {}
void RemoteUnmounter::NotifieeConst::onStatePreserving() {}
void RemoteUnmounter::NotifieeConst::onUnmountsComplete() {}
void RemoteUnmounter::NotifieeConst::onInitialized() {}
Fen::Ptr<RemoteUnmounter const> RemoteUnmounter::NotifieeConst::notifier() const {
   return Fen::Ptr<RemoteUnmounter const>(static_cast<RemoteUnmounter const*>(fenNotifier()));
}

RemoteUnmounter::Notifiee::Notifiee() = default;
RemoteUnmounter::Notifiee::Notifiee(Fen::Ptr<RemoteUnmounter> const& notifier)
   : RemoteUnmounter::NotifieeConst(notifier) {}
RemoteUnmounter::Notifiee::~Notifiee() = default;
Fen::Ptr<RemoteUnmounter> RemoteUnmounter::Notifiee::notifier() const {
   return Fen::Ptr<RemoteUnmounter>(
      const_cast<RemoteUnmounter*>(static_cast<RemoteUnmounter const*>(fenNotifier())));
}

Fen::Ptr<RemoteUnmounter> remoteUnmounterFactory(Fen::Name name) {
   return Fen::makePtr<RemoteUnmounter>(name);
}

} // namespace Cairn
