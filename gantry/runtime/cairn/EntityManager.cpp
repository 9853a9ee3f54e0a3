/// The bodies of the entity manager.
#include <gantry/runtime/cairn/EntityManager.h>
#include <gantry/runtime/fen/AttrAccess.h>

namespace Cairn {

namespace {

/// An attribute that the client does not store under that name.
constexpr Fen::AttrDesc idle(Fen::AttributeId id, char const* name) {
   return {id, name, Fen::AttrKind::computed, "", nullptr, nullptr, nullptr};
}

constexpr Fen::AttrDesc entityManagerAttributes[] = {
   idle(258, "sysname"),
   idle(259, "root"),
   idle(260, "local"),
   idle(261, "scheduled"),
   idle(262, "mountTimeout"),
   idle(263, "rootMount"),
   idle(264, "dieOnDisconnect"),
   Fen::accessible<
      Fen::Access::Scalar<&EntityManager::reconnectRetries, &EntityManager::reconnectRetriesIs>>(
      Fen::attrDesc<EntityManager::FenReconnectRetriesAttr>()),
   idle(266, "locallyReadOnly"),
   idle(267, "isServer"),
   idle(268, "srcPort"),
   Fen::accessible<Fen::Access::Scalar<&EntityManager::srcHost, &EntityManager::srcHostIs>>(
      Fen::attrDesc<EntityManager::FenSrcHostAttr>()),
   idle(270, "cairnPath"),
   idle(271, "cairnRoot"),
   idle(272, "agentEnvStatusSm"),
   idle(273, "statusDir"),
   idle(274, "mountReference"),
   idle(275, "intSockOption"),
   idle(276, "stringSockOption"),
   idle(277, "mountGroupDir"),
   idle(278, "mountGroup"),
   idle(279, "mountGroupCount"),
   idle(280, "useConvertibleReads"),
   idle(281, "debugOverlappingMountGroups"),
   idle(282, "debugScheduledAttrLogMounts"),
   idle(283, "deferredWritableMountGroup"),
   idle(284, "deferredWritablePersistentMntGrp"),
   idle(285, "deferredWritableMountMetadata"),
   idle(286, "deferredWritableMount"),
   idle(287, "deferredWritablePersistentMountMetadata"),
   idle(288, "deferredWritablePersistentMount"),
   idle(289, "localCellStatus"),
   idle(290, "localCellSm"),
   idle(291, "deferredMountSm"),
   idle(292, "outgoingRoundSize"),
   idle(293, "cairnMounted"),
   Fen::accessible<Fen::Access::Scalar<&EntityManager::unmounter, &EntityManager::unmounterIs>>(
      Fen::attrDesc<EntityManager::FenUnmounterAttr>()),
   idle(295, "debugRequireImmediate"),
   idle(296, "debugReconnectTimeout"),
   idle(297, "initialized"),
};
constexpr Fen::ParameterDesc entityManagerParameters[] = {{"name", "Fen::Name"}};
constexpr Fen::TypeDesc entityManagerType = {"Cairn::EntityManager",
                                             Fen::TypeKind::entity,
                                             &Fen::Entity::_fwkType,
                                             entityManagerAttributes,
                                             entityManagerParameters,
                                             nullptr,
                                             nullptr};

} // namespace

EntityManager::EntityManager(Fen::Name name) : Fen::Entity(name), backend_(Cairn::backend()) {
   call(ClientCall::constructor, nullptr);
}

EntityManager::~EntityManager() {
   if (!cleanedUp_) {
      cleanedUp_ = true;
      backend_->handleCleanup(*this);
   }
   call(ClientCall::destructor, nullptr);
   for (Fen::Ptr<MountGroup> const& group : mountGroup_) {
      group->manager_ = nullptr;
   }
}

void EntityManager::call(ClientCall call, MountGroup const* group) const {
   backend_->handleCall(*this, call, group);
}

void EntityManager::reconnectRetriesIs(std::uint32_t reconnectRetries) {
   Fen::scalarIs<FenReconnectRetriesAttr>(*this, reconnectRetries);
   call(ClientCall::reconnectRetriesIs, nullptr);
}

void EntityManager::srcHostIs(Fen::String8 const& srcHost) {
   Fen::scalarIs<FenSrcHostAttr>(*this, srcHost);
   call(ClientCall::srcHostIs, nullptr);
}

void EntityManager::unmounterIs(Fen::Ptr<RemoteUnmounter const> const& unmounter) {
   Fen::scalarIs<FenUnmounterAttr>(*this, unmounter);
}

void EntityManager::doInit(Fen::String8 sysname, Fen::String8 targetPath, Fen::String8 remotePath,
                           std::uint16_t port, Fen::String8 host, Fen::String8 sockname,
                           bool reserved7, bool reserved8, double const& mountTimeout,
                           bool reserved10, Fen::String8 reserved11, bool reserved12,
                           bool reserved13, bool reserved14) {
   if (initialized_) {
      Fen::throwInternalException("entity manager is initialized already");
   }
   initialized_ = true;
   initArguments_ = {sysname,    targetPath, remotePath, port,         host,
                     sockname,   reserved7,  reserved8,  mountTimeout, reserved10,
                     reserved11, reserved12, reserved13, reserved14};
   Fen::Ptr<EntityManager> const self(this);
   call(ClientCall::doInit, nullptr);
   if (!cleanedUp_) {
      backend_->handleInit(*this);
   }
}

Fen::Ptr<MountGroup> EntityManager::getPersistentMountGroup(Fen::Ptr<Mounter> const& mounter) {
   Fen::Ptr<MountGroup> found;
   for (Fen::Ptr<MountGroup> const& group : mountGroup_) {
      if (group->mounter() == mounter && !group->closed()) {
         found = group;
      }
   }
   if (!found) {
      found = Fen::makePtr<MountGroup>(this, mounter);
      mountGroup_.push_back(found);
   }
   call(ClientCall::getPersistentMountGroup, found.ptr());
   return found;
}

void EntityManager::doUnregisterAll(bool statePreserving) {
   statePreserving_ = statePreserving;
   Fen::Ptr<EntityManager> const self(this);
   call(ClientCall::doUnregisterAll, nullptr);
   if (!cleanedUp_) {
      backend_->handleUnregisterAll(*this, statePreserving);
   }
}

void EntityManager::doCleanup() {
   if (cleanedUp_) {
      return;
   }
   cleanedUp_ = true;
   Fen::Ptr<EntityManager> const self(this);
   call(ClientCall::doCleanup, nullptr);
   backend_->handleCleanup(*this);
}

void EntityManager::FenReconnectRetriesAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<EntityManager::NotifieeConst&>(notifiee).onReconnectRetries();
}
void EntityManager::FenSrcHostAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<EntityManager::NotifieeConst&>(notifiee).onSrcHost();
}
void EntityManager::FenUnmounterAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee) {
   static_cast<EntityManager::NotifieeConst&>(notifiee).onUnmounter();
}

