// Operations, to whom they belong, and the end of a controller.

#include <hosts/gantry-controller/ConfigurationReader.h>
#include <hosts/gantry-controller/ControllerHost.h>

#include <gantry/access/PublishedAccess.h>
#include <gantry/runtime/cairn/TcpConfig.h>
#include <gantry/runtime/fen/ActivityLoop.h>

#include <algorithm>

namespace Host {

namespace {

/// So many intervals without a word, and a peer is gone. How often peers say something is theirs to
/// choose, so this side's own interval does not make it less patient than what they go by.
constexpr double silentHeartbeats = 3.0;
constexpr double shortestSilence = 15.0;
/// A machine may come to rest without an event: so often, in seconds, the end looks for itself.
constexpr double lookInterval = 0.1;

/// What a fresh controller has carried out: nothing, with what it cannot change later.
Configuration nothingYet(Configuration const& configuration) {
   Configuration result;
   result.system = configuration.system;
   result.timing = configuration.timing;
   return result;
}

} // namespace

void heartbeatIntervalIs(double seconds) {
   Cairn::tcpConfig().heartbeatInterval = seconds;
   Cairn::tcpConfig().silenceLimit = std::max(silentHeartbeats * seconds, shortestSilence);
}

ControllerHost::ControllerHost(Configuration const& configuration, bool accepts)
   : configuration_(nothingYet(configuration)), entities_(Fen::root(), configuration.timing),
     board_([this](Fen::Name path, Controller::SystemId system) {
        return entities_.failureReason(path, system);
     }),
     negotiation_(entities_.clients, board_),
     switches_(entities_, negotiation_, board_, configuration.timing, configuration.system.id,
               accepts),
     declarations_(entities_), publications_(entities_),
     initialMounts_(
        entities_.initialMachine(), [this] { return board_.knownSwitches(); }, board_) {
   board_.initialRowsAre([this] { return initialMounts_.rows(); });
   heartbeatIntervalIs(configuration.timing.heartbeatInterval);
   Cairn::tcpConfig().localName = Fen::String8(configuration.system.name);
   Cairn::tcpConfig().localSystemId = configuration.system.id;
   serve(configuration.system);
}

ControllerHost::~ControllerHost() = default;

void ControllerHost::serve(SystemConfiguration const& system) {
   if (!system.address) {
      return;
   }
   server_ =
      Cairn::serverFactory(Fen::Name(system.name), Fen::root(), *system.address, system.port);
   server_->peerPolicyIs(switches_.policy());
   server_->accessPolicyIs(Fen::makePtr<Controller::PublishedAccess>(
      entities_.publishedMounts,
      Fen::makePtr<Controller::RegisteredPeers>(entities_.controllerStatus),
      Fen::String8("published")));
   Cairn::tcpConfig().localServingPort = server_->port();
}

std::vector<std::pair<std::string, Fen::Ptr<Fen::PtrInterface>>> ControllerHost::machines() const {
   std::vector<std::pair<std::string, Fen::Ptr<Fen::PtrInterface>>> all = {
      {"registry", entities_.registryMachine()},
      {"services", entities_.serviceMachine()},
      {"initial", entities_.initialMachine()}};
   for (auto const& [name, machine] : switches_.machines()) {
      all.emplace_back("switches/" + name, machine);
   }
   return all;
}

std::size_t ControllerHost::configurationIs(Configuration const& configuration) {
   Differences const all = differences(configuration_, configuration);
   if (!all.fixedFields.empty()) {
      std::string fields;
      for (std::string const& each : all.fixedFields) {
         fields += (fields.empty() ? "" : ", ") + each;
      }
      throw ConfigurationError("cannot change while the controller runs: " + fields);
   }
   for (Operation const& each : all.operations) {
      apply(each);
   }
   configuration_ = configuration;
   initialMounts_.changed();
   return all.operations.size();
}

void ControllerHost::configurationRead(std::string const& file) {
   try {
      board_.configurationRead(configurationIs(configurationFromFile(file)), "");
   } catch (ConfigurationError const& error) {
      board_.configurationRead(0, error.what());
   }
}

void ControllerHost::apply(Operation const& operation) {
   switch (operation.kind) {
   case OperationKind::switchDel:
      switches_.switchDel(operation.owner);
      break;
   case OperationKind::switchIs:
      switches_.switchIs(operation.owner, operation.toSwitch);
      break;
   case OperationKind::serviceVersionsIs:
      negotiation_.versionsIs(operation.owner, operation.versions);
      break;
   case OperationKind::systemRevisit:
      negotiation_.revisit(Controller::SystemId(Fen::String8(operation.owner)));
      break;
   case OperationKind::heartbeatIntervalIs:
      entities_.heartbeat->intervalIs(operation.seconds);
      heartbeatIntervalIs(operation.seconds);
      break;
   case OperationKind::retryIntervalIs:
      switches_.retryIntervalIs(operation.seconds);
      break;
   case OperationKind::serviceIs:
      declarations_.apply(operation);
      publications_.apply(operation);
      board_.serviceIs(declarations_.status(operation.owner));
      initialMounts_.serviceIs(declarations_.status(operation.owner));
      break;
   default:
      declarations_.apply(operation);
      publications_.apply(operation);
   }
}

void ControllerHost::close(double seconds) {
   switches_.close();
   double const deadline = Fen::now() + seconds;
   Fen::ActivityLoop& loop = Fen::ActivityLoop::instance();
   while (!entities_.isUnmounted() && Fen::now() < deadline) {
      loop.runOnce(std::clamp(deadline - Fen::now(), 0.0, lookInterval));
   }
   // What the last unmounts have changed is shown at the end of a turn.
   loop.runOnce(0.0);
}

} // namespace Host
