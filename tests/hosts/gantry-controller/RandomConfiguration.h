/// Configurations for tests: random ones over small domains, in which everything meets everything.
///
/// Plain values, on the test's thread.
#pragma once

#include <hosts/gantry-controller/Configuration.h>

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace HostTest {

inline Host::SwitchConfiguration switchAt(char const* id, char const* address,
                                          std::uint16_t port = 9001) {
   return {Controller::SystemId(Fen::String8(id)), Nimet::IpAddr(Fen::String8(address)), port};
}

/// Nothing but the controller itself.
inline Host::Configuration empty() {
   Host::Configuration all;
   all.system.id = Controller::SystemId("02:00:00:00:00:ff");
   return all;
}

/// Two services, two groups, three paths, two filters of each kind, three switches. All that asks
/// for a path asks for it with the same type and flags, and no filter is empty.
class RandomConfiguration {
 public:
   explicit RandomConfiguration(std::mt19937& random) : random_(random) {}

   Host::Configuration make() {
      Host::Configuration all = empty();
      std::map<std::string, Host::MountConfiguration> terms;
      for (char const* path : {"p", "q", "r"}) {
         terms[path] = {oneOf({"T", "U"}), oneOf({"", "w"}), ""};
      }
      for (char const* name : {"s", "t"}) {
         if (chance(3)) {
            service(all.services[name], terms);
         }
      }
      for (unsigned i = 1; i <= 3; ++i) {
         if (chance(2)) {
            std::string const digit = std::to_string(i);
            all.switches["leaf" + digit] =
               switchAt(("02:00:00:00:00:0" + digit).c_str(), oneOf({"1.1.1.1", "1.1.1.2"}).c_str(),
                        static_cast<std::uint16_t>(i));
         }
      }
      return all;
   }

 private:
   using Texts = std::vector<std::string>;

   bool chance(unsigned of) { return random_() % of != 0; }
   std::string oneOf(Texts const& texts) { return texts[random_() % texts.size()]; }

   void service(Host::ServiceConfiguration& service,
                std::map<std::string, Host::MountConfiguration> const& terms) {
      service.versions = *Host::Versions::fromText(oneOf({"1", "1-2", "3"}));
      for (char const* name : {"f", "h"}) {
         if (chance(2)) {
            service.systemFilters[name].insert(oneOf(ids));
            service.systemFilters[name].insert(oneOf(ids));
         }
         if (chance(2)) {
            service.versionFilters[name].insert(1 + static_cast<std::uint32_t>(random_() % 3));
         }
      }
      std::set<std::string> taken;
      for (char const* name : {"g", "k"}) {
         if (!chance(4)) {
            continue;
         }
         Host::MountGroupConfiguration& group = service.mountGroups[name];
         if (!service.systemFilters.empty() && chance(2)) {
            group.systemFilter = service.systemFilters.begin()->first;
         }
         if (!service.versionFilters.empty() && chance(2)) {
            group.versionFilter = service.versionFilters.begin()->first;
         }
         group.preserveMountsOnDisconnect = chance(2);
         for (auto const& [path, mount] : terms) {
            if (chance(2) && taken.insert(path).second) {
               group.mounts[path] = mount;
            }
         }
      }
   }

   Texts const ids{"02:00:00:00:00:01", "02:00:00:00:00:02", "02:00:00:00:00:03"};
   std::mt19937& random_;
};

} // namespace HostTest
