/// Random declarations, filters, registrations and negotiations, from the services' entities to the
/// table of published mounts, against a naive model: after each event the registry, the table, the
/// parts of directories and the statuses are what the model says.
#include "../registry/RegistryFixture.h"
#include "PublishModel.h"

#include <gantry/service/ServiceConfigDirSm.fen.h>

#include <random>

namespace {

using namespace Controller;
using namespace ServiceTest;
using Fen::Ptr;
using RegistryTest::Host;

std::string const services_[] = {"red", "green", "blue"};
std::string const groups_[] = {"g", "h"};
std::string const paths_[] = {"p", "q", "r", "s"};
std::string const filters_[] = {"f", "e"};
constexpr unsigned switches_ = 4;

class PublishRandom : private Host {
 public:
   explicit PublishRandom(unsigned seed) : random_(seed) {
      for (std::string const& path : paths_) {
         rootDir->entityIs(path.c_str(), "Fen::Dir");
      }
      for (unsigned i = 1; i <= switches_; ++i) {
         configure(i);
         model_.systems.push_back(i);
      }
      create();
      configDir_ =
         serviceConfigDirSmFactory(Fen::dirFactory("m"), Fen::dirFactory("n"), publishConfigs_,
                                   publishStatuses_, publishedMountsTable, registry);
      for (std::string const& name : services_) {
         publishConfigs_->entityPtrIs(servicePublishConfigFactory(name.c_str()));
         publishStatuses_->entityPtrIs(ServicePublishStatus::ServicePublishStatusIs(name.c_str()));
      }
   }

   void run(unsigned events) {
      for (unsigned i = 0; i < events && !testing::Test::HasFailure(); ++i) {
         std::string const event = step();
         SCOPED_TRACE("event " + std::to_string(i) + ": " + event);
         check();
      }
   }

 private:
   template <std::size_t N>
   std::string const& one(std::string const (&of)[N]) {
      return of[number(N)];
   }
   unsigned number(std::size_t below) { return static_cast<unsigned>(random_() % below); }
   std::optional<bool> value() {
      unsigned const drawn = number(4);
      return drawn == 0 ? std::nullopt : std::optional<bool>(drawn != 1);
   }

   Ptr<ServicePublishConfig> service(std::string const& name) {
      return Fen::ptrCast<ServicePublishConfig>(publishConfigs_->entityPtr(name.c_str()));
   }
   Ptr<ServicePublishStatus> status(std::string const& name) {
      return Fen::ptrCast<ServicePublishStatus>(publishStatuses_->entityPtr(name.c_str()));
   }
   Ptr<ServicePublishGroupConfig> groupOf(PublishModel::GroupName const& name) {
      model_.groups[name];
      return service(name.first)->publishGroupConfigIs(name.second.c_str());
   }

   /// Does something, to the entities and to the model, and says what.
   std::string step() {
      unsigned const drawn = number(100);
      PublishModel::GroupName const name{one(services_), one(groups_)};
      if (drawn < 40) {
         return declaration(drawn, name, one(paths_));
      }
      if (drawn < 48) {
         model_.groupRemoved(name);
         service(name.first)->publishGroupConfigDel(name.second.c_str());
         return "group gone " + name.first + "/" + name.second;
      }
      if (drawn < 58) {
         return groupFilter(name);
      }
      if (drawn < 72) {
         return filterMember(name.first);
      }
      if (drawn < 98) {
         return connection(1 + number(switches_), name.first);
      }
      // The top machine of the registry anew: it finds everything there.
      machine = nullptr;
      create();
      model_.everythingDecided();
      return "registry's machine anew";
   }

   std::string declaration(unsigned drawn, PublishModel::GroupName const& name,
                           std::string const& path) {
      std::string const what = name.first + "/" + name.second + " " + path;
      char const* const key = path.c_str();
      auto const group = groupOf(name);
      if (drawn < 12) {
         std::string const remote = "of " + name.first;
         model_.singleAdded(name, path, remote);
         group->publishConfigIs(key, remote.c_str(), "Fen::Dir");
         return "single " + what;
      }
      if (drawn < 17) {
         model_.singleRemoved(name, path);
         group->publishConfigDel(key);
         return "no single " + what;
      }
      if (drawn < 27) {
         model_.directoryAdded(name, path);
         group->publishDirIs(key, "Fen::Dir");
         return "directory " + what;
      }
      if (drawn < 30) {
         model_.directoryRemoved(name, path);
         group->publishDirDel(key);
         return "no directory " + what;
      }
      auto const directory = group->publishDir(key);
      if (!directory) {
         return "nothing";
      }
      if (drawn < 35) {
         std::string const target = "t" + std::to_string(number(3));
         model_.directoryTargetIs(name, path, target);
         directory->remoteTargetPathIs(target.c_str());
         return "target " + what + " " + target;
      }
      bool const isReady = number(3) != 0;
      model_.directoryReadyIs(name, path, isReady);
      directory->readyToPublishIs(isReady);
      return (isReady ? "ready " : "not ready ") + what;
   }

   std::string groupFilter(PublishModel::GroupName const& name) {
      auto const group = groupOf(name);
      if (!model_.filtersMayChange(name)) {
         return "nothing";
      }
      bool const isSystems = number(2) == 0;
      std::string const filter = number(3) == 0 ? std::string() : one(filters_);
      auto const modelled = filter.empty()
                               ? PublishModel::FilterName()
                               : PublishModel::FilterName(std::pair(name.first, filter));
      model_.groupFilterIs(name, isSystems, modelled);
      auto const config = service(name.first);
      if (isSystems) {
         group->systemFilterIs(filter.empty() ? nullptr : config->systemFilterIs(filter.c_str()));
      } else {
         group->versionFilterIs(filter.empty() ? nullptr : config->versionFilterIs(filter.c_str()));
      }
      return "filter of " + name.first + "/" + name.second + " " + filter;
   }

