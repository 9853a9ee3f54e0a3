/// The bodies of the hand-written entities, in the shape that the schema compiler emits.
#include "HandWrittenEntity.h"

namespace Sample {

// ---- Port ------------------------------------------------------------------------------------

Port::Port(Fen::Name const& portName, Fen::String8 const& kind, Fen::String8 const& slot)
   : Fen::Entity(portName), kind_(kind), slot_(slot) {}
Port::~Port() = default;

void Port::speedIs(std::uint32_t speed) { Fen::scalarIs<FenSpeedAttr>(*this, speed); }
void Port::labelIs(Fen::String8 const& label) { Fen::scalarIs<FenLabelAttr>(*this, label); }

void Port::FenSpeedAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<Port::NotifieeConst&>(notifiee).onSpeed();
}
void Port::FenLabelAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<Port::NotifieeConst&>(notifiee).onLabel();
}

void Port::fenParametersMatch(Fen::String8 const& kind, Fen::String8 const& slot) const {
   Fen::requireSameParameter(*this, "kind", kind_, kind);
   Fen::requireSameParameter(*this, "slot", slot_, slot);
}

namespace {

constexpr Fen::AttrDesc portAttributes[] = {
   Fen::keyDesc<Port, Fen::Name>(258, "portName"),
   Fen::parameterDesc<Port, Fen::String8, &Port::kind>(259, "kind"),
   Fen::parameterDesc<Port, Fen::String8, &Port::slot>(260, "slot"),
   Fen::attrDesc<Port::FenSpeedAttr>(),
   Fen::attrDesc<Port::FenLabelAttr>(),
};
constexpr Fen::ParameterDesc portParameters[] = {
   {"portName", "Fen::Name"}, {"kind", "Fen::String"}, {"slot", "Fen::String"}};
constexpr Fen::TypeDesc portType = {
   "Sample::Port", Fen::TypeKind::entity,  &Fen::Entity::_fwkType, portAttributes, portParameters,
   nullptr,        Fen::entityWire<Port>()};

} // namespace

Fen::FenType* Port::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(portType);
   return type;
}
Fen::FenType* Port::fwkType() const { return _fwkType(); }
Fen::String8 Port::attributeString(Fen::AttributeId id) const {
   Fen::AttrDesc const* const attribute = _fwkType()->attribute(id);
   return attribute != nullptr ? Fen::String8(attribute->name) : Fen::Entity::attributeString(id);
}

Port::NotifieeConst::NotifieeConst() = default;
Port::NotifieeConst::NotifieeConst(Fen::Ptr<Port const> const& notifier) {
   fenNotifierStore(notifier.ptr());
}
Port::NotifieeConst::~NotifieeConst() = default;
void Port::NotifieeConst::onSpeed() {}
void Port::NotifieeConst::onLabel() {}
Fen::Ptr<Port const> Port::NotifieeConst::notifier() const {
   return Fen::Ptr<Port const>(static_cast<Port const*>(fenNotifier()));
}

Port::Notifiee::Notifiee() = default;
Port::Notifiee::Notifiee(Fen::Ptr<Port> const& notifier) : Port::NotifieeConst(notifier) {}
Port::Notifiee::~Notifiee() = default;
Fen::Ptr<Port> Port::Notifiee::notifier() const {
   return Fen::Ptr<Port>(const_cast<Port*>(static_cast<Port const*>(fenNotifier())));
}

// ---- Chassis ---------------------------------------------------------------------------------

Chassis::Chassis(Fen::Name const& chassisName) : Fen::Entity(chassisName) {}
Chassis::~Chassis() {
   Fen::childOrphan<FenConsoleAttr>(*this);
   Fen::ownedMembersOrphan<FenPortAttr>(*this);
}

