/// Serving and mounting for the benchmarks between processes, on the surface that every user of the
/// library has. Everything lives on the activity loop's thread of a forked process.
#pragma once

#include "Processes.h"

#include <bench/EndToEnd.fen.h>
#include <gantry/runtime/cairn/EntityManager.h>
#include <gantry/runtime/cairn/Server.h>
#include <gantry/runtime/fen/ActivityLoop.h>

#include <functional>

namespace Bench {

/// A peer's side: a gauge and a table of ports below the root of a server on a free port.
class Serving {
 public:
   /// Ends the process when it cannot serve. A table without rows is there, and empty.
   explicit Serving(std::uint32_t rows, char const* sysname = "bench");
   std::uint16_t port() const { return server_->port(); }
   std::uint32_t peers() const { return server_->peers(); }
   Fen::Ptr<Gauge> const& gauge() const { return gauge_; }
   Fen::Ptr<PortTable> const& table() const { return table_; }

 private:
   Fen::Ptr<Gauge> gauge_;
   Fen::Ptr<PortTable> table_;
   Fen::Ptr<Cairn::Server> server_;
};

/// What is mounted, and where from.
struct MountWish {
   std::uint16_t port = 0;
   /// Names the entity below the peer's root, and its copy.
   char const* entity = "gauge";
   char const* type = "Bench::Gauge";
   /// The copy stands in a directory with this name; managers with different ones use connections
   /// of their own.
   std::string client = "c0";
   bool ownConnection = true;
   char const* sysname = "bench";
};

/// One mount with its manager. Owned by whoever makes it.
class Mounting {
 public:
   explicit Mounting(MountWish const& wish);
   Mounting(Mounting&&) = default;
   Mounting& operator=(Mounting&&) = default;
   ~Mounting();
   bool isMounted() const { return completion_->isMounted; }
   /// The copy, null before it is mounted.
   template <class T>
   Fen::Ptr<T> copy() const {
      return Fen::ptrCast<T>(found());
   }

 private:
   /// Hears that the mount has ended; ends the process when it has failed.
   class Completion : public Cairn::Mounter {
    public:
      explicit Completion(Fen::Name name) : Cairn::Mounter(name) {}
      void doMountsComplete(Cairn::MountStatus status,
                            Fen::Ptr<Cairn::EntityManager> const& manager) override;
      bool isMounted = false;
   };
   Fen::Ptr<Fen::Entity> found() const;

   std::string client_;
   char const* entity_;
   Fen::Ptr<Cairn::EntityManager> manager_;
   Fen::Ptr<Completion> completion_;
};

/// Runs turns until it is so.
void runUntil(std::function<bool()> const& condition);
/// Waits until the other side has said where it serves.
std::uint16_t portOf(Board const& board);

} // namespace Bench
