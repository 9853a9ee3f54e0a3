// Fuzzes whole sessions: arbitrary bytes as what a peer sends, to the serving and to the mounting
// side. The session must close with a reason or go on, keep within its limits and leave nothing
// behind. An input's first byte chooses: bit 0, the mounting side; bit 1, whether the handshake and
// the beginning of a mount come in front, so that the log is reached; bit 2, that the mount may
// write; bit 3, that the local tree changes meanwhile; bit 4, that the bytes come in small pieces.
#include <gantry/runtime/cairn/ClientMount.h>
#include <gantry/runtime/cairn/ClientSession.h>
#include <gantry/runtime/cairn/ServerSession.h>
#include <gantry/runtime/fen/ActivityLoop.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <fuzz/SessionTree.fen.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <vector>

namespace {

using namespace Cairn;
using SessionTree::Tree;

constexpr unsigned mountingSide = 1, opened = 2, writable = 4, changing = 8, inPieces = 16;
constexpr std::size_t sendLimit = 64 * 1024;

Fen::Ptr<Tree> treeNew(char const* name) {
   auto tree = Fen::makePtr<Tree>(name);
   tree->noteIs("a note");
   tree->leafIs("l1", "copper")->numberIs(7);
   tree->firstIs(tree->leafIs("l2", "fibre"));
   tree->belowIs("b1")->allowedIs("blue", true);
   tree->singleIs("s");
   tree->numberIs(5, 6);
   tree->peerIs(1, tree->leaf("l1"));
   return tree;
}

class Served : public ServerSession::User {
 public:
   Served() {
      root->entityPtrIs(tree);
      root->entityPtrIs(Fen::dirFactory("dir"));
   }
   Fen::Name servedName() const override { return "leaf1"; }
   Fen::Ptr<Fen::Dir> servedRoot() const override { return root; }
   bool servedWritable() const override { return mayWrite; }
   Fen::Ptr<Cairn::AccessPolicy> servedPolicy() const override { return nullptr; }
   void handleSessionClosed(ServerSession&) override {}

   bool mayWrite = false;
   Fen::Ptr<Fen::Dir> root = Fen::dirFactory("served");
   Fen::Ptr<Tree> tree = treeNew("tree");
};

class Mounting : public ClientMount::User {
 public:
   void handleMountEnded(ClientMount&, Ending const&) override {}
};

/// Gives the session bytes as a socket would, and takes away what it writes.
class Traffic {
 public:
   explicit Traffic(Session& session) : session_(session) {}

   void bytes(std::uint8_t const* data, std::size_t count) {
      if (session_.isClosed()) {
         return;
      }
      waiting_.insert(waiting_.end(), data, data + count);
      std::size_t const used = session_.take(waiting_.data(), waiting_.size());
      if (used > waiting_.size()) {
         std::abort();
      }
      waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(used));
      session_.flush();
      if (session_.out().pending().size() > sendLimit + 128 * 1024) {
         std::abort();
      }
      session_.out().sentIs(session_.out().pending().size());
   }
   /// What some writer of frames has written.
   void frames(Fen::Connection::Out& out) {
      std::vector<std::uint8_t> const copy(out.pending().begin(), out.pending().end());
      bytes(copy.data(), copy.size());
   }

 private:
   Session& session_;
   std::vector<std::uint8_t> waiting_;
};

/// The rest of the input, whole or in pieces of one to seven bytes.
void feed(Traffic& traffic, unsigned choice, std::uint8_t const* data, std::size_t size,
          Tree& tree) {
   std::size_t const piece = (choice & inPieces) != 0 ? 1 + size % 7 : size;
   std::uint32_t step = 0;
   for (std::size_t at = 0; at < size; at += piece) {
      traffic.bytes(data + at, std::min(piece, size - at));
      if ((choice & changing) != 0 && ++step < 64) {
         tree.countIs(step);
         if (step % 8 == 0) {
            tree.leafDel("l1");
         }
         if (step % 8 == 4) {
            tree.leafIs("l1", "copper");
         }
      }
   }
}

void serve(TcpConfig const& config, unsigned choice, std::uint8_t const* data, std::size_t size) {
   Served served;
   served.mayWrite = (choice & writable) != 0;
   auto const session = Fen::makePtr<ServerSession>(config, "fuzzer", &served);
   Traffic traffic(*session);
   if ((choice & opened) != 0) {
      auto const out = Fen::makePtr<Fen::Connection::Out>();
      putHello(*out, Hello());
      putMountRequest(*out, 1, {"leaf1/tree", "SessionTree::Tree", "rw"});
      traffic.frames(*out);
   }
   feed(traffic, choice, data, size, *served.tree);
   session->userDel();
   session->close({mountStatusNone, "over"}, "local", false);
}

void mount(TcpConfig const& config, unsigned choice, std::uint8_t const* data, std::size_t size) {
   Mounting user;
   ClientMount::Wish wish;
   wish.request = {"leaf1/tree", "SessionTree::Tree", "rw"};
   wish.target = {"mnt", "tree"};
   auto const asked = Fen::makePtr<ClientMount>(wish, &user);
   auto const session = Fen::makePtr<ClientSession>(config, "fuzzer", nullptr);
   Traffic traffic(*session);
   session->helloSend();
   auto const out = Fen::makePtr<Fen::Connection::Out>();
   if ((choice & opened) != 0) {
      putHelloReply(*out, HelloReply());
      traffic.frames(*out);
      session->mountIs(asked);
      out->sentIs(out->pending().size());
      putMountReply(*out, 1, {mountStatusSuccess, (choice & writable) != 0, Fen::String8()});
      traffic.frames(*out);
   } else {
      session->mountIs(asked);
   }
   auto const local = Fen::makePtr<Tree>("local");
   feed(traffic, choice, data, size, *local);
   asked->end();
   session->close({mountStatusNone, "over"}, "local", false);
   asked->localCopyDel();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   if (size == 0) {
      return 0;
   }
   Fen::VirtualTime time(1000.0);
   Tree::_fwkType();
   SessionTree::Leaf::_fwkType();
   Fen::Dir::_fwkType();
   TcpConfig config;
   config.limits.send = sendLimit;
   config.limits.tree = 256 * 1024;
   unsigned const choice = data[0];
   if ((choice & mountingSide) != 0) {
      mount(config, choice, data + 1, size - 1);
   } else {
      serve(config, choice, data + 1, size - 1);
   }
   Fen::root()->entityPtrDelAll();
   time.advance(0.0);
   return 0;
}
