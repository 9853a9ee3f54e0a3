/// The bodies of the record of where a peer can be reached.
#include <gantry/common/ConnectionConfig.h>

namespace Controller {

ConnectionConfig::ConnectionConfig(Fen::Name const& name) : Fen::Entity(name) {}
ConnectionConfig::~ConnectionConfig() = default;

bool ConnectionConfig::isValid() const { return !ip_.isZero() && port_ != 0; }

void ConnectionConfig::ipIs(Nimet::IpAddr const& ip) { Fen::scalarIs<FenIpAttr>(*this, ip); }
void ConnectionConfig::portIs(std::uint16_t port) { Fen::scalarIs<FenPortAttr>(*this, port); }
void ConnectionConfig::socknameIs(Fen::String8 const& sockname) {
   Fen::scalarIs<FenSocknameAttr>(*this, sockname);
}
void ConnectionConfig::sysnameIs(Fen::String8 const& sysname) {
   Fen::scalarIs<FenSysnameAttr>(*this, sysname);
}
void ConnectionConfig::srcIpIs(Nimet::IpAddr const& srcIp) {
   Fen::scalarIs<FenSrcIpAttr>(*this, srcIp);
}

void ConnectionConfig::FenIpAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<ConnectionConfig::NotifieeConst&>(notifiee).onIp();
}
void ConnectionConfig::FenPortAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<ConnectionConfig::NotifieeConst&>(notifiee).onPort();
}
void ConnectionConfig::FenSocknameAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<ConnectionConfig::NotifieeConst&>(notifiee).onSockname();
}
void ConnectionConfig::FenSysnameAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<ConnectionConfig::NotifieeConst&>(notifiee).onSysname();
}
void ConnectionConfig::FenSrcIpAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<ConnectionConfig::NotifieeConst&>(notifiee).onSrcIp();
}

namespace {

constexpr Fen::AttrDesc connectionConfigAttributes[] = {
   Fen::keyDesc<ConnectionConfig, Fen::Name>(258, "name"),
   Fen::attrDesc<ConnectionConfig::FenIpAttr>(),
   Fen::attrDesc<ConnectionConfig::FenPortAttr>(),
   Fen::attrDesc<ConnectionConfig::FenSocknameAttr>(),
   Fen::attrDesc<ConnectionConfig::FenSysnameAttr>(),
   Fen::attrDesc<ConnectionConfig::FenSrcIpAttr>(),
};
constexpr Fen::ParameterDesc connectionConfigParameters[] = {{"name", "Fen::Name"}};
constexpr Fen::TypeDesc connectionConfigType = {"Controller::ConnectionConfig",
                                                Fen::TypeKind::entity,
                                                &Fen::Entity::_fwkType,
                                                connectionConfigAttributes,
                                                connectionConfigParameters,
                                                &Fen::newEntityByName<ConnectionConfig>,
                                                nullptr};

} // namespace

Fen::FenType* ConnectionConfig::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(connectionConfigType);
   return type;
}
Fen::FenType* ConnectionConfig::fwkType() const { return _fwkType(); }
Fen::String8 ConnectionConfig::attributeString(Fen::AttributeId id) const {
   Fen::AttrDesc const* const attribute = _fwkType()->attribute(id);
   return attribute != nullptr ? Fen::String8(attribute->name) : Fen::Entity::attributeString(id);
}

ConnectionConfig::NotifieeConst::NotifieeConst() = default;
ConnectionConfig::NotifieeConst::NotifieeConst(Fen::Ptr<ConnectionConfig const> const& notifier) {
   fenNotifierStore(notifier.ptr());
}
ConnectionConfig::NotifieeConst::~NotifieeConst() = default;
void ConnectionConfig::NotifieeConst::onIp() {}
void ConnectionConfig::NotifieeConst::onPort() {}
void ConnectionConfig::NotifieeConst::onSockname() {}
void ConnectionConfig::NotifieeConst::onSysname() {}
void ConnectionConfig::NotifieeConst::onSrcIp() {}
Fen::Ptr<ConnectionConfig const> ConnectionConfig::NotifieeConst::notifier() const {
   return Fen::Ptr<ConnectionConfig const>(static_cast<ConnectionConfig const*>(fenNotifier()));
}

ConnectionConfig::Notifiee::Notifiee() = default;
ConnectionConfig::Notifiee::Notifiee(Fen::Ptr<ConnectionConfig> const& notifier)
   : ConnectionConfig::NotifieeConst(notifier) {}
ConnectionConfig::Notifiee::~Notifiee() = default;
Fen::Ptr<ConnectionConfig> ConnectionConfig::Notifiee::notifier() const {
   return Fen::Ptr<ConnectionConfig>(
      const_cast<ConnectionConfig*>(static_cast<ConnectionConfig const*>(fenNotifier())));
}

Fen::Ptr<ConnectionConfig> connectionConfigFactory(Fen::Name const& name) {
   return Fen::makePtr<ConnectionConfig>(name);
}

} // namespace Controller
