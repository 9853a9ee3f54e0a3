/// Private to the library. One peer of a server: its handshake, and a mount for each of its
/// requests. Owned by the server; on the activity loop's thread.
#pragma once

#include <gantry/runtime/cairn/AccessPolicy.h>
#include <gantry/runtime/cairn/PeerPolicy.h>
#include <gantry/runtime/cairn/Session.h>
#include <gantry/runtime/fen/Dir.h>

namespace Cairn {

class GANTRY_EXPORT ServerSession : public Session {
 public:
   /// What a session needs of its server. Not owned; it drops the session when told.
   class User {
    public:
      virtual Fen::Name servedName() const = 0;
      virtual Fen::Ptr<Fen::Dir> servedRoot() const = 0;
      virtual bool servedWritable() const = 0;
      /// Null lets every peer mount everything.
      virtual Fen::Ptr<AccessPolicy> servedPolicy() const = 0;
      /// The peer has said who it is: empty to let it in, else the reason not to.
      virtual Fen::String8 handlePeer(ServerSession&) { return {}; }
      virtual void handleSessionClosed(ServerSession& session) = 0;

    protected:
      ~User() = default;
   };

   /// Without a socket: for tests, which call take() and read out().
   ServerSession(TcpConfig const& config, Fen::String8 peer, User* user);
   /// On an accepted connection.
   static Fen::Ptr<ServerSession> accepted(TcpConfig const& config, int descriptor, User* user);

   /// Who the peer is, complete once it has said hello.
   PeerIdentity const& identity() const { return identity_; }
   /// Whether the user has let it in.
   bool isAdmitted() const { return admitted_; }

   /// The user goes; it is not called any more.
   void userDel() { user_ = nullptr; }

 protected:
   ~ServerSession() override;

   void handleControl(Fen::NboAttrLog::FrameKind kind, std::uint32_t channel,
                      Fen::ByteConnection::In& in) override;
   void handleClosed(Ending const& ending, bool fatal) override;

 private:
   class Mount;

   void takeHelloFrame(Fen::ByteConnection::In& in);
   void takeRequest(std::uint32_t number, MountRequest const& request);
   /// The entity at a path that a peer sent, and the policy's permit for it when there is a policy;
   /// null with the reason.
   Fen::Ptr<Fen::Entity> served(MountRequest const& request, Fen::Ptr<Permit>& permit,
                                Ending& refusal) const;
   bool permitted(MountRequest const& request, std::string_view below, Fen::Ptr<Permit>& permit,
                  Ending& refusal) const;

   User* user_;
   PeerIdentity identity_;
   bool admitted_ = false;
};

} // namespace Cairn
