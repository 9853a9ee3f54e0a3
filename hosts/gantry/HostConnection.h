/// The tool's side of a host's control socket: a request goes out, lines of JSON come back.
///
/// Owned by the program, which has one thread; reading waits for the host.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <stdexcept>
#include <string>

namespace Host {

using Json = nlohmann::ordered_json;

/// No host answers there, or it went away; one line that says what to do.
class NoHostError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// The host refuses; one line in its words.
class RefusedError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

class HostConnection {
 public:
   /// Throws NoHostError.
   explicit HostConnection(std::string path);
   ~HostConnection();
   HostConnection(HostConnection const&) = delete;
   HostConnection& operator=(HostConnection const&) = delete;

   /// Sends a request and waits for its answer. Throws RefusedError and NoHostError.
   Json ask(Json const& request);
   /// The next line of a stream. Throws NoHostError when the host ends it.
   Json next();

 private:
   void send(std::string const& text);
   std::string line();

   std::string const path_;
   int descriptor_ = -1;
   std::string received_;
};

} // namespace Host
