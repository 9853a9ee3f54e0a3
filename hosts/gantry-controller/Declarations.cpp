// Operations on services, filters, groups and mounts.

#include <hosts/gantry-controller/Declarations.h>
#include <hosts/gantry-controller/FilterOperations.h>

#include <gantry/runtime/fen/Assert.h>

#include <utility>

namespace Host {

namespace {

using Kind = OperationKind;

/// Seconds between two looks at paths that are on their way out.
constexpr double checkInterval = 0.1;

} // namespace

/// Hears when a mount of a retiring path changes its state.
class Declarations::EndWatch : public Controller::MountSmData::NotifieeConst {
 public:
   EndWatch(Fen::Ptr<Controller::MountSmData const> const& data, Declarations* owner)
      : NotifieeConst(data), owner_(owner) {
      isRegisteredNotifieeIs(true);
   }
   void onMountState() override {
      if (owner_ != nullptr) {
         owner_->checkLater();
      }
   }
   void ownerDel() {
      owner_ = nullptr;
      isRegisteredNotifieeIs(false);
   }

 private:
   Declarations* owner_;
};

/// Looks in a turn of its own, since a machine may be about to go when its state changes.
class Declarations::Checker : public Fen::Clock::Notifiee {
 public:
   explicit Checker(Declarations* owner)
      : Notifiee(Fen::ActivityLoop::instance().clock()), owner_(owner) {
      isRegisteredNotifieeIs(true);
   }
   void onTime() override {
      if (owner_ != nullptr) {
         owner_->check();
      }
   }
   void ownerDel() { owner_ = nullptr; }

 private:
   Declarations* owner_;
};

Declarations::Declarations(Entities& entities)
   : entities_(entities), checker_(Fen::makePtr<Checker>(this)) {}

Declarations::~Declarations() {
   checker_->ownerDel();
   for (auto& [path, retiring] : retiring_) {
      for (Fen::Ptr<EndWatch> const& each : retiring.watches) {
         each->ownerDel();
      }
   }
}

Fen::Ptr<Controller::ServiceMountStatus> Declarations::status(std::string const& service) const {
   return Fen::ptrCast<Controller::ServiceMountStatus>(
      entities_.mountStatusDir->entityPtr(Fen::Name(service)));
}

Controller::ServiceMountConfig& Declarations::service(Operation const& operation) const {
   auto const found = Fen::ptrCast<Controller::ServiceMountConfig>(
      entities_.mountConfigDir->entityPtr(Fen::Name(operation.owner)));
   FEN_ASSERT(found, "the service of an operation is there");
   return *found;
}

Controller::ServiceMountGroupConfig& Declarations::group(Operation const& operation) const {
   auto const found = service(operation).mountGroupConfig(Fen::Name(operation.group));
   FEN_ASSERT(found, "the group of an operation is there");
   return *found;
}

void Declarations::apply(Operation const& operation) {
   switch (operation.kind) {
   case Kind::serviceIs:
      serviceIs(operation.owner);
      break;
   case Kind::groupIs:
      service(operation).mountGroupConfigIs(Fen::Name(operation.group));
      break;
   case Kind::groupDel:
      service(operation).mountGroupConfigDel(Fen::Name(operation.group));
      break;
   case Kind::groupFiltersIs:
      groupFiltersApply(service(operation), group(operation), operation);
      break;
   case Kind::groupPreserveIs:
      group(operation).preserveMountsOnDisconnectIs(operation.flag);
      break;
   case Kind::mountDeclare:
      declare(operation);
      break;
   case Kind::mountWithdraw:
      withdraw(operation);
      break;
   case Kind::pathRetire:
      retire(operation.name);
      break;
   default:
      if (isOnFilter(operation.kind)) {
         filterApply(service(operation), operation);
      }
      break;
   }
}

void Declarations::serviceIs(std::string const& name) {
   Fen::Name const key(name);
   if (entities_.mountConfigDir->entityPtr(key)) {
      return; // one that was gone and has stayed
   }
   // The status first: whatever looks at the service finds both.
   entities_.mountStatusDir->entityPtrIs(Fen::makePtr<Controller::ServiceMountStatus>(key));
   entities_.mountConfigDir->entityPtrIs(Controller::serviceMountConfigFactory(key));
}

void Declarations::declare(Operation const& operation) {
   auto const leaving = retiring_.find(operation.name);
   if (leaving != retiring_.end()) {
      leaving->second.waiting.push_back(operation);
      return;
   }
   group(operation).mountConfigIs(Fen::Name(operation.name), Fen::String8(operation.mount.type),
                                  Fen::String8(operation.mount.flags),
                                  Fen::String8(operation.mount.target));
}

void Declarations::withdraw(Operation const& operation) {
   group(operation).mountConfigDel(Fen::Name(operation.name));
   auto const leaving = retiring_.find(operation.name);
   if (leaving != retiring_.end()) {
      // It may not have been declared yet.
      std::erase_if(leaving->second.waiting, [&](Operation const& each) {
         return each.owner == operation.owner && each.group == operation.group;
      });
   }
}

void Declarations::retire(std::string const& path) {
   if (entities_.mountsRegistry->mountEntry(Fen::Name(path))) {
      retiring_.try_emplace(path);
      checkLater();
   }
}

void Declarations::checkLater() { checker_->timeMinIs(0.0); }

/// Whether the path has left the registry; if not, its mounts are watched. Machines at rest go with
/// the path: one that was withdrawn before it began, too, leaves its machine behind.
bool Declarations::retired(std::string const& path, Retiring& retiring) {
   for (Fen::Ptr<EndWatch> const& each : retiring.watches) {
      each->ownerDel();
   }
   retiring.watches.clear();
   Fen::Name const key(path);
   if (auto const entry = entities_.registryMachine()->mountsRegistryEntrySm(key)) {
      for (auto at = entry->mountSmIterator(); at; ++at) {
         if (isUnmountedAtRest(*at)) {
            continue;
         }
         retiring.watches.push_back(Fen::makePtr<EndWatch>(at->mountSmData(), this));
      }
   }
   if (retiring.watches.empty()) {
      entities_.mountsRegistry->mountEntryDel(key);
   }
   return retiring.watches.empty();
}

void Declarations::check() {
   std::vector<Operation> ready;
   for (auto at = retiring_.begin(); at != retiring_.end();) {
      if (retired(at->first, at->second)) {
         ready.insert(ready.end(), at->second.waiting.begin(), at->second.waiting.end());
         at = retiring_.erase(at);
      } else {
         ++at;
      }
   }
   if (!retiring_.empty()) {
      // Mostly a change of state says when to look; but a machine may come to rest without one.
      checker_->timeMinIs(Fen::now() + checkInterval);
   }
   for (Operation const& each : ready) {
      declare(each);
   }
}

} // namespace Host