void Chassis::upIs(bool up) { Fen::scalarIs<FenUpAttr>(*this, up); }
void Chassis::primaryIs(Fen::Ptr<Port> const& primary) {
   Fen::scalarIs<FenPrimaryAttr>(*this, primary);
}
Fen::Ptr<Port> Chassis::consoleIs(Fen::Name const& portName, Fen::String8 const& kind,
                                  Fen::String8 const& slot) {
   return Fen::childIs<FenConsoleAttr>(*this, portName, kind, slot);
}
Fen::Ptr<Port> Chassis::consoleDel() { return Fen::childDel<FenConsoleAttr>(*this); }

Fen::Ptr<Port> Chassis::port(Fen::Name const& portName) const { return port_.find(portName); }
Fen::Ptr<Port> Chassis::portIs(Fen::Name const& portName, Fen::String8 const& kind,
                               Fen::String8 const& slot) {
   return Fen::ownedMemberIs<FenPortAttr>(
      *this, portName, [&] { return newPort(portName, kind, slot); }, kind, slot);
}
Fen::Ptr<Port> Chassis::newPort(Fen::Name const& portName, Fen::String8 const& kind,
                                Fen::String8 const& slot) {
   return Fen::newOwnedMember<FenPortAttr>(*this, Fen::makePtr<Port>(portName, kind, slot));
}
Fen::Ptr<Port> Chassis::portDel(Fen::Name const& portName) {
   return Fen::ownedMemberDel<FenPortAttr>(*this, portName);
}
void Chassis::portDelAll() { Fen::memberDelAll<FenPortAttr>(*this); }
void Chassis::portNotify(Fen::Name const& portName, Fen::Ptr<Port> const& member) {
   Fen::ownedMemberNotify<FenPortAttr>(*this, portName, member);
}
Chassis::PortIterator Chassis::portIterator() { return PortIterator(*this); }
Chassis::PortIteratorConst Chassis::portIteratorConst() const { return PortIteratorConst(*this); }

bool Chassis::allowed(Fen::String8 const& key) const {
   return Fen::memberValue<FenAllowedAttr>(*this, key);
}
void Chassis::allowedIs(Fen::String8 const& key, bool value) {
   Fen::valueMemberIs<FenAllowedAttr>(*this, key, value);
}
Fen::Ptr<Chassis::FenAllowed> Chassis::newAllowed(Fen::String8 const& key, bool value) {
   return Fen::newValueMember<FenAllowedAttr>(*this, key, value);
}
Fen::Ptr<Chassis::FenAllowed> Chassis::allowedDel(Fen::String8 const& key) {
   return Fen::valueMemberDel<FenAllowedAttr>(*this, key);
}
void Chassis::allowedDelAll() { Fen::memberDelAll<FenAllowedAttr>(*this); }
void Chassis::allowedNotify(Fen::String8 const& key, Fen::Ptr<FenAllowed> const&) {
   Fen::attrNotify<FenAllowedAttr>(*this, key);
}
Chassis::AllowedIterator Chassis::allowedIterator() { return AllowedIterator(*this); }

Fen::Ptr<Port const> Chassis::peer(std::uint32_t key) const {
   return Fen::memberValue<FenPeerAttr>(*this, key);
}
Fen::Ptr<Chassis::FenPeer> Chassis::fenPeer(std::uint32_t key) const { return peer_.find(key); }
void Chassis::peerIs(std::uint32_t key, Fen::Ptr<Port const> const& value) {
   Fen::referenceMemberIs<FenPeerAttr>(*this, key, value);
}
Fen::Ptr<Chassis::FenPeer> Chassis::newPeer(std::uint32_t key, Fen::Ptr<Port const> const& value) {
   return Fen::newValueMember<FenPeerAttr>(*this, key, value);
}
Fen::Ptr<Chassis::FenPeer> Chassis::peerDel(std::uint32_t key) {
   return Fen::valueMemberDel<FenPeerAttr>(*this, key);
}

