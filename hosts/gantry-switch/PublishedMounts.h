/// What a controller publishes to this system, kept mounted: the record in which the controller
/// says what that is, and every path of it.
///
/// The connection that carries the mounts also makes this system known to the controller, whether
/// anything is published to it or not. A path appears below "/controllers/NAME/", under the path
/// that the controller gave it. While the controller is away all stays as it was last known. What
/// is no longer published goes. What becomes of each mount is told on standard output when it
/// changes.
///
/// Owned by the program; on the activity loop's thread.
#pragma once

#include <hosts/gantry-switch/Agent.h>
#include <hosts/support/SteadyMount.h>

#include <gantry/common/PublishedMountsTable.fen.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace Host {

class PublishedMounts final : private SteadyMount::User {
 public:
   /// `changed` is called when a path has come to be mounted, with its place in the tree of this
   /// system, and when it has gone.
   PublishedMounts(ControllerPlace const& place, Controller::SystemId self,
                   std::function<void()> changed);
   ~PublishedMounts();

   /// What is mounted under a path that the controller gave; null when nothing is.
   Fen::Ptr<Fen::Entity> published(std::string const& remotePath) const;
   /// All mounts by their places in the tree of this system, that of the record too.
   std::map<std::string, SteadyMount const*> mounts() const;

 private:
   class RecordReactor;

   void handleMountState(SteadyMount& mount) override;
   void handleRecordState();
   void handleRecord();
   /// Drops every path but these.
   void pathsKeep(std::set<std::string> const& wanted);
   void tell(std::string const& about, std::string const& what);
   void failed(std::string const& about, std::string const& what);
   std::unique_ptr<SteadyMount> mounted(std::string const& path, std::string const& type,
                                        std::string const& target);

   ControllerPlace const place_;
   Controller::SystemId const self_;
   std::string const below_;
   std::function<void()> const changed_;
   Fen::Ptr<Controller::ConnectionConfig> connection_;
   std::unique_ptr<SteadyMount> record_;
   Fen::Ptr<RecordReactor> recordReactor_;
   /// By the path in the controller's tree.
   std::map<std::string, std::unique_ptr<SteadyMount>> paths_;
   /// What was told last of each thing.
   std::map<std::string, std::string> told_;
   /// The last failures, which are told when they repeat.
   std::map<std::string, std::string> failed_;
};

} // namespace Host
