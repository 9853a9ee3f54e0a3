/// The activity's configuration as the process's only one of its type, and the keeping of such
/// entities.
#include <gantry/runtime/fen/ActivityManagerConfig.h>
#include <gantry/runtime/fen/FenType.h>

#include <vector>

namespace Fen {

namespace {

Ptr<Entity> newConfig(Name const& name) { return makePtr<ActivityManagerConfig>(name); }

constexpr TypeDesc description = {ActivityManagerConfig::fenFullTypeName,
                                  TypeKind::entity,
                                  &Entity::_fwkType,
                                  {},
                                  {},
                                  &newConfig,
                                  nullptr};

// Never destroyed: what is in it is there for as long as the process runs.
std::vector<Ptr<Entity>>& singletons() {
   static auto* const all = new std::vector<Ptr<Entity>>;
   return *all;
}

} // namespace

Ptr<Entity> Entity::singletonExists(FenType const* type) {
   for (Ptr<Entity> const& each : singletons()) {
      if (each->fwkType() == type) {
         return each;
      }
   }
   return nullptr;
}

Ptr<Entity> Entity::singletonIs(FenType const* type) {
   if (Ptr<Entity> present = singletonExists(type)) {
      return present;
   }
   Ptr<Entity> made = type->newEntity(type->name(), nullptr);
   if (made) {
      singletons().push_back(made);
   }
   return made;
}

ActivityManagerConfig::ActivityManagerConfig(Name name) : Entity(name) {}
ActivityManagerConfig::~ActivityManagerConfig() = default;

Ptr<ActivityManagerConfig> ActivityManagerConfig::instance() {
   Ptr<Entity> config = singletonExists(_fwkType());
   if (!config) {
      config = singletonIs(_fwkType());
   }
   return ValidPtr<ActivityManagerConfig>(
      Ptr<ActivityManagerConfig>(static_cast<ActivityManagerConfig*>(config.ptr())));
}

Ptr<Clock> ActivityManagerConfig::clock() const { return ActivityFacility::clock(); }

FenType* ActivityManagerConfig::_fwkType() {
   static FenType* const type = FenType::typeIs(description);
   return type;
}

FenType* ActivityManagerConfig::fwkType() const { return _fwkType(); }

} // namespace Fen
