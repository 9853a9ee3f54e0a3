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

} // namespace Host
