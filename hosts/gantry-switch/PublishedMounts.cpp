// Follows the record of what is published to this system with one mount for each path.

#include <hosts/gantry-switch/PublishedMounts.h>

#include <hosts/support/ValueText.h>

#include <gantry/runtime/fen/Dir.h>

#include <iostream>
#include <vector>

namespace Host {

namespace {

constexpr double retryInterval = 0.25;
/// Where a controller keeps the records; the record of a system is called by its id.
constexpr char const* recordsPath = "published/system/";

} // namespace

/// Hears of each description that comes, changes or goes.
class PublishedMounts::RecordReactor : public Controller::SystemPublishedMount::NotifieeConst {
 public:
   RecordReactor(Fen::Ptr<Controller::SystemPublishedMount const> const& record,
                 PublishedMounts* mounts)
      : NotifieeConst(record), mounts_(mounts) {
      isRegisteredNotifieeIs(true);
   }
   void onPublishedMount(Fen::String8) override { mounts_->handleRecord(); }

 private:
   PublishedMounts* mounts_;
};

PublishedMounts::PublishedMounts(ControllerPlace const& place, Controller::SystemId self,
                                 std::function<void()> changed)
   : place_(place), self_(self), below_("/controllers/" + place.name + "/"),
     changed_(std::move(changed)),
     connection_(Controller::connectionConfigFactory(Fen::Name(place.name))) {
   connection_->ipIs(place.endpoint.address);
   connection_->portIs(place.endpoint.port);
   connection_->sysnameIs(Fen::String8(place.name));
   record_ = mounted(recordsPath + std::string(self.stringValue().view()),
                     Controller::SystemPublishedMount::fenFullTypeName, below_ + "published");
}

PublishedMounts::~PublishedMounts() {
   if (recordReactor_) {
      recordReactor_->isRegisteredNotifieeIs(false);
   }
}

std::unique_ptr<SteadyMount> PublishedMounts::mounted(std::string const& path,
                                                      std::string const& type,
                                                      std::string const& target) {
   SteadyMount::Wish wish;
   wish.system = self_;
   wish.connection = connection_;
   wish.path = path;
   wish.type = type;
   wish.target = target;
   wish.retryInterval = retryInterval;
   return std::make_unique<SteadyMount>(wish, static_cast<SteadyMount::User*>(this));
}

Fen::Ptr<Fen::Entity> PublishedMounts::published(std::string const& remotePath) const {
   for (auto const& [path, mount] : paths_) {
      if (mount->wish().target == below_ + remotePath) {
         return mount->root();
      }
   }
   return nullptr;
}

std::map<std::string, SteadyMount const*> PublishedMounts::mounts() const {
   std::map<std::string, SteadyMount const*> all;
   all.emplace(record_->wish().target, record_.get());
   for (auto const& [path, mount] : paths_) {
      all.emplace(mount->wish().target, mount.get());
   }
   return all;
}

void PublishedMounts::handleMountState(SteadyMount& mount) {
   if (&mount == record_.get()) {
      handleRecordState();
   } else if (mount.state() == Controller::mountStateMounted) {
      tell(mount.wish().target, "mounted");
      changed_();
   } else if (mount.state() == Controller::mountStateFailed) {
      failed(mount.wish().target, "not mounted: " + plainText(mount.reason()));
   }
}

void PublishedMounts::handleRecordState() {
   bool const isMounted = record_->state() == Controller::mountStateMounted;
   if (!isMounted && record_->state() != Controller::mountStateFailed) {
      return;
   }
   // A system to which nothing is published has no record, and is known nevertheless.
   if (!isMounted && record_->status() != Cairn::mountStatusNoSuchPath) {
      failed(place_.name, "not known to " + place_.name + ": " + plainText(record_->reason()));
      return;
   }
   tell(place_.name, "known to " + place_.name);
   if (!isMounted) {
      // Nothing is published any more, and a copy of the record that says so may never come.
      pathsKeep({});
      return;
   }
   Fen::Ptr<Fen::Entity> const root = record_->root();
   Fen::Ptr<Controller::SystemPublishedMount const> const record(
      dynamic_cast<Controller::SystemPublishedMount const*>(root.ptr()));
   if (!record) {
      return;
   }
   if (!recordReactor_ || recordReactor_->notifier() != record) {
      recordReactor_ = Fen::makePtr<RecordReactor>(record, this);
   }
   handleRecord();
}

void PublishedMounts::handleRecord() {
   Fen::Ptr<Controller::SystemPublishedMount const> const record = recordReactor_->notifier();
   std::set<std::string> wanted;
   for (auto at = record->publishedMountIterator(); at; ++at) {
      Controller::MountDesc const description = at->value();
      std::string const path(description.controllerdbPath().view());
      // A path that a controller has not named yet has no place here.
      if (!description.remotePath()) {
         continue;
      }
      wanted.insert(path);
      std::string const target = below_ + std::string(description.remotePath().view());
      std::string const type(description.fenType().view());
      auto const found = paths_.find(path);
      if (found == paths_.end() || found->second->wish().target != target ||
          found->second->wish().type != type) {
         // The old one goes first: two mounts cannot stand in one place.
         paths_.erase(path);
         paths_[path] = mounted(path, type, target);
      }
   }
   pathsKeep(wanted);
}

void PublishedMounts::pathsKeep(std::set<std::string> const& wanted) {
   std::vector<std::string> gone;
   for (auto const& [path, mount] : paths_) {
      if (!wanted.contains(path)) {
         gone.push_back(path);
      }
   }
   for (std::string const& path : gone) {
      std::unique_ptr<SteadyMount> const mount = std::move(paths_.at(path));
      paths_.erase(path);
      tell(mount->wish().target, "no longer published");
      Fen::entityDel(Fen::EntityUriPath(mount->wish().target));
   }
   if (!gone.empty()) {
      changed_();
   }
}

/// It is asked for again and again; what does not change is told once.
void PublishedMounts::tell(std::string const& about, std::string const& what) {
   failed_.erase(about);
   if (std::string& last = told_[about]; last != what) {
      last = what;
      std::cout << (about == place_.name ? what : about + ": " + what) << std::endl;
   }
}

/// A single failure may be a matter of order: a system is refused until it has been registered.
void PublishedMounts::failed(std::string const& about, std::string const& what) {
   if (failed_[about] == what) {
      tell(about, what);
   }
   failed_[about] = what;
}

} // namespace Host
