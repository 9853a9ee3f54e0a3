/// One mount of one path from one peer, driven through a MountSm, and the watch over what it
/// brings.
///
/// Owned by the program; lives on the activity loop's thread.
#pragma once

#include <hosts/gantry-mount/Display.h>
#include <hosts/gantry-mount/TreeWatch.h>
#include <hosts/support/Program.h>

#include <gantry/common/ConnectionConfig.fen.h>
#include <gantry/mount/MountSm.fen.h>

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

class PeerMount final : private TreeListener {
 public:
   /// Asks for the mount at once. `number` tells the peers of one program apart, from 1. The
   /// display may be null and must live longer than this.
   PeerMount(std::string name, std::uint32_t number, Endpoint const& endpoint, MountWish wish,
             Display* display);
   ~PeerMount();
   PeerMount(PeerMount const&) = delete;
   PeerMount& operator=(PeerMount const&) = delete;

   std::string const& name() const { return name_; }
   Controller::MountState state() const { return data_->mountState(); }
   bool isFinal() const {
      return state() == Controller::mountStateMounted || state() == Controller::mountStateFailed;
   }
   /// Why the mount failed, as the mount client tells it; empty when it did not.
   std::string reason() const;
   /// The mounted entity, null while there is none.
   Fen::Ptr<Fen::Entity> root() const;

 private:
   class StateReactor;
   class RetryTimer;
   class RootReactor;

   void handleState();
   void handleRetry();
   void handleRoot();

   void entityAdded(std::string const& path, Fen::Entity const& entity) override;
   void entityRemoved(std::string const& path) override;
   void valueChanged(std::string const& path, Fen::Entity const& entity,
                     Fen::AttrDesc const& attribute, void const* key) override;

   std::string const name_;
   MountWish const wish_;
   Display* const display_;
   Fen::Ptr<Controller::ConnectionConfig> config_;
   Fen::Ptr<Controller::MountSmData> data_;
   Fen::Ptr<StateReactor> stateReactor_;
   Fen::Ptr<RetryTimer> retryTimer_;
   Fen::Ptr<RootReactor> rootReactor_;
   Fen::Ptr<Controller::MountSm> machine_;
   /// The entity that is watched, and the watch; none before the first full synchronisation.
   Fen::Ptr<Fen::Entity> watched_;
   std::unique_ptr<TreeWatch> watch_;
};

} // namespace Host
