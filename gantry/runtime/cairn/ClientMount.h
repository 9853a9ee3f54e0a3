/// Private to the library. One mount of one manager over all its connections: what is asked for,
/// where it appears, how often it may still be retried. Owned by its group's work, and by its link
/// while it wants one; on the activity loop's thread.
#pragma once

#include <gantry/runtime/cairn/Session.h>
#include <gantry/runtime/fen/Dir.h>

namespace Cairn {

class Link;

class GANTRY_EXPORT ClientMount : public Channel {
 public:
   /// Told of each end of an attempt, from inside whatever caused it.
   class User {
    public:
      /// Success, when a full synchronisation has been applied, the first one and those after a
      /// lost connection alike; or a failure, after which the mount does nothing any more.
      virtual void handleMountEnded(ClientMount& mount, Ending const& ending) = 0;

    protected:
      ~User() = default;
   };

   struct Wish {
      MountRequest request;
      /// Where it appears: names from the root directory down.
      std::vector<Fen::Name> target;
      std::uint32_t retries = 0;
      /// Seconds; 0 and less stand for no limit.
      double timeout = 0.0;
   };

   ClientMount(Wish const& wish, User* user);

   /// Begins on a link. The mount that has ended is not begun again.
   void linkIs(Fen::Ptr<Link> const& link);
   /// Ends the mount: the peer is told, the local copy stays. The user is not told.
   void end();
   /// Takes the local copy out of the tree, if it is still the one that this mount made or adopted.
   void localCopyDel();

   /// Whether a mount that has begun and not ended stands at that place, of whatever manager.
   static bool targetInUse(Fen::String8 const& path);

   bool isEnded() const { return ended_; }
   bool isMounted() const { return mounted_; }
   Fen::String8 const& targetPath() const { return targetPath_; }

   // ---- for the link -----------------------------------------------------------------------

   /// The handshake is through: sends the request.
   void sessionIs(Session& session, std::uint32_t channel);
   void replyIs(MountReply const& reply);
   /// No connection came about. Fails when the retries are used up.
   void handleLost(Ending const& ending, bool fatal);

   void handleSynchronised(Fen::NboAttrLog::Demuxer& log) override;
   void handleRootGone(Fen::NboAttrLog::Demuxer& log) override;
   void handleChannelEnded(Ending const& ending, bool fatal) override;
   void handleLogClosing() override { rememberRoot(); }

 protected:
   ~ClientMount() override;

 private:
   class Timeout;

   void fail(Ending const& ending);
   void leave(Ending const& ending);
   void rememberRoot();
   void targetRelease();
   void armTimeout();
   void handleTimeout();
   Fen::Ptr<Fen::Dir> targetDirectory(Fen::String8& trouble) const;

   Wish const wish_;
   Fen::String8 const targetPath_;
   User* user_;
   Fen::Ptr<Link> link_;
   Fen::Ptr<Timeout> timeout_;
   std::uint32_t retriesLeft_;
   /// The local copy while no log stands for it.
   Fen::Ptr<Fen::Entity> root_;
   Fen::String8 lastTrouble_;
   bool targetTaken_ = false;
   bool mounted_ = false;
   bool ended_ = false;
};

} // namespace Cairn
