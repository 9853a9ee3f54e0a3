/// Two logs back to back in memory: what a source writes is given to a target and the other way
/// round, frame by frame, without sockets. For the tests of the attribute log.
#pragma once

#include <gantry/runtime/fen/NboAttrLogFlow.h>

#include <cstdint>
#include <string>
#include <vector>

namespace NboAttrLogTest {

using Bytes = std::vector<std::uint8_t>;

/// One frame as it went over the link.
struct Frame {
   Fen::NboAttrLog::FrameKind kind;
   std::uint32_t channel;
   Bytes payload;

   std::int32_t attribute() const;
   bool isMessageOf(std::int32_t id) const;
};

/// The bytes as two hex digits each, with blanks between.
std::string hex(Bytes const& bytes);
Bytes bytesOf(std::string const& hex);
Bytes pendingOf(Fen::Connection::Out& out);
std::vector<Frame> framesOf(Bytes const& bytes);

struct User final : Fen::NboAttrLog::Demuxer::User {
   void handleSynchronised(Fen::NboAttrLog::Demuxer&) override { ++synchronised; }
   void handleRootGone(Fen::NboAttrLog::Demuxer&) override { ++rootGone; }
   int synchronised = 0;
   int rootGone = 0;
};

/// A mount of one root between two directories of this process.
class Link {
 public:
   struct Settings {
      std::size_t sendCap = 1024 * 1024;
      bool writable = false;
      Fen::NboAttrLog::Limits limits = {};
   };

   Link();
   explicit Link(Settings const& settings);
   Link(Link const&) = delete;
   Link& operator=(Link const&) = delete;
   ~Link();

   /// Mounts `root` at `name` below `directory`; a fresh one of each is made when it is null.
   void mount(Fen::Ptr<Fen::Entity> const& root, Fen::Name name = "copy");
   /// Cuts the connection: both logs close, what was under way is lost. The copy stays.
   void cut();
   /// Moves everything both ways until nothing is left. Returns the number of frames.
   std::size_t settle();
   /// Moves at most so many frames from source to target, after a flush of `budget` bytes.
   std::size_t move(std::size_t frames, std::size_t budget = 1 << 20);
   std::size_t moveBack(std::size_t frames, std::size_t budget = 1 << 20);

   template <class T>
   Fen::Ptr<T> copy() const {
      return Fen::ptrCast<T>(directory->entityPtr(name_));
   }
   Fen::Ptr<Fen::Entity::FenNboAttrLogSa> sourceAdapter(Fen::Entity const& entity) const;
   Fen::Ptr<Fen::Entity::FenNboAttrLogSa> targetAdapter(Fen::Entity const& entity) const;

   Settings settings;
   Fen::Ptr<Fen::Dir> directory;
   User sourceUser;
   User targetUser;
   Fen::Ptr<Fen::Connection::Out> sourceBytes;
   Fen::Ptr<Fen::Connection::Out> targetBytes;
   Fen::Ptr<Fen::NboAttrLog::Demuxer> source;
   Fen::Ptr<Fen::NboAttrLog::Demuxer> target;
   /// Every frame that has been moved, in order, when it is wanted.
   bool keepsFrames = false;
   std::vector<Frame> toTarget;
   std::vector<Frame> toSource;

 private:
   std::size_t carry(Fen::Connection::Out& from, Fen::NboAttrLog::Demuxer& to, std::size_t frames,
                     std::vector<Frame>& kept);

   Fen::Name name_;
};

} // namespace NboAttrLogTest
