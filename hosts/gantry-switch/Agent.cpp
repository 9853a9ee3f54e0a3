// Offers, identity, and the way to the controller.

#include <hosts/gantry-switch/Agent.h>

#include <hosts/support/ValueText.h>

#include <algorithm>
#include <fstream>
#include <iostream>

namespace Host {

namespace {

constexpr std::size_t longestServiceName = 1000;
constexpr char const* defaultControllerPort = ":9000";
constexpr double controllerRetryInterval = 1.0;

} // namespace

void offerAdd(OfferedServices& offers, std::string const& option, std::string const& text) {
   std::size_t const equals = text.find('=');
   std::string const name = text.substr(0, equals);
   if (equals == std::string::npos || name.empty() || name.size() > longestServiceName) {
      throw UserError(option + ": '" + text +
                      "' is no offer; give NAME=VERSIONS, such as "
                      "fabric=1-3,5");
   }
   auto const versions = Versions::fromText(text.substr(equals + 1));
   if (!versions) {
      throw UserError(option + ": '" + text.substr(equals + 1) +
                      "' names no versions; give such as 1-3,5");
   }
   if (!offers.emplace(name, *versions).second) {
      throw UserError(option + ": '" + name + "' is given twice; give each service once");
   }
}

OfferedServices offersOfFile(std::string const& file) {
   std::ifstream in(file);
   if (!in) {
      throw UserError("--services-file: " + file + " cannot be read");
   }
   OfferedServices offers;
   std::string line;
   for (unsigned number = 1; std::getline(in, line); ++number) {
      if (line.find_first_not_of(" \t\r") != std::string::npos && line[0] != '#') {
         offerAdd(offers, file + ":" + std::to_string(number), line);
      }
   }
   return offers;
}

ControllerPlace controllerOf(std::string const& option, std::string const& text) {
   ControllerPlace place;
   std::size_t const equals = text.find('=');
   std::string where = text;
   if (equals != std::string::npos) {
      place.name = text.substr(0, equals);
      requireSysname(option, place.name);
      where = text.substr(equals + 1);
   }
   if (where.find(':') == std::string::npos) {
      where += defaultControllerPort;
   }
   place.endpoint = endpointOf(option, where, false);
   return place;
}

Controller::SystemId firstInterfaceId(Linux::InterfaceDir const& interfaces) {
   Controller::SystemId first;
   std::uint32_t lowest = 0;
   for (auto at = interfaces.interfaceIterator(); at; ++at) {
      Controller::SystemId const id(at->hardwareAddress());
      if (id != Controller::SystemId() && (lowest == 0 || at->index() < lowest)) {
         first = id;
         lowest = at->index();
      }
   }
   return first;
}

AgentEntity::AgentEntity(Fen::Ptr<Fen::Dir> const& root, Controller::SystemId id)
   : announcement_(Agent::announcementFactory(Fen::Name("agent"))) {
   announcement_->systemIdIs(id);
   root->entityPtrIs(announcement_);
}

void AgentEntity::offersAre(OfferedServices const& offers) {
   std::vector<Fen::String8> gone;
   for (auto at = announcement_->offeredIterator(); at; ++at) {
      if (!offers.contains(std::string(at->key().view()))) {
         gone.push_back(at->key());
      }
   }
   for (Fen::String8 const& each : gone) {
      announcement_->offeredDel(each);
   }
   for (auto const& [name, versions] : offers) {
      announcement_->offeredIs(Fen::String8(name), Fen::String8(versions.text()));
   }
}

ControllerLink::ControllerLink(ControllerPlace const& place, Controller::SystemId self)
   : name_(place.name) {
   auto const config = Controller::connectionConfigFactory(Fen::Name(place.name));
   config->ipIs(place.endpoint.address);
   config->portIs(place.endpoint.port);
   config->sysnameIs(Fen::String8(place.name));
   SteadyMount::Wish wish;
   wish.system = self;
   wish.connection = config;
   wish.path = "agent";
   wish.type = Agent::Announcement::fenFullTypeName;
   wish.target = "/controllers/" + place.name;
   wish.retryInterval = controllerRetryInterval;
   mount_ = std::make_unique<SteadyMount>(wish, static_cast<SteadyMount::User*>(this));
}

void ControllerLink::handleMountState(SteadyMount& mount) {
   std::string text;
   if (mount.state() == Controller::mountStateMounted) {
      text = "known to " + name_;
   } else if (mount.state() == Controller::mountStateFailed) {
      text = "not known to " + name_ + ": " + plainText(mount.reason());
   }
   // It is asked for again and again; what does not change is told once.
   if (!text.empty() && text != told_) {
      told_ = text;
      std::cout << text << std::endl;
   }
}

} // namespace Host
