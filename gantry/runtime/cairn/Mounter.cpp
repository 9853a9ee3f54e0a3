/// The bodies of the receiver of a completion.
#include <gantry/runtime/cairn/EntityManager.h>
#include <gantry/runtime/cairn/Mounter.h>
#include <gantry/runtime/fen/FenType.h>

namespace Cairn {

namespace {

constexpr Fen::ParameterDesc mounterParameters[] = {{"name", "Fen::Name"}};
constexpr Fen::TypeDesc mounterType = {
   "Cairn::Mounter", Fen::TypeKind::entity, &Fen::Entity::_fwkType, {}, mounterParameters, nullptr,
   nullptr};

} // namespace

Mounter::Mounter(Fen::Name name) : Fen::Entity(name) {}
Mounter::~Mounter() = default;

Fen::FenType* Mounter::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(mounterType);
   return type;
}
static Fen::TypeLoad const loadMounter(&Mounter::_fwkType);
Fen::FenType* Mounter::fwkType() const { return _fwkType(); }

void Mounter::doMountsComplete(MountStatus, Fen::Ptr<EntityManager> const&) {}

Mounter::NotifieeConst::NotifieeConst() = default;
Mounter::NotifieeConst::NotifieeConst(Fen::Ptr<Mounter const> const& notifier) {
   fenNotifierStore(notifier.ptr());
}
Mounter::NotifieeConst::~NotifieeConst() = default;
Fen::Ptr<Mounter const> Mounter::NotifieeConst::notifier() const {
   return Fen::Ptr<Mounter const>(static_cast<Mounter const*>(fenNotifier()));
}

Mounter::Notifiee::Notifiee() = default;
Mounter::Notifiee::Notifiee(Fen::Ptr<Mounter> const& notifier) : Mounter::NotifieeConst(notifier) {}
Mounter::Notifiee::~Notifiee() = default;
Fen::Ptr<Mounter> Mounter::Notifiee::notifier() const {
   return Fen::Ptr<Mounter>(const_cast<Mounter*>(static_cast<Mounter const*>(fenNotifier())));
}

} // namespace Cairn
