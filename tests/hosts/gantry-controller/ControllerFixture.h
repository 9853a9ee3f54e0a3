/// What the tests of gantry-controller as a process share: switches on the loopback, the file, and
/// what the programs say.
#pragma once

#include "../ChildProgram.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace HostTest {

inline std::string id(unsigned number) { return "02:00:00:00:00:0" + std::to_string(number); }

inline std::string endpointPort(std::string const& endpoint) {
   return endpoint.substr(endpoint.find(':') + 1);
}

/// A switch with an id, and the member that names it in the controller's file.
inline std::unique_ptr<Switch> leaf(unsigned number, std::vector<std::string> more) {
   more.insert(more.end(), {"--system-id", id(number), "--sample", "100"});
   return std::make_unique<Switch>("leaf" + std::to_string(number), std::move(more));
}

inline std::string place(unsigned number, std::string const& endpoint) {
   return "\"leaf" + std::to_string(number) + "\":{\"id\":\"" + id(number) +
          "\",\"address\":\"127.0.0.1\",\"port\":" + endpointPort(endpoint) + "}";
}

class ControllerFixture : public testing::Test {
 protected:
   ControllerFixture()
      : file(testing::TempDir() + "gantry-controller-" + std::to_string(getpid()) + ".json") {}
   ~ControllerFixture() override { std::filesystem::remove(file); }

   void write(std::string const& switches, std::string const& services,
              std::string const& more = "", std::string const& timing = "") {
      std::ofstream(file) << "{\"system\":{\"id\":\"02:00:00:00:00:ff\"" << more
                          << "},\"timing\":{\"reconnectRetries\":0,\"retryInterval\":0.05" << timing
                          << "},\"switches\":{" << switches << "},\"services\":{" << services
                          << "}}";
   }
   std::unique_ptr<ChildProgram> start(std::vector<std::string> more = {"--json"}) {
      more.insert(more.begin(), {"--config", file});
      return std::make_unique<ChildProgram>("gantry-controller", more);
   }
   /// What the program writes to standard error, with its exit status before it.
   std::string refusal(std::vector<std::string> arguments) {
      ChildProgram child("gantry-controller", std::move(arguments), true);
      std::string const text = child.rest();
      return std::to_string(child.status()) + " " + text;
   }

   std::string const file;
};

/// A service with one group that mounts the host's description.
inline std::string service(std::string const& name, std::string const& versions,
                           std::string const& filters, std::string const& group,
                           std::string const& mount = R"("linux/host":{"type":"Linux::Host"})") {
   return "\"" + name + "\":{\"versions\":\"" + versions + "\"," + filters +
          "\"mountGroups\":{\"g\":{" + group + "\"mounts\":{" + mount + "}}}}";
}

inline std::vector<std::string> mountOf(unsigned number, std::string const& state) {
   return {"\"event\":\"mount\"", "\"switch\":\"leaf" + std::to_string(number) + "\"",
           "\"state\":\"" + state + "\""};
}

} // namespace HostTest
