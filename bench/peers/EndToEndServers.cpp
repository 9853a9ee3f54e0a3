/// Starting and ending what peers need.
#include "EndToEndServers.h"

#include "../endtoend/Sockets.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <filesystem>
#include <netinet/in.h>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>

namespace Bench {

ScratchDirectory::ScratchDirectory() {
   bool const inMemory = access("/dev/shm", W_OK) == 0;
   std::string pattern = inMemory ? "/dev/shm/gantry-bench-XXXXXX" : "/tmp/gantry-bench-XXXXXX";
   if (mkdtemp(pattern.data()) != nullptr) {
      path_ = pattern;
   }
}

ScratchDirectory::~ScratchDirectory() {
   if (!path_.empty()) {
      std::error_code ignored;
      std::filesystem::remove_all(path_, ignored);
   }
}

bool hasProgram(char const* name) {
   char const* const path = std::getenv("PATH");
   std::istringstream directories(path != nullptr ? path : "");
   for (std::string directory; std::getline(directories, directory, ':');) {
      if (access((directory + "/" + name).c_str(), X_OK) == 0) {
         return true;
      }
   }
   return access((std::string("/usr/sbin/") + name).c_str(), X_OK) == 0;
}

bool answers(std::uint16_t port, Child& server) {
   sockaddr_in address{};
   address.sin_family = AF_INET;
   address.sin_port = htons(port);
   address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
   for (int i = 0; i < 500 && !server.hasEnded(); ++i) {
      int const descriptor = socket(AF_INET, SOCK_STREAM, 0);
      bool const up =
         connect(descriptor, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0;
      close(descriptor);
      if (up) {
         return true;
      }
      sleepFor(10'000'000);
   }
   return false;
}

} // namespace Bench