Fen::FenType* EntityManager::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(entityManagerType);
   return type;
}
static Fen::TypeLoad const loadEntityManager(&EntityManager::_fwkType);
Fen::FenType* EntityManager::fwkType() const { return _fwkType(); }
Fen::String8 EntityManager::attributeString(Fen::AttributeId id) const {
   Fen::AttrDesc const* const attribute = _fwkType()->attribute(id);
   return attribute != nullptr ? Fen::String8(attribute->name) : Fen::Entity::attributeString(id);
}

EntityManager::NotifieeConst::NotifieeConst() = default;
EntityManager::NotifieeConst::NotifieeConst(Fen::Ptr<EntityManager const> const& notifier) {
   fenNotifierStore(notifier.ptr());
}
EntityManager::NotifieeConst::~NotifieeConst() = default;
void EntityManager::NotifieeConst::onSysname() {}
void EntityManager::NotifieeConst::onRoot() {}
void EntityManager::NotifieeConst::onLocal() {}
void EntityManager::NotifieeConst::onScheduled() {}
void EntityManager::NotifieeConst::onMountTimeout() {}
void EntityManager::NotifieeConst::onRootMount() {}
void EntityManager::NotifieeConst::onDieOnDisconnect() {}
void EntityManager::NotifieeConst::onReconnectRetries() {}
void EntityManager::NotifieeConst::onLocallyReadOnly() {}
void EntityManager::NotifieeConst::onIsServer() {}
void EntityManager::NotifieeConst::onSrcPort() {}
void EntityManager::NotifieeConst::onSrcHost() {}
void EntityManager::NotifieeConst::onCairnPath() {}
void EntityManager::NotifieeConst::onCairnRoot() {}
void EntityManager::NotifieeConst::onAgentEnvStatusSm() {}
void EntityManager::NotifieeConst::onStatusDir() {}
void EntityManager::NotifieeConst::onMountReference() {}
void EntityManager::NotifieeConst::onIntSockOption() {}
void EntityManager::NotifieeConst::onStringSockOption() {}
void EntityManager::NotifieeConst::onMountGroupDir() {}
void EntityManager::NotifieeConst::onMountGroup() {}
void EntityManager::NotifieeConst::onMountGroupCount() {}
void EntityManager::NotifieeConst::onUseConvertibleReads() {}
void EntityManager::NotifieeConst::onDebugOverlappingMountGroups() {}
void EntityManager::NotifieeConst::onDebugScheduledAttrLogMounts() {}
void EntityManager::NotifieeConst::onDeferredWritableMountGroup() {}
void EntityManager::NotifieeConst::onDeferredWritablePersistentMntGrp() {}
void EntityManager::NotifieeConst::onDeferredWritableMountMetadata() {}
void EntityManager::NotifieeConst::onDeferredWritableMount() {}
void EntityManager::NotifieeConst::onDeferredWritablePersistentMountMetadata() {}
void EntityManager::NotifieeConst::onDeferredWritablePersistentMount() {}
void EntityManager::NotifieeConst::onLocalCellStatus() {}
void EntityManager::NotifieeConst::onLocalCellSm() {}
void EntityManager::NotifieeConst::onDeferredMountSm() {}
void EntityManager::NotifieeConst::onOutgoingRoundSize() {}
void EntityManager::NotifieeConst::onCairnMounted() {}
void EntityManager::NotifieeConst::onUnmounter() {}
void EntityManager::NotifieeConst::onDebugRequireImmediate() {}
void EntityManager::NotifieeConst::onDebugReconnectTimeout() {}
void EntityManager::NotifieeConst::onInitialized() {}
Fen::Ptr<EntityManager const> EntityManager::NotifieeConst::notifier() const {
   return Fen::Ptr<EntityManager const>(static_cast<EntityManager const*>(fenNotifier()));
}

EntityManager::Notifiee::Notifiee() = default;
EntityManager::Notifiee::Notifiee(Fen::Ptr<EntityManager> const& notifier)
   : EntityManager::NotifieeConst(notifier) {}
EntityManager::Notifiee::~Notifiee() = default;
Fen::Ptr<EntityManager> EntityManager::Notifiee::notifier() const {
   return Fen::Ptr<EntityManager>(
      const_cast<EntityManager*>(static_cast<EntityManager const*>(fenNotifier())));
}

} // namespace Cairn
