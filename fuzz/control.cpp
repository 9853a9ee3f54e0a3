// Fuzzes the request side of the control socket, without the socket: the input is what a client
// sends, in pieces, to a host with a small tree and a machine. Every request has one answer, every
// answer is one bounded line of JSON that says whether it is well, and what comes unasked is an
// event.

#include <fuzz/SessionTree.fen.h>

#include <hosts/control/ControlDialogue.h>

#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using Host::ControlDialogue;

/// What a host has: a tree that may be changed, one that may not, and a machine.
class SmallHost {
 public:
   SmallHost()
      : directory_(Fen::ptrCast<Fen::Dir>(Fen::root()->entityPtrIs(Fen::dirFactory("d")))),
        registry_(
           Fen::makePtr<Controller::MountsRegistry>(directory_, "d", Fen::root(), "", 0u, 0.0)),
        machine_(Controller::mountsRegistrySmFactory(
           registry_, ControllerRegistration::controllerStatusFactory("status"),
           Fen::dirFactory("mountStatus"), Controller::publishedMountsTableFactory("published"),
           Controller::registeredSwitchTableFactory(), Fen::dirFactory("clients"))) {
      directory_->entityPtrIs(Fen::makePtr<SessionTree::Tree>("tree"));
      directory_->entityPtrIs(Fen::makePtr<SessionTree::Tree>("fixed"));
      registry_->mountEntryIs("a/b", "d", "Fen::Dir", "r");
   }
   ~SmallHost() { Fen::entityDel(Fen::EntityUriPath("/d")); }
   SmallHost(SmallHost const&) = delete;
   SmallHost& operator=(SmallHost const&) = delete;

   Host::ControlPolicy policy() {
      return {[](std::string_view path) { return Host::isBelow(path, "/d/fixed"); }, nullptr,
              [this] {
                 return Host::MachinePlaces::Roots{{"registry", machine_}};
              }};
   }

 private:
   Fen::Ptr<Fen::Dir> directory_;
   Fen::Ptr<Controller::MountsRegistry> registry_;
   Fen::Ptr<Controller::MountsRegistrySm> machine_;
};

void require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

class Client : private ControlDialogue::User {
 public:
   explicit Client(Host::ControlCommands const& commands)
      : dialogue_(commands, static_cast<ControlDialogue::User*>(this)) {}

   void say(std::string_view bytes) {
      if (dialogue_.isLast() || dialogue_.isCutOff()) {
         return;
      }
      dialogue_.take(bytes);
      Fen::ActivityLoop::instance().runOnce(0.0);
      asked_ += static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
      hear();
      while (dialogue_.goOn()) {
         hear();
      }
      if (!dialogue_.isLast() && !dialogue_.isCutOff()) {
         require(answered_ == asked_);
      }
   }

 private:
   void handleUnsent() override {}

   void hear() {
      std::string const text = dialogue_.unsent();
      dialogue_.sentIs(text.size());
      require(text.empty() || text.back() == '\n');
      for (std::size_t begin = 0; begin < text.size();) {
         std::size_t const end = text.find('\n', begin);
         line(std::string_view(text).substr(begin, end - begin));
         begin = end + 1;
      }
   }
   void line(std::string_view line) {
      require(line.size() <= ControlDialogue::longestAnswer);
      Host::Json const json = Host::Json::parse(line, nullptr, false);
      require(json.is_object());
      if (json.contains("event")) {
         return;
      }
      ++answered_;
      require(json.contains("ok") && json["ok"].is_boolean());
      require(json["ok"] || (json["error"].is_string() && json["text"].is_string()));
   }

   std::size_t asked_ = 0;
   std::size_t answered_ = 0;
   ControlDialogue dialogue_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   if (size == 0) {
      return 0;
   }
   Fen::VirtualTime const time(1000.0);
   SmallHost host;
   Host::ControlCommands const commands(host.policy());
   Client client(commands);
   std::size_t const piece = data[0] == 'w' ? size : std::size_t{1} + data[0];
   std::string_view rest(reinterpret_cast<char const*>(data) + 1, size - 1);
   while (!rest.empty()) {
      client.say(rest.substr(0, piece));
      rest.remove_prefix(std::min(piece, rest.size()));
   }
   return 0;
}
