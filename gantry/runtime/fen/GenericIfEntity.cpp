/// Handles on entities: the attributes of the framework, and the way of notifications to whoever
/// watches through a handle.
#include <gantry/runtime/fen/AttrAccess.h>
#include <gantry/runtime/fen/GenericIf.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace Fen {

using Adapter = GenericIfEntity::GenericIf_Adapter_;

namespace {

/// What every entity can be asked for by the framework's ids.
constexpr AttrDesc frameworkAttributes[] = {
   plainDesc(parentAttributeId, "parent", AttrKind::computed, "Fen::Entity", nullptr),
   plainDesc(hasAttrLogAttributeId, "fenHasAttrLogInterface", AttrKind::computed, "bool", nullptr),
   plainDesc(adapterForChannelAttributeId, "fenNboAttrLogSaForMsgChannel", AttrKind::computed,
             "Fen::Entity", nullptr),
   plainDesc(keyAttributeId, "fwkKey", AttrKind::computed, "Fen::Name", nullptr),
   plainDesc(nameAttributeId, "name", AttrKind::computed, "Fen::Name", nullptr),
   plainDesc(fullNameAttributeId, "fullName", AttrKind::computed, "Fen::String", nullptr),
};

} // namespace

GenericIfEntity::GenericIfEntity(Ptr<Entity> const& entity, FenType* type, bool isConst)
   : GenericIfPtrInterface(entity, type, isConst) {}

GenericIfEntity::~GenericIfEntity() {
   if (adapter_) {
      adapter_->isRegisteredNotifieeIs(false);
      adapter_->handleDel();
   }
}

Adapter& GenericIfEntity::adapter() const {
   if (!adapter_) {
      adapter_ = makePtr<GenericIf_Adapter_>(const_cast<GenericIfEntity*>(this));
      adapter_->notifierStore(static_cast<Entity const*>(object().ptr()));
      // What the handle was told before anybody watched through it holds for its adapter too.
      adapter_->hasNotificationActiveIs(hasNotificationActive());
      adapter_->fenDoZombieReactors(fenMarkedForDeletion());
   }
   return *adapter_;
}

void GenericIfEntity::hasNotificationActiveIs(bool active) {
   fenNotificationActiveMarkIs(active);
   if (adapter_) {
      adapter_->hasNotificationActiveIs(active);
   }
}

void GenericIfEntity::isRegisteredNotifieeIs(bool registered) const {
   if (registered || adapter_) {
      adapter().isRegisteredNotifieeIs(registered && static_cast<bool>(object()));
   }
}

void GenericIfEntity::notifierIs(Ptr<PtrInterface const> const& notifier) {
   auto const* const entity = dynamic_cast<Entity const*>(notifier.ptr());
   if (entity == std::as_const(*this).object().ptr()) {
      return;
   }
   bool const isOther = notifier && (entity == nullptr || !entity->fwkType()->isA(fwkType()));
   if (isOther) {
      throwTypeException(fwkType()->name());
   }
   objectIs(Ptr<PtrInterface>(const_cast<Entity*>(entity)));
   if (adapter_) {
      // Storing leaves the list. An adapter that is closed is on none and remembers whether it is
      // to be registered, so it must not be told again.
      bool const wasRegistered = adapter_->isRegisteredNotifiee();
      adapter_->notifierStore(entity);
      if (wasRegistered) {
         adapter_->isRegisteredNotifieeIs(true);
      }
   }
}

bool GenericIfEntity::redispatch() const {
   // One reference is the walk's own.
   return fenReferenceCount() > 1 && !fenMarkedForDeletion();
}

void GenericIfEntity::handleNotification(ActivityConfig* activity) {
   AttributeId const id = pendingId_;
   if (id != allAttributesId && id != allAttributesImmediateId) {
      onAttribute(id);
      return;
   }
   Ptr<GenericIfEntity> const self(this);
   GenericIf::handleNotification(activity);
   for (AttrDesc const& each : fwkType()->attributes()) {
      if (!redispatch()) {
         return;
      }
      onAttribute(each.id);
   }
}

void GenericIfEntity::onAttribute(AttributeId id) {
   if (listener_ == nullptr) {
      return;
   }
   AttrDesc const* const attribute = fwkType()->attribute(id);
   Ptr<GenericIf const> key;
   if (pendingKey_ != nullptr && attribute != nullptr && attribute->access != nullptr &&
       attribute->access->key != nullptr) {
      key = attribute->access->key->handle(pendingKey_, true);
   }
   listener_->onAttribute(*this, id, key);
}

