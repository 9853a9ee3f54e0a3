/// Groups, their completion, and unmounts.
#include <gantry/runtime/cairn/CairnTrace.h>
#include <gantry/runtime/cairn/Link.h>
#include <gantry/runtime/cairn/ManagerWork.h>
#include <gantry/runtime/fen/FenType.h>

#include <string>

namespace Cairn {

namespace {

/// The names of a path, empty components left out.
std::vector<Fen::Name> namesOf(std::string_view path) {
   std::vector<Fen::Name> names;
   while (!path.empty()) {
      std::size_t const slash = std::min(path.find('/'), path.size());
      if (slash != 0) {
         names.emplace_back(path.substr(0, slash));
      }
      path.remove_prefix(std::min(slash + 1, path.size()));
   }
   return names;
}

bool isTooLong(Fen::String8 const& text) { return text.length() > controlTextLimit; }

} // namespace

ManagerWork::ManagerWork(EntityManager* manager, User* user) : manager_(manager), user_(user) {}
ManagerWork::~ManagerWork() = default;

Ending ManagerWork::wishOf(Mount const& mount, ClientMount::Wish& wish) const {
   InitArguments const& arguments = manager_->initArguments();
   Fen::String8 const below = mount.path() ? Fen::String8("/") + mount.path() : Fen::String8();
   wish.request = {arguments.remotePath + below, mount.typeName(), mount.flags()};
   wish.target = namesOf((arguments.targetPath + below).view());
   wish.retries = manager_->reconnectRetries();
   wish.timeout = arguments.mountTimeout;
   if (Nimet::IpAddr(arguments.host).isZero() || arguments.port == 0) {
      return {mountStatusBadArguments, Fen::String8("no peer can be reached at ") +
                                          Fen::valueToStrep(arguments.host) +
                                          Fen::format(" port %u", arguments.port)};
   }
   if (isTooLong(wish.request.path) || isTooLong(wish.request.flags)) {
      return {mountStatusBadArguments,
              Fen::format("a path or flags of more than %zu bytes", controlTextLimit)};
   }
   if (Fen::FenType::type(mount.typeName().view()) == nullptr) {
      return {mountStatusBadArguments,
              Fen::String8("this program knows no type ") + Fen::valueToStrep(mount.typeName())};
   }
   if (wish.target.empty()) {
      return {mountStatusTargetUnusable, "the mount has no place: the target path is empty"};
   }
   return {mountStatusSuccess, Fen::String8()};
}

void ManagerWork::groupIs(Fen::Ptr<MountGroup> const& group) {
   auto& added = *groups_.emplace_back(std::make_unique<Group>());
   added.group = group;
   if (group->mount().empty()) {
      tellLater(added, {mountStatusSuccess, Fen::String8()});
      return;
   }
   for (Mount const& mount : group->mount()) {
      ClientMount::Wish wish;
      Ending ending = wishOf(mount, wish);
      auto const made = Fen::makePtr<ClientMount>(wish, this);
      if (ending.status == mountStatusSuccess && ClientMount::targetInUse(made->targetPath())) {
         ending = {mountStatusTargetUnusable,
                   made->targetPath() + " is the place of another mount already"};
      }
      if (ending.status != mountStatusSuccess) {
         tellLater(added, ending);
         return;
      }
      added.mounts.push_back(made);
      made->linkIs(user_->linkTo(*manager_));
   }
}

void ManagerWork::handleMountEnded(ClientMount& mount, Ending const& ending) {
   for (std::unique_ptr<Group> const& group : groups_) {
      bool holds = false;
      std::size_t mounted = 0;
      for (Fen::Ptr<ClientMount> const& each : group->mounts) {
         holds = holds || each == &mount;
         mounted += each->isMounted() ? 1 : 0;
      }
      if (!holds) {
         continue;
      }
      if (ending.status != mountStatusSuccess) {
         tellLater(*group, ending);
      } else if (!group->told && mounted == group->group->mount().size()) {
         group->told = true;
         tellLater(*group, ending);
      }
      return;
   }
}

/// The mounter is told in the next turn: what ends a mount may be its own call, or a reactor deep
/// inside another's change.
void ManagerWork::tellLater(Group& group, Ending const& ending) {
   Fen::Ptr<ManagerWork> const self(this);
   Fen::Ptr<MountGroup> const told = group.group;
   user_->later().workIs([self, told, ending, unmounts = unmounts_] {
      if (self->manager_ == nullptr || self->unmounts_ != unmounts || !told->mounter()) {
         return;
      }
      Fen::Ptr<EntityManager> const manager(self->manager_);
      Fen::Ptr<Mounter> const mounter = told->mounter();
      manager->statusIs(ending.status);
      manager->reasonIs(ending.reason);
      mounter->doMountsComplete(ending.status, manager);
   });
}

void ManagerWork::mountsEnd() {
   for (std::unique_ptr<Group> const& group : groups_) {
      for (Fen::Ptr<ClientMount> const& mount : group->mounts) {
         mount->end();
      }
   }
}

void ManagerWork::localCopiesDel() {
   copiesToGo_ = false;
   std::vector<Fen::Ptr<ClientMount>> all;
   for (std::unique_ptr<Group> const& group : groups_) {
      all.insert(all.end(), group->mounts.begin(), group->mounts.end());
   }
   for (Fen::Ptr<ClientMount> const& mount : all) {
      mount->localCopyDel();
   }
}

void ManagerWork::unregisterAll(bool statePreserving) {
   Fen::Ptr<ManagerWork> const self(this);
   mountsEnd();
   ++unmounts_;
   copiesToGo_ = copiesToGo_ || !statePreserving;
   if (!unmounter_) {
      unmounter_ = remoteUnmounterFactory("unmounter");
   }
   // A second unmount reports anew.
   unmounter_->unmountsCompleteIs(false);
   unmounter_->statePreservingIs(statePreserving);
   manager_->unmounterIs(unmounter_);
   user_->later().workIs([self, unmounts = unmounts_] {
      if (self->unmounts_ == unmounts) {
         self->unmountDone();
      }
   });
}

void ManagerWork::unmountDone() {
   if (copiesToGo_) {
      localCopiesDel();
   }
   // A reactor on the tree that went may have dropped the manager.
   if (manager_ != nullptr && unmounter_) {
      Fen::Ptr<EntityManager> const manager(manager_);
      Fen::Ptr<RemoteUnmounter> const unmounter = unmounter_;
      unmounter->unmountsCompleteIs(true);
   }
}

void ManagerWork::managerDel() {
   Fen::Ptr<ManagerWork> const self(this);
   manager_ = nullptr;
   mountsEnd();
   if (copiesToGo_) {
      // Not here: the manager may be going from inside a reactor on the very tree.
      user_->later().workIs([self] { self->localCopiesDel(); });
   }
}

} // namespace Cairn
