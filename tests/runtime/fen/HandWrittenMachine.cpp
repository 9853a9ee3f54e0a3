/// The generated half of the hand-written machine.
#include "HandWrittenMachine.h"

namespace Sample {

ChassisSm::ChassisSm(Fen::Ptr<Chassis> const& chassis, std::uint32_t limit) : limit_(limit) {
   chassis_ = Fen::makePtr<FenChassis>(chassis, this);
   holdTimer_ = Fen::makePtr<FenHoldTimer>(Fen::ActivityFacility::clock(), this);
}

ChassisSm::~ChassisSm() {
   fenDoZombieReactors(true);
   Fen::nestedDel(chassis_);
   Fen::nestedDel(holdTimer_);
   Fen::nestedMembersDel(portSm_);
}

Fen::Ptr<ChassisSm> ChassisSm::ChassisSmIs(Fen::Ptr<Chassis> const& chassis, std::uint32_t limit) {
   return Fen::machineBorn(Fen::Ptr<ChassisSm>::adopt(new ChassisSm(chassis, limit)));
}
Fen::Ptr<ChassisSm> chassisSmFactory(Fen::Ptr<Chassis> const& chassis, std::uint32_t limit) {
   return ChassisSm::ChassisSmIs(chassis, limit);
}

void ChassisSm::hasNotificationActiveIs(bool active) {
   Fen::PtrInterface::hasNotificationActiveIs(active);
   Fen::nestedActiveIs(active, chassis_, holdTimer_);
   Fen::nestedMembersActiveIs(active, portSm_);
}

void ChassisSm::fenDoZombieReactors(bool zombie) {
   if (fenMarkedForDeletion() == zombie) {
      return;
   }
   Fen::nestedZombieIs(zombie, chassis_, holdTimer_);
   Fen::nestedMembersZombieIs(zombie, portSm_);
   fenMarkedForDeletionIs(zombie);
}

Fen::Ptr<Chassis> ChassisSm::chassis() const {
   return chassis_ ? chassis_->notifier() : Fen::Ptr<Chassis>();
}

Fen::Ptr<ChassisSm::PortSm> ChassisSm::portSm(Fen::Name const& portName) const {
   return portSm_.find(portName);
}
Fen::Ptr<ChassisSm::PortSm> ChassisSm::portSmIs(Fen::Name const& portName,
                                                Fen::Ptr<Port> const& port) {
   return Fen::nestedMemberIs(
      portSm_, portName, [&] { return newPortSm(portName, port); }, port);
}
Fen::Ptr<ChassisSm::PortSm> ChassisSm::newPortSm(Fen::Name const& portName,
                                                 Fen::Ptr<Port> const& port) {
   return Fen::newNestedMember(portSm_, Fen::makePtr<PortSm>(portName, port, this));
}
Fen::Ptr<ChassisSm::PortSm> ChassisSm::portSmDel(Fen::Name const& portName) {
   return Fen::nestedMemberDel(portSm_, portName);
}
void ChassisSm::portSmDelAll() { Fen::nestedMembersDel(portSm_); }

namespace {

constexpr Fen::TypeDesc chassisSmType = {
   "Sample::ChassisSm", Fen::TypeKind::machine, nullptr, {}, {}, nullptr, nullptr};

} // namespace

Fen::FenType* ChassisSm::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(chassisSmType);
   return type;
}
Fen::FenType* ChassisSm::fwkType() const { return _fwkType(); }

void ChassisSm::FenChassis::onUp() {
   fenRun([this](ChassisSm& machine) {
      if (notifier()->up()) {
         machine.handleUp();
      }
   });
}
void ChassisSm::FenChassis::onPort(Fen::Name key) {
   fenRun([&key](ChassisSm& machine) { machine.handlePort(key); });
}
void ChassisSm::FenChassis::fenHandleAll() {
   // Each handler may move this reactor to another notifier, or to none.
   Fen::Ptr<Chassis> const watched = notifier();
   onUp();
   for (Chassis::PortIteratorConst i(*watched); i && fenNotifier() == watched.ptr(); ++i) {
      onPort(i.key());
   }
}

void ChassisSm::FenHoldTimer::onTime() {
   fenRun([](ChassisSm& machine) { machine.handleHoldTimeout(); });
}
void ChassisSm::FenHoldTimer::fenHandleAll() { onTime(); }

ChassisSm::PortSm::PortSm(Fen::Name const& portName, Fen::Ptr<Port> const& port,
                          ChassisSm* chassisSm)
   : portName_(portName), chassisSm_(chassisSm) {
   port_ = Fen::makePtr<FenPort>(port, this);
}

ChassisSm::PortSm::~PortSm() {
   fenDoZombieReactors(true);
   Fen::nestedDel(port_);
}

void ChassisSm::PortSm::hasNotificationActiveIs(bool active) {
   Fen::PtrInterface::hasNotificationActiveIs(active);
   Fen::nestedActiveIs(active, port_);
}

void ChassisSm::PortSm::fenDoZombieReactors(bool zombie) {
   if (fenMarkedForDeletion() == zombie) {
      return;
   }
   Fen::nestedZombieIs(zombie, port_);
   fenMarkedForDeletionIs(zombie);
}

Fen::Ptr<Port> ChassisSm::PortSm::port() const {
   return port_ ? port_->notifier() : Fen::Ptr<Port>();
}
void ChassisSm::PortSm::fenParametersMatch(Fen::Ptr<Port> const& port) const {
   Fen::requireSameParameter(static_cast<Fen::PtrInterface const&>(*this), "port", this->port(),
                             port);
}

void ChassisSm::PortSm::FenPort::onSpeed() {
   fenRun([](PortSm& machine) { machine.handleSpeed(); });
}
void ChassisSm::PortSm::FenPort::fenHandleAll() { onSpeed(); }

} // namespace Sample