void Chassis::FenUpAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<Chassis::NotifieeConst&>(notifiee).onUp();
}
void Chassis::FenPrimaryAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<Chassis::NotifieeConst&>(notifiee).onPrimary();
}
void Chassis::FenConsoleAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<Chassis::NotifieeConst&>(notifiee).onConsole();
}
void Chassis::FenPortAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee, Key const& key) {
   static_cast<Chassis::NotifieeConst&>(notifiee).onPort(key);
}
void Chassis::FenAllowedAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee, Key const& key) {
   static_cast<Chassis::NotifieeConst&>(notifiee).onAllowed(key);
}
void Chassis::FenPeerAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee, Key const& key) {
   static_cast<Chassis::NotifieeConst&>(notifiee).onPeer(key);
}

namespace {

constexpr Fen::AttrDesc chassisAttributes[] = {
   Fen::keyDesc<Chassis, Fen::Name>(258, "chassisName"),
   Fen::attrDesc<Chassis::FenUpAttr>(),
   Fen::attrDesc<Chassis::FenPrimaryAttr>(),
   Fen::attrDesc<Chassis::FenConsoleAttr>(),
   Fen::attrDesc<Chassis::FenPortAttr>(),
   Fen::attrDesc<Chassis::FenAllowedAttr>(),
   Fen::attrDesc<Chassis::FenPeerAttr>(),
};
constexpr Fen::ParameterDesc chassisParameters[] = {{"chassisName", "Fen::Name"}};
constexpr Fen::TypeDesc chassisType = {
   "Sample::Chassis", Fen::TypeKind::entity,          &Fen::Entity::_fwkType,    chassisAttributes,
   chassisParameters, &Fen::newEntityByName<Chassis>, Fen::entityWire<Chassis>()};

} // namespace

Fen::FenType* Chassis::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(chassisType);
   return type;
}
Fen::FenType* Chassis::fwkType() const { return _fwkType(); }
Fen::String8 Chassis::attributeString(Fen::AttributeId id) const {
   Fen::AttrDesc const* const attribute = _fwkType()->attribute(id);
   return attribute != nullptr ? Fen::String8(attribute->name) : Fen::Entity::attributeString(id);
}

Chassis::NotifieeConst::NotifieeConst() = default;
Chassis::NotifieeConst::NotifieeConst(Fen::Ptr<Chassis const> const& notifier) {
   fenNotifierStore(notifier.ptr());
}
Chassis::NotifieeConst::~NotifieeConst() = default;
void Chassis::NotifieeConst::onUp() {}
void Chassis::NotifieeConst::onPrimary() {}
void Chassis::NotifieeConst::onConsole() {}
void Chassis::NotifieeConst::onPort(Fen::Name) {}
void Chassis::NotifieeConst::onPortfenImmediate() {}
void Chassis::NotifieeConst::onPort() {}
void Chassis::NotifieeConst::onAllowed(Fen::String8) {}
void Chassis::NotifieeConst::onAllowedfenImmediate() {}
void Chassis::NotifieeConst::onAllowed() {}
void Chassis::NotifieeConst::onPeer(std::uint32_t) {}
void Chassis::NotifieeConst::onPeerfenImmediate() {}
void Chassis::NotifieeConst::onPeer() {}
Fen::Ptr<Chassis const> Chassis::NotifieeConst::notifier() const {
   return Fen::Ptr<Chassis const>(static_cast<Chassis const*>(fenNotifier()));
}

Chassis::Notifiee::Notifiee() = default;
Chassis::Notifiee::Notifiee(Fen::Ptr<Chassis> const& notifier) : Chassis::NotifieeConst(notifier) {}
Chassis::Notifiee::~Notifiee() = default;
Fen::Ptr<Chassis> Chassis::Notifiee::notifier() const {
   return Fen::Ptr<Chassis>(const_cast<Chassis*>(static_cast<Chassis const*>(fenNotifier())));
}

Port::FenNboAttrLogSa::~FenNboAttrLogSa() = default;
Chassis::FenNboAttrLogSa::~FenNboAttrLogSa() = default;

} // namespace Sample
