/// What the kernel says of links, addresses, routes and neighbours, as plain data: one record per
/// rtnetlink message, already checked and turned into text where people read it.
///
/// The kernel side (KernelMessage) makes records, the model side (HostModel) applies them to
/// entities; neither knows the other.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Linux {

struct StatisticsRecord {
   std::uint32_t index = 0;
   std::uint64_t rxBytes = 0, rxPackets = 0, rxErrors = 0, rxDropped = 0;
   std::uint64_t txBytes = 0, txPackets = 0, txErrors = 0, txDropped = 0;
};

struct LinkRecord {
   std::uint32_t index = 0;
   std::string name;
   std::string kind;
   std::string hardwareAddress;
   /// The index of the bridge or bond that it belongs to, 0 without one.
   std::uint32_t controller = 0;
   std::uint32_t mtu = 0;
   bool adminUp = false;
   bool carrier = false;
   /// The kernel's number, 0 to 6.
   std::uint32_t operState = 0;
   std::optional<StatisticsRecord> statistics;
};

struct AddressRecord {
   std::uint32_t index = 0;
   bool isVersion4 = true;
   /// What tells it from other addresses of the interface: "10.0.0.1/24".
   std::string name;
   std::string peer;
   std::string broadcast;
   std::string scope;
   bool tentative = false;
};

struct NextHopRecord {
   std::string gateway;
   std::uint32_t index = 0;
   std::uint32_t weight = 1;
};

struct RouteRecord {
   bool isVersion4 = true;
   std::string destination;
   std::string kind;
   std::uint32_t table = 0;
   std::uint32_t metric = 0;
   std::uint32_t typeOfService = 0;
   /// The prefix that packets must come from, empty for any.
   std::string sourcePrefix;
   std::string protocol;
   std::string scope;
   std::string source;
   std::vector<NextHopRecord> nextHops;
   /// The kernel put it in the place of another one, of which it says nothing more.
   bool replaces = false;
};

struct NeighbourRecord {
   std::uint32_t index = 0;
   std::string address;
   std::string hardwareAddress;
   std::string state;
   bool router = false;
   /// An entry that the kernel makes for itself and that tells nothing of a neighbour.
   bool isPlaceholder = false;
};

/// Who takes the records. Nothing is kept of a record after the call.
class KernelSink {
 public:
   virtual ~KernelSink() = default;

   virtual void linkIs(LinkRecord const& record) = 0;
   virtual void linkDel(std::uint32_t index) = 0;
   virtual void addressIs(AddressRecord const& record) = 0;
   virtual void addressDel(AddressRecord const& record) = 0;
   virtual void routeIs(RouteRecord const& record) = 0;
   virtual void routeDel(RouteRecord const& record) = 0;
   virtual void neighbourIs(NeighbourRecord const& record) = 0;
   virtual void neighbourDel(NeighbourRecord const& record) = 0;
   virtual void statisticsIs(StatisticsRecord const& record) = 0;
};

} // namespace Linux