   std::string filterMember(std::string const& name) {
      PublishModel::FilterName const filter(std::pair(name, one(filters_)));
      auto const held = value();
      if (number(2) == 0) {
         unsigned const system = 1 + number(switches_);
         model_.systemMemberIs(filter, system, held);
         auto const entity = service(name)->systemFilterIs(filter->second.c_str());
         held ? entity->includedSystemIs(text(system), *held)
              : (void)entity->includedSystemDel(text(system));
         return "system " + std::to_string(system) + " of " + name + " " + filter->second;
      }
      unsigned const version = 1 + number(2);
      model_.versionMemberIs(filter, version, held);
      auto const entity = service(name)->versionFilterIs(filter->second.c_str());
      held ? entity->includedServiceVersionIs(version, *held)
           : (void)entity->includedServiceVersionDel(version);
      return "version " + std::to_string(version) + " of " + name + " " + filter->second;
   }

   std::string connection(unsigned system, std::string const& name) {
      switch (number(6)) {
      case 0:
         model_.registeredIs(system, false);
         unregisterSwitch(system);
         return "unregister " + std::to_string(system);
      case 1:
         model_.clientGone(system);
         clientGone(system);
         return "client gone " + std::to_string(system);
      case 2:
      case 3: {
         unsigned const version = number(3);
         model_.versionIs(system, name, version);
         negotiate(system, name.c_str(), version);
         return "version of " + name + " on " + std::to_string(system) + " " +
                std::to_string(version);
      }
      default:
         model_.registeredIs(system, true);
         registerSwitch(system);
         return "register " + std::to_string(system);
      }
   }

   // ---- comparison
   // -------------------------------------------------------------------------------

   void check() {
      PublishModel::Published seen;
      std::set<std::pair<unsigned, std::string>> parts;
      for (unsigned system = 1; system <= switches_; ++system) {
         auto const record = publishedMountsTable->system(id(system));
         EXPECT_TRUE(!record || record->publishedMountCount() != 0) << "an empty record stayed";
         for (std::string const& path : paths_) {
            Fen::String8 const part = Fen::String8(path) + "/" + text(system);
            for (Fen::String8 const& local : {Fen::String8(path), part}) {
               auto const mount = record ? record->publishedMount(local) : MountDesc();
               if (!!mount) {
                  EXPECT_EQ(registry->publishEntry(path.c_str())->isPrefixPath(), local == part);
                  EXPECT_EQ(mount.mountFlags(), "rt");
                  seen[{system, path}] = {mount.remotePath().str(), mount.serviceName().str()};
               }
            }
            if (Fen::Entity::entity(Fen::EntityUriPath(part), rootDir)) {
               parts.insert({system, path});
            }
         }
      }
      EXPECT_EQ(seen, model_.published);
      EXPECT_EQ(parts, model_.parts);
      checkEntries();
      checkStatuses();
   }

   void checkEntries() {
      std::map<std::string, PublishModel::Entry> seen;
      for (auto i = registry->publishEntryIterator(); i; ++i) {
         auto const filterName = [&](auto const& filter) {
            return filter ? PublishModel::FilterName(std::pair(filter->parent()->name().str(),
                                                               filter->filterName().str()))
                          : PublishModel::FilterName();
         };
         seen[i.key().str()] = {
            i->serviceName().str(), i->remotePath().str(),         i->isPrefixPath(),
            i->readyToPublish(),    filterName(i->systemFilter()), filterName(i->versionFilter())};
         EXPECT_TRUE(machine->publishRegistryEntrySm(i.key()));
      }
      EXPECT_EQ(machine->publishRegistryEntrySmCount(), seen.size());
      EXPECT_TRUE(seen == model_.entries);
      // No memory hides in the model: presence follows from the rule alone.
      for (auto const& [path, entry] : model_.entries) {
         for (unsigned const system : model_.systems) {
            EXPECT_EQ(model_.published.count({system, path}) != 0,
                      entry.isReady && model_.qualifies(entry, system))
               << path << " " << system;
         }
      }
   }

   void checkStatuses() {
      for (std::string const& name : services_) {
         for (std::string const& group : groups_) {
            auto const found = model_.groups.find({name, group});
            auto const answer = status(name)->servicePublishGroupStatus(group.c_str());
            ASSERT_EQ(answer != nullptr, found != model_.groups.end());
            if (answer) {
               EXPECT_EQ(answer->publishState(), publishStateComplete);
               EXPECT_EQ(answer->publishStatusCount(), found->second.singles.size());
               for (std::string const& path : found->second.singles) {
                  ASSERT_TRUE(answer->publishStatus(path.c_str()));
                  EXPECT_EQ(answer->publishStatus(path.c_str())->publishState(),
                            publishStateComplete);
               }
            }
         }
      }
   }

   std::mt19937 random_;
   PublishModel model_;
   Ptr<Fen::Dir> publishConfigs_ = Fen::dirFactory("publishConfig");
   Ptr<Fen::Dir> publishStatuses_ = Fen::dirFactory("publishStatus");
   Ptr<ServiceConfigDirSm> configDir_;
};

class PublishSequence : public testing::TestWithParam<unsigned> {};

TEST_P(PublishSequence, EndsEachStepAsTheModelSays) { PublishRandom(GetParam()).run(400); }

INSTANTIATE_TEST_SUITE_P(Seeds, PublishSequence, testing::Range(1u, 41u));

} // namespace
