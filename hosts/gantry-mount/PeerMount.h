/// One mount of one path from one peer, and the watch over what it brings.
///
/// Owned by the program; lives on the activity loop's thread.
#pragma once

#include <hosts/gantry-mount/Display.h>
#include <hosts/support/Program.h>
#include <hosts/support/SteadyMount.h>
#include <hosts/support/TreeWatch.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace Host {

/// What is mounted, and how long it is tried for.
struct MountWish {
   std::string path;
   std::string type;
   /// How often the mount client retries a connection by itself.
   std::uint32_t retries = 0;
   /// Seconds for one attempt.
   std::uint32_t timeout = 10;
   /// Seconds from a failure to the next attempt; none when there is to be none.
   std::optional<double> retryInterval;
};

class PeerMount final : private TreeListener, private SteadyMount::User {
 public:
   /// Asks for the mount at once. `number` tells the peers of one program apart, from 1. The
   /// display may be null and must live longer than this.
   PeerMount(std::string name, std::uint32_t number, Endpoint const& endpoint, MountWish wish,
             Display* display);
   ~PeerMount();
   PeerMount(PeerMount const&) = delete;
   PeerMount& operator=(PeerMount const&) = delete;

   std::string const& name() const { return name_; }
   Controller::MountState state() const { return mount_->state(); }
   bool isFinal() const { return mount_->isFinal(); }
   /// Why the mount failed, as the mount client tells it; empty when it did not.
   std::string reason() const { return mount_->reason(); }
   /// The mounted entity, null while there is none.
   Fen::Ptr<Fen::Entity> root() const;

 private:
   class RootReactor;

   void handleMountState(SteadyMount& mount) override;
   void handleRoot();

   void entityAdded(std::string const& path, Fen::Entity const& entity) override;
   void entityRemoved(std::string const& path) override;
   void valueChanged(std::string const& path, Fen::Entity const& entity,
                     Fen::AttrDesc const& attribute, void const* key) override;

   std::string const name_;
   Display* const display_;
   Fen::Ptr<RootReactor> rootReactor_;
   std::unique_ptr<SteadyMount> mount_;
   /// The entity that is watched, and the watch; none before the first full synchronisation.
   Fen::Ptr<Fen::Entity> watched_;
   std::unique_ptr<TreeWatch> watch_;
};

} // namespace Host
