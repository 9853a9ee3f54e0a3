/// Registration, activation and the zombie protocol of reactors; defaults of their operations.
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/Notifiee.h>

#include <utility>

namespace Fen {

PtrInterface::NotifieeConst::NotifieeConst(Kind kind) : isGenericNotifiee_(kind == Kind::generic) {
   fenNotificationActiveMarkIs(true);
}

PtrInterface::NotifieeConst::~NotifieeConst() { fenNotifierStore(nullptr); }

void PtrInterface::NotifieeConst::hasNotificationActiveIs(bool active) {
   if (active == hasNotificationActive()) {
      return;
   }
   if (active) {
      fenNotificationActiveMarkIs(true);
      if (registersWhenActive_) {
         registersWhenActive_ = false;
         isRegisteredNotifieeIs(true);
      }
   } else {
      bool const wasRegistered = isRegisteredNotifiee_;
      isRegisteredNotifieeIs(false);
      fenNotificationActiveMarkIs(false);
      registersWhenActive_ = wasRegistered;
   }
}

PtrInterface const* PtrInterface::NotifieeConst::fenReactor() const { return this; }
PtrInterface const* PtrInterface::NotifieeConst::fenRawReactor() const { return this; }
bool PtrInterface::NotifieeConst::isStreamAdapter() const { return false; }

void PtrInterface::NotifieeConst::isRegisteredNotifieeIs(bool registered) const {
   if (!hasNotificationActive()) {
      registersWhenActive_ = registered;
      return;
   }
   if (registered == isRegisteredNotifiee_ || notifier_ == nullptr) {
      return;
   }
   auto* self = const_cast<NotifieeConst*>(this);
   isRegisteredNotifiee_ = registered;
   if (registered) {
      weakUnregisteredIs(false);
      self->fenJoin();
   } else {
      self->fenLeave();
      weakUnregisteredIs(true);
   }
}

void PtrInterface::NotifieeConst::weakUnregisteredIs(bool listed) const {
   if (!isWeakReference_ || notifier_ == nullptr) {
      return;
   }
   auto* const self = const_cast<NotifieeConst*>(this);
   NotifieeConst** place = &notifier_->weakUnregistered_;
   if (listed) {
      self->next_ = std::exchange(*place, self);
      return;
   }
   while (*place != self) {
      place = &(*place)->next_;
   }
   *place = std::exchange(self->next_, nullptr);
}

void PtrInterface::NotifieeConst::fenJoin() { notifier_->notifiees_.newMember(this); }
void PtrInterface::NotifieeConst::fenLeave() { notifier_->notifiees_.memberDel(this); }

void PtrInterface::NotifieeConst::fen_bitSetIs(Fen_BitSet bits) { bits_ = bits; }
String8 PtrInterface::NotifieeConst::name() const { return String8(); }

void PtrInterface::NotifieeConst::notifierIs(Ptr<PtrInterface const> const& notifier) {
   auto const* const next = dynamic_cast<Notifier const*>(notifier.ptr());
   if (next != notifier_) {
      fenNotifierStore(next);
   }
}

void PtrInterface::NotifieeConst::handleNotification(ActivityConfig*) {}
void PtrInterface::NotifieeConst::handleDefault(ActivityConfig*, AttributeId, bool) {}
void PtrInterface::NotifieeConst::onAttribute(AttributeId) {}
void PtrInterface::NotifieeConst::onNotification() {}
void PtrInterface::NotifieeConst::onCollectionNotification(String8) {}

void PtrInterface::NotifieeConst::onNotificationException() { handleNotificationException(); }
void PtrInterface::NotifieeConst::onNotificationException(AttributeId id) {
   handleNotificationException(id);
}
void PtrInterface::NotifieeConst::handleNotificationException(AttributeId) {
   onNotificationException();
}
void PtrInterface::NotifieeConst::handleNotificationException() {
   static Counter& unhandled = Counters::counter("notification.unhandled_exceptions");
   unhandled.increment();
}

void PtrInterface::NotifieeConst::onZeroReferences() {}
ActivityConfig* PtrInterface::NotifieeConst::activityPtr() const { return nullptr; }
ActivityConfig* PtrInterface::NotifieeConst::fenFwkActivity() { return nullptr; }
ActivityConfig const* PtrInterface::NotifieeConst::fenFwkActivity() const { return nullptr; }
ActivitySm* PtrInterface::NotifieeConst::actsm() { return nullptr; }

void PtrInterface::NotifieeConst::fenDoZombieReactors(bool zombie) {
   if (fenMarkedForDeletion() == zombie) {
      return;
   }
   if (notifier_ != nullptr) {
      hasNotificationActiveIs(!zombie);
   }
   fenMarkedForDeletionIs(zombie);
}

void PtrInterface::NotifieeConst::doNotification(AttributeId id, void const*) {
   if (id == zeroReferencesAttributeId) {
      onZeroReferences();
   } else {
      onAttribute(id);
   }
}

Ptr<PtrInterface const> PtrInterface::NotifieeConst::notifier() const {
   return Ptr<PtrInterface const>(notifier_);
}

void PtrInterface::NotifieeConst::isWeakReferenceIs(bool weak) {
   if (weak == isWeakReference_) {
      return;
   }
   if (!weak) {
      if (!isRegisteredNotifiee_) {
         weakUnregisteredIs(false);
      }
      isWeakReference_ = false;
      if (notifier_ != nullptr) {
         notifier_->fenReferenceNew();
      }
      return;
   }
   isWeakReference_ = true;
   if (!isRegisteredNotifiee_) {
      weakUnregisteredIs(true);
   }
   if (notifier_ != nullptr) {
      notifier_->fenReferenceDel();
   }
}

void PtrInterface::NotifieeConst::fenNotifierStore(Notifier const* notifier) {
   if (isRegisteredNotifiee_) {
      isRegisteredNotifiee_ = false;
      fenLeave();
   } else {
      weakUnregisteredIs(false);
   }
   Notifier const* const old = notifier_;
   if (notifier != nullptr && !isWeakReference_) {
      notifier->fenReferenceNew();
   }
   notifier_ = notifier;
   weakUnregisteredIs(true);
   if (old != nullptr && !isWeakReference_) {
      old->fenReferenceDel();
   }
}

void PtrInterface::NotifieeConst::fenNotifierGone() {
   isRegisteredNotifiee_ = false;
   notifier_ = nullptr;
}

Notifier::Notifier() = default;

Notifier::~Notifier() {
   // Only weak reactors can be here still: the others would have kept this object alive.
   while (auto* each = notifiees_.head()) {
      notifiees_.memberDel(each);
      each->fenNotifierGone();
   }
   while (auto* const each = weakUnregistered_) {
      weakUnregistered_ = std::exchange(each->next_, nullptr);
      each->fenNotifierGone();
   }
}

void Notifier::zeroReferencesIs(bool zero) {
   PtrInterface::zeroReferencesIs(zero);
   fenNotify(zeroReferencesAttributeId, nullptr,
             [](PtrInterface::NotifieeConst& notifiee) { notifiee.onZeroReferences(); });
}

void Notifier::notifySpecial(PtrInterface::NotifieeConst** begin, PtrInterface::NotifieeConst** end,
                             AttributeId id, void const* key, TypedCall* typed, void const* call) {
   for (auto** at = begin; at != end; ++at) {
      PtrInterface::NotifieeConst& each = **at;
      if (at == begin || each.fenReferenceCount() != 1) {
         tell(each, id, [id, key, typed, call](PtrInterface::NotifieeConst& told) {
            if (told.isGenericNotifiee()) {
               told.doNotification(id, key);
            } else {
               typed(told, call);
            }
         });
      }
      each.fenReferenceDel();
   }
}

void tellOfException(PtrInterface::NotifieeConst& notifiee, AttributeId id) noexcept {
   try {
      notifiee.onNotificationException(id);
   } catch (...) {
      static Counter& lost = Counters::counter("notification.exceptions_from_exception_handlers");
      lost.increment();
   }
}

} // namespace Fen
