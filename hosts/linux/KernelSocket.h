/// A socket to the kernel's routing tables, as little of it as the collector needs, so that tests
/// can stand in for the kernel.
///
/// Owned by the collector; lives on the activity loop's thread. Nothing here blocks.
#pragma once

#include <hosts/linux/Tables.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace Linux {

class KernelSocket {
 public:
   virtual ~KernelSocket() = default;

   virtual int descriptor() const = 0;
   /// Receives one buffer's worth. Returns its size, 0 when nothing waits or when it came from
   /// somebody other than the kernel, and the negative error number for an error; -ENOBUFS says
   /// that the kernel had to drop messages.
   virtual std::ptrdiff_t receive(std::span<std::byte> buffer) = 0;
   /// Asks for all of a table. Returns 0 or the negative error number.
   virtual int request(Table table, std::uint32_t sequence) = 0;
};

/// Makes sockets: one that hears of every change, or one for requests. Throws std::system_error
/// with a text for people.
using KernelSocketSource = std::function<std::unique_ptr<KernelSocket>(bool hearsChanges)>;

/// Sockets to this network namespace's kernel.
std::unique_ptr<KernelSocket> rtnetlinkSocket(bool hearsChanges);

/// What the driver of an interface says of its speed in megabits per second, 0 when it says none.
std::uint32_t driverSpeed(std::string const& interface);

} // namespace Linux
