// Holds the access check of a server against a naive one: the input publishes paths to systems and
// then asks for paths as various peers, through whole sessions. Both must come to the same answer.
// Paths are made of a few components that are easily confused, empty ones and dots among them.
#include <gantry/access/PublishedAccess.h>
#include <gantry/runtime/cairn/ServerSession.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace Controller;

constexpr std::array components = {"",   ".", "..",        "a",      "ab",
                                   "a ", "A", "published", "system", "02:00:00:00:00:01"};
constexpr std::array types = {"Fen::Dir", "Controller::SystemPublishedMount", "Fen::Di"};
/// The peers: two systems, and nobody.
constexpr std::array names = {"02:00:00:00:00:01", "02:00:00:00:00:02", ""};

class Input {
 public:
   Input(std::uint8_t const* data, std::size_t size) : data_(data), size_(size) {}
   bool any() const { return at_ < size_; }
   std::size_t below(std::size_t bound) { return any() ? data_[at_++] % bound : 0; }
   std::string path(std::string result) {
      std::size_t const count = below(6);
      for (std::size_t i = 0; i < count; ++i) {
         result += i == 0 && result.empty() ? "" : "/";
         result += components[below(components.size())];
      }
      return result;
   }

 private:
   std::uint8_t const* data_;
   std::size_t size_;
   std::size_t at_ = 0;
};

/// Takes everybody for the system that it says it is.
class ByClaim : public PeerIdentifier {
 public:
   SystemId identified(Cairn::PeerIdentity const& peer) const override {
      return SystemId(peer.systemId.stringValue());
   }
};

struct Published {
   std::size_t system;
   std::string path;
   std::string type;
};

/// The answer to a request, told apart by how its reason begins.
enum class Answer { elsewhere, unknown, refused, anotherType, granted };

/// The same decision, made slowly from the list of what was published.
Answer naive(std::vector<Published> const& all, std::size_t peer, std::string const& path,
             std::string const& type) {
   std::vector<std::string> parts(1);
   for (char const c : path) {
      if (c == '/') {
         parts.emplace_back();
      } else {
         parts.back() += c;
      }
   }
   std::string canonical;
   bool first = true;
   for (std::string const& part : parts) {
      if (part == "." || part == "..") {
         return Answer::elsewhere;
      }
      if (part.empty()) {
         continue;
      }
      if (first && part != "a") {
         return Answer::elsewhere;
      }
      canonical += first || canonical.empty() ? "" : "/";
      canonical += first ? "" : part;
      first = false;
   }
   if (first) {
      return Answer::elsewhere;
   }
   if (peer >= 2) {
      return Answer::unknown;
   }
   bool const ownRecord = canonical == std::string("published/system/") + names[peer];
   std::optional<std::string> there;
   if (ownRecord) {
      there = types[1];
   } else {
      for (Published const& each : all) {
         if (each.system == peer && each.path == canonical) {
            there = each.type;
         }
      }
   }
   return !there ? Answer::refused : *there != type ? Answer::anotherType : Answer::granted;
}

class Served : public Cairn::ServerSession::User {
 public:
   explicit Served(Fen::Ptr<Cairn::AccessPolicy> const& policy) : policy_(policy) {}
   Fen::Name servedName() const override { return "a"; }
   Fen::Ptr<Fen::Dir> servedRoot() const override { return root_; }
   bool servedWritable() const override { return false; }
   Fen::Ptr<Cairn::AccessPolicy> servedPolicy() const override { return policy_; }
   void handleSessionClosed(Cairn::ServerSession&) override {}

 private:
   Fen::Ptr<Cairn::AccessPolicy> policy_;
   Fen::Ptr<Fen::Dir> root_ = Fen::dirFactory("served");
};

/// The reason in the last frame that the session has written. The tree is empty, so most requests
/// are answered with one.
std::string lastReason(Cairn::Session& session) {
   std::string const all(reinterpret_cast<char const*>(session.out().pending().data()),
                         session.out().pending().size());
   std::size_t begin = 0;
   for (std::size_t at = 0; at < all.size();) {
      begin = at;
      at += 4 + Fen::loadBig32(reinterpret_cast<std::uint8_t const*>(all.data()) + at);
   }
   return all.substr(begin);
}

Answer asked(Served& served, std::size_t peer, std::string const& path, std::string const& type) {
   Cairn::TcpConfig const config;
   auto const session = Fen::makePtr<Cairn::ServerSession>(config, "fuzzer", &served);
   auto const out = Fen::makePtr<Fen::Connection::Out>();
   Cairn::Hello hello;
   hello.systemId = SystemId(Fen::String8(names[peer]));
   Cairn::putHello(*out, hello);
   Cairn::putMountRequest(*out, 1, {Fen::String8(path), Fen::String8(type), "rw"});
   std::vector<std::uint8_t> bytes(out->pending().begin(), out->pending().end());
   session->take(bytes.data(), bytes.size());
   session->flush();
   // Only the root itself is there to be mounted, when somebody publishes the empty path.
   bool const isMounted = session->channels() != 0;
   std::string const reason = lastReason(*session);
   session->userDel();
   session->close({Cairn::mountStatusNone, "over"}, "local", false);
   auto const says = [&](char const* words) { return reason.find(words) != std::string::npos; };
   return says("this is system")           ? Answer::elsewhere
          : says("is not registered here") ? Answer::unknown
          : says("is not published")       ? Answer::refused
          : isMounted || says("there is nothing at") || says("what is there is a ")
             ? Answer::granted
          : says("is not a ") ? Answer::anotherType
                              : throw std::logic_error("an answer without a reason");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   Fen::VirtualTime const time(1000.0);
   Input input(data, size);
   Fen::Ptr<PublishedMountsTable> const table = publishedMountsTableFactory("published");
   std::vector<Published> all;
   for (std::size_t count = input.below(8); count > 0; --count) {
      std::size_t const system = input.below(2);
      Published const each{system, input.path(""), types[input.below(types.size())]};
      table->systemIs(SystemId(Fen::String8(names[system])))
         ->publishedMountIs(
            MountDesc(Fen::String8(each.path), "r", Fen::String8(each.type), "rt", "s"));
      all.push_back(each);
   }
   Served served(Fen::makePtr<PublishedAccess>(table, Fen::makePtr<ByClaim>(), "published"));
   while (input.any()) {
      std::size_t const peer = input.below(names.size());
      std::string const path = input.path(input.below(4) == 0 ? "" : "a");
      std::string const type = types[input.below(types.size())];
      if (asked(served, peer, path, type) != naive(all, peer, path, type)) {
         std::abort();
      }
   }
   return 0;
}