AttributeId GenericIfEntity::attributeId(String8 name) const {
   if (AttributeId const id = GenericIfPtrInterface::attributeId(name)) {
      return id;
   }
   for (AttrDesc const& each : frameworkAttributes) {
      if (name == each.name) {
         return each.id;
      }
   }
   return 0;
}

Ptr<GenericIf> GenericIfEntity::frameworkOp(AttributeOp const& operation,
                                            Ptr<GenericIf const> const& key) {
   AttributeId const id = operation.attributeId();
   auto const* const attribute =
      std::find_if(std::begin(frameworkAttributes), std::end(frameworkAttributes),
                   [id](AttrDesc const& each) { return each.id == id; });
   if (attribute == std::end(frameworkAttributes)) {
      return GenericIfPtrInterface::frameworkOp(operation, key);
   }
   if (key) {
      throwBadIndexAttrException(attribute->name);
   }
   if (operation.operation() != operationGet || id == adapterForChannelAttributeId) {
      throwOpNotSupportedException(attribute->name, operation.operation());
   }
   Ptr<Entity const> const self = std::as_const(*this).entity();
   if (!self) {
      throwNullValidPtr();
   }
   switch (id) {
   case hasAttrLogAttributeId:
      return genericIf(self->fenHasAttrLogInterface(), isConst());
   case keyAttributeId:
   case nameAttributeId:
      return genericIf(self->name(), isConst());
   case fullNameAttributeId:
      return genericIf(self->fullName(), isConst());
   default:
      return objectHandle(self->parent().ptr(), Entity::_fwkType(), isConst());
   }
}

void GenericIfEntity::fenDoZombieReactors(bool zombie) {
   if (adapter_) {
      adapter_->fenDoZombieReactors(zombie);
   }
   GenericIfPtrInterface::fenDoZombieReactors(zombie);
}

Ptr<GenericIf> GenericIfEntity::clone() const {
   return makePtr<GenericIfEntity>(Ptr<Entity>(const_cast<Entity*>(entity().ptr())), fwkType(),
                                   isConst());
}

Ptr<Entity const> GenericIfEntity::entity() const {
   return Ptr<Entity const>(static_cast<Entity const*>(object().ptr()));
}
Ptr<Entity> GenericIfEntity::entity() { return Ptr<Entity>(static_cast<Entity*>(object().ptr())); }

// ---- the adapter -------------------------------------------------------------------------------

/// What a handle is told of now, until the end of a scope.
class GenericIfEntity::PendingAttribute {
 public:
   PendingAttribute(GenericIfEntity& handle, AttributeId id, void const* key)
      : handle_(handle), formerId_(std::exchange(handle.pendingId_, id)),
        formerKey_(std::exchange(handle.pendingKey_, key)) {}
   ~PendingAttribute() {
      handle_.pendingId_ = formerId_;
      handle_.pendingKey_ = formerKey_;
   }
   PendingAttribute(PendingAttribute const&) = delete;
   PendingAttribute& operator=(PendingAttribute const&) = delete;

 private:
   GenericIfEntity& handle_;
   AttributeId const formerId_;
   void const* const formerKey_;
};

Adapter::GenericIf_Adapter_(GenericIfEntity* handle)
   : NotifieeConst(Kind::generic), handle_(handle) {}
Adapter::~GenericIf_Adapter_() = default;

PtrInterface const* Adapter::fenReactor() const { return handle_; }
PtrInterface const* Adapter::fenRawReactor() const { return handle_; }

void Adapter::onNotificationException(AttributeId id) {
   if (handle_ != nullptr) {
      Ptr<GenericIfEntity> const held(handle_);
      held->onNotificationException(id);
   }
}

void Adapter::onZeroReferences() {
   if (handle_ != nullptr) {
      Ptr<GenericIfEntity> const held(handle_);
      held->onZeroReferences();
   }
}

void Adapter::doNotification(AttributeId id, void const* key) {
   if (handle_ == nullptr || fenMarkedForDeletion()) {
      return;
   }
   if (id == zeroReferencesAttributeId) {
      onZeroReferences();
      return;
   }
   Ptr<GenericIfEntity> const held(handle_);
   // A listener may throw, or change the entity and be told again inside; the key lives no longer
   // than this call.
   PendingAttribute const pending(*held, id, key);
   held->handleNotification(nullptr);
}

void Adapter::fenDoZombieReactors(bool zombie) { NotifieeConst::fenDoZombieReactors(zombie); }

} // namespace Fen
