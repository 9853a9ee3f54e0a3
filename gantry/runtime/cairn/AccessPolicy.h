/// Who may mount what from a server. A server without a policy serves its whole tree to everybody;
/// one with a policy asks it about each mount, before it looks anything up, so that a refusal tells
/// nothing about what is there. Made by the host, owned by the server that uses it, on the activity
/// loop's thread.
#pragma once

#include <gantry/runtime/cairn/MountStatus.h>
#include <gantry/runtime/cairn/PeerPolicy.h>

namespace Cairn {

/// What a peer asks for.
struct AccessRequest {
   PeerIdentity peer;
   /// What it asks for, below the server's system name: components with one slash between, none of
   /// them empty, "." or "..".
   Fen::String8 path;
   /// The type that it expects there.
   Fen::String8 typeName;
};

/// The permission for one mount, held by that mount while it lives.
class GANTRY_EXPORT Permit : public Fen::PtrInterface {
 public:
   /// The mount. Not owned.
   class User {
    public:
      /// The mount must end. The permit may be dropped from inside.
      virtual void handleWithdrawn(Fen::String8 const& reason) = 0;

    protected:
      ~User() = default;
   };

   /// Whether the peer may write what it mounts, where the server lets anybody write.
   virtual bool isForWriting() const { return false; }
   void userIs(User* user) { user_ = user; }
   /// Takes the permission back; the mount ends before this returns. A second call does nothing.
   void withdraw(Fen::String8 const& reason);

 protected:
   Permit() = default;
   ~Permit() override;

 private:
   User* user_ = nullptr;
};

class GANTRY_EXPORT AccessPolicy : public Fen::PtrInterface {
 public:
   /// The permission, or null with a status and a reason, which both go to the peer.
   virtual Fen::Ptr<Permit> permit(AccessRequest const& request, MountStatus& refusal,
                                   Fen::String8& reason) = 0;

 protected:
   ~AccessPolicy() override;
};

} // namespace Cairn
