// Command line and life of gantry-mount.

#include <hosts/gantry-mount/Display.h>
#include <hosts/gantry-mount/MountProgram.h>
#include <hosts/gantry-mount/PeerMount.h>

#include <hosts/linux/Types.h>
#include <hosts/support/Agent.fen.h>
#include <hosts/support/Program.h>

#include <gantry/runtime/cairn/TcpConfig.h>

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace Host {

namespace {

struct Options {
   std::vector<std::string> peers;
   MountWish wish;
   double retryInterval = 1.0;
   std::vector<std::string> columns;
   bool json = false;
   bool once = false;
   std::string systemId;
   TraceOptions traces;
};

struct Peer {
   std::string name;
   Endpoint endpoint;
};

using Mounts = std::vector<std::unique_ptr<PeerMount>>;

bool optionsRead(Options& options, int argc, char const* const* argv) {
   CLI::App app("Mounts a path from other systems and shows it live.", "gantry-mount");
   app.add_option("--peer", options.peers,
                  "A system as NAME=ADDRESS:PORT; may be given several times")
      ->required()
      ->allow_extra_args(false);
   app.add_option("--path", options.wish.path, "Path below the system, such as linux/interface")
      ->required();
   app.add_option("--type", options.wish.type,
                  "Type of the entity at the path, such as Linux::InterfaceDir")
      ->required();
   app.add_option("--columns", options.columns, "Show only these attributes in tables")
      ->delimiter(',');
   app.add_flag("--json", options.json, "One line of JSON for each change");
   app.add_flag("--once", options.once,
                "Show what is there after the first synchronisation and end");
   app.add_option("--timeout", options.wish.timeout, "Seconds that one attempt to mount may take")
      ->capture_default_str();
   app.add_option("--retries", options.wish.retries,
                  "How often an attempt tries a lost connection again")
      ->capture_default_str();
   app.add_option("--retry-interval", options.retryInterval,
                  "Seconds from a failed attempt to the next one")
      ->capture_default_str();
   app.add_option(
      "--system-id", options.systemId,
      "Say that this is that system: a controller shows to each what is published to it");
   options.traces.addTo(app);
   return parse(app, argc, argv);
}

std::vector<Peer> peersOf(Options const& options) {
   std::vector<Peer> peers;
   std::set<std::string> names;
   for (std::string const& text : options.peers) {
      std::size_t const equals = text.find('=');
      if (equals == std::string::npos) {
         throw UserError("--peer: '" + text +
                         "' is no peer; give NAME=ADDRESS:PORT, such as leaf1=127.0.0.1:9001");
      }
      std::string const name = text.substr(0, equals);
      requireSysname("--peer", name);
      if (!names.insert(name).second) {
         throw UserError("--peer: '" + name + "' is given twice; give each system once");
      }
      peers.push_back({name, endpointOf("--peer", text.substr(equals + 1), false)});
   }
   return peers;
}

void requireSensible(Options const& options) {
   if (!options.systemId.empty() &&
       Controller::SystemId(Fen::String8(options.systemId)) == Controller::SystemId()) {
      throw UserError("--system-id: '" + options.systemId +
                      "' is no system id; give six pairs of hexadecimal digits with colons "
                      "between, not all zero");
   }
   if (options.wish.path.find_first_not_of('/') == std::string::npos) {
      throw UserError("--path: give the path of an entity, such as linux/interface");
   }
   Fen::FenType const* const type = Fen::FenType::type(options.wish.type);
   if (type == nullptr || type->kind() != Fen::TypeKind::entity) {
      throw UserError("--type: this program knows no entities of type '" + options.wish.type +
                      "'; those of hosts are Linux::InterfaceDir, Linux::RouteDir, "
                      "Linux::NeighbourDir, Linux::Host and Fen::Dir");
   }
   if (options.wish.timeout == 0) {
      throw UserError("--timeout: give a number of seconds from 1");
   }
   if (!(options.retryInterval >= 0.01 && options.retryInterval <= 86400.0)) {
      throw UserError("--retry-interval: give a number of seconds from 0.01 to 86400");
   }
}

std::vector<PeerView> viewsOf(Mounts const& mounts) {
   std::vector<PeerView> views;
   for (auto const& mount : mounts) {
      bool const isMounted = mount->state() == Controller::mountStateMounted;
      // What a peer that is gone left behind is not shown as if it were live.
      views.push_back({mount->name(), std::string(Controller::stringValue(mount->state()).view()),
                       mount->reason(), isMounted ? mount->root() : Fen::Ptr<Fen::Entity>()});
   }
   return views;
}

Mounts mountsMade(std::vector<Peer> const& peers, MountWish const& wish, Display* display) {
   Mounts mounts;
   for (Peer const& peer : peers) {
      auto const number = static_cast<std::uint32_t>(mounts.size() + 1);
      mounts.push_back(
         std::make_unique<PeerMount>(peer.name, number, peer.endpoint, wish, display));
   }
   return mounts;
}

/// Shows everything below an entity, once.
class Report : public TreeListener {
 public:
   Report(Display& display, std::string peer) : display_(display), peer_(std::move(peer)) {}
   void entityAdded(std::string const& path, Fen::Entity const& entity) override {
      display_.entityAdded(peer_, path, entity);
   }
   void entityRemoved(std::string const&) override {}
   void valueChanged(std::string const&, Fen::Entity const&, Fen::AttrDesc const&,
                     void const*) override {}

 private:
   Display& display_;
   std::string const peer_;
};

int runOnce(Options const& options, std::vector<Peer> const& peers, StopSignals const& signals) {
   Mounts const mounts = mountsMade(peers, options.wish, nullptr);
   Fen::ActivityLoop& loop = Fen::ActivityLoop::instance();
   while (!signals.isStopped() && !std::all_of(mounts.begin(), mounts.end(),
                                               [](auto const& each) { return each->isFinal(); })) {
      loop.runOnce(options.wish.timeout);
   }
   int status = 0;
   std::unique_ptr<Display> const json = options.json ? jsonDisplay() : nullptr;
   for (auto const& mount : mounts) {
      if (mount->state() != Controller::mountStateMounted) {
         std::string const reason = signals.isStopped() ? "interrupted" : mount->reason();
         std::cerr << "gantry-mount: " << mount->name() << ": mount of " << options.wish.path
                   << " failed: " << reason << std::endl;
         status = 1;
      } else if (json) {
         Report report(*json, mount->name());
         TreeWatch const watch(mount->root(), report);
         loop.runOnce(0);
      }
   }
   if (!json) {
      std::cout << tables(viewsOf(mounts), options.columns, 0) << std::flush;
   }
   return status;
}

int runLive(Options const& options, std::vector<Peer> const& peers) {
   Mounts mounts;
   std::unique_ptr<Display> display;
   if (options.json) {
      display = jsonDisplay();
   } else if (isatty(STDOUT_FILENO) != 0) {
      std::cout << "\033[2J";
      display = tableDisplay([&mounts] { return viewsOf(mounts); }, options.columns);
   } else {
      display = lineDisplay();
   }
   mounts = mountsMade(peers, options.wish, display.get());
   Fen::ActivityLoop::instance().run();
   mounts.clear();
   return 0;
}

} // namespace

int mountRun(int argc, char const* const* argv) {
   Linux::typesRegister();
   Agent::Announcement::_fwkType();
   Options options;
   if (!optionsRead(options, argc, argv)) {
      return 0;
   }
   std::vector<Peer> const peers = peersOf(options);
   requireSensible(options);
   Cairn::tcpConfig().localSystemId = Controller::SystemId(Fen::String8(options.systemId));
   options.traces.apply();
   StopSignals signals;
   if (options.once) {
      return runOnce(options, peers, signals);
   }
   options.wish.retryInterval = options.retryInterval;
   return runLive(options, peers);
}

} // namespace Host
