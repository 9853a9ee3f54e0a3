/// Private to the library. The way to one peer: a session while there is one, the waits between
/// attempts, and the mounts of all managers that go there. Owned by the backend, kept by its
/// mounts; on the activity loop's thread.
#pragma once

#include <gantry/runtime/cairn/Later.h>
#include <gantry/runtime/cairn/Session.h>

#include <compare>
#include <functional>
#include <random>

namespace Cairn {

class ClientMount;
class ClientSession;

/// What tells links apart.
struct LinkKey {
   Nimet::IpAddr address;
   std::uint16_t port = 0;
   Fen::String8 sockname;
   Nimet::IpAddr source;

   auto operator<=>(LinkKey const&) const = default;
   bool operator==(LinkKey const&) const = default;
};

class Link : public Fen::PtrInterface {
 public:
   /// The owner.
   class User {
    public:
      /// Nothing has gone over the link for its linger time.
      virtual void handleLinkIdle(Link& link) = 0;
      /// A random number from 0 to 1 for the next wait.
      virtual double waitFraction() = 0;

    protected:
      ~User() = default;
   };

   Link(LinkKey const& key, TcpConfig const& config, User* user);

   LinkKey const& key() const { return key_; }
   TcpConfig const& config() const { return config_; }

   /// A mount joins: on a connection that is up at once, else with the next attempt.
   void mountIs(Fen::Ptr<ClientMount> const& mount);
   void mountDel(ClientMount& mount);
   /// A mount has been synchronised: the next wait is a short one again.
   void handleProgress() { attempts_ = 0; }
   /// The owner goes.
   void userDel();

   // ---- for the session --------------------------------------------------------------------

   void handleEstablished();
   void handleSessionClosed(Ending const& ending, bool fatal);

 protected:
   ~Link() override;

 private:
   class Timer;

   void attempt();
   void attemptLater();
   void handleTime();
   bool isUp() const;

   LinkKey const key_;
   TcpConfig const config_;
   User* user_;
   Fen::Ptr<ClientSession> session_;
   Fen::Ptr<Timer> timer_;
   Fen::Ptr<Later> later_;
   std::vector<Fen::Ptr<ClientMount>> mounts_;
   unsigned attempts_ = 0;
};

} // namespace Cairn
