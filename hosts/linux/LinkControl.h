/// Asks the kernel to change an interface.
///
/// Owned by the program; lives on the activity loop's thread. The kernel answers such a request
/// before it returns from taking it, so nothing here waits.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

struct mnl_socket;

namespace Linux {

/// What is to change; what is empty stays.
struct LinkSettings {
   std::optional<bool> adminUp;
   std::optional<std::uint32_t> mtu;
   std::optional<std::string> description;
};

class LinkControl {
 public:
   virtual ~LinkControl() = default;
   /// Returns 0 or the positive error number.
   virtual int linkIs(std::string const& interface, LinkSettings const& settings) = 0;
};

/// To this network namespace's kernel. Throws std::system_error with a text for people.
std::unique_ptr<LinkControl> rtnetlinkControl();

} // namespace Linux
