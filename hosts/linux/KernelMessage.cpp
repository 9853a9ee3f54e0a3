// Reading of rtnetlink messages. What the kernel sends is trusted to be well meant but never to be
// well formed: every fixed part and every attribute is measured before it is read.

#include <hosts/linux/KernelAttributes.h>
#include <hosts/linux/KernelMessage.h>

#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace Linux {

namespace {

constexpr std::size_t mostNextHops = 512;
constexpr unsigned highestOperState = 6;
/// Error numbers of the kernel stay below this.
constexpr std::int32_t highestError = 4095;

/// The fixed part of a message, null when the message is too short for it.
template <class Fixed>
Fixed const* fixedPart(nlmsghdr const* message) {
   return mnl_nlmsg_get_payload_len(message) >= sizeof(Fixed)
             ? static_cast<Fixed const*>(mnl_nlmsg_get_payload(message))
             : nullptr;
}

/// Counters from the kernel's 64-bit statistics; an older kernel's shorter ones lack the end only.
bool readStatistics(std::string_view payload, StatisticsRecord& record) {
   rtnl_link_stats64 raw{};
   constexpr std::size_t needed = offsetof(rtnl_link_stats64, tx_dropped) + sizeof raw.tx_dropped;
   if (payload.size() < needed) {
      return false;
   }
   std::memcpy(&raw, payload.data(), payload.size() < sizeof raw ? payload.size() : sizeof raw);
   record.rxBytes = raw.rx_bytes;
   record.rxPackets = raw.rx_packets;
   record.rxErrors = raw.rx_errors;
   record.rxDropped = raw.rx_dropped;
   record.txBytes = raw.tx_bytes;
   record.txPackets = raw.tx_packets;
   record.txErrors = raw.tx_errors;
   record.txDropped = raw.tx_dropped;
   return true;
}

bool readLink(nlmsghdr const* message, KernelSink& sink) {
   auto const* const fixed = fixedPart<ifinfomsg>(message);
   if (fixed == nullptr) {
      return false;
   }
   // A bridge tells of its ports in link messages of its own family: a port that leaves it is
   // "deleted" there, and lives on as a link.
   if (fixed->ifi_family != AF_UNSPEC) {
      return true;
   }
   if (fixed->ifi_index <= 0) {
      return false;
   }
   auto const index = static_cast<std::uint32_t>(fixed->ifi_index);
   if (message->nlmsg_type == RTM_DELLINK) {
      sink.linkDel(index);
      return true;
   }
   KernelAttributes<IFLA_MAX> const attributes(message, sizeof *fixed);
   LinkRecord record;
   record.index = index;
   record.name = attributes.text(IFLA_IFNAME);
   if (record.name.empty() || record.name.size() >= IFNAMSIZ) {
      return false;
   }
   KernelAttributes<IFLA_INFO_MAX> const info(attributes[IFLA_LINKINFO]);
   record.kind = info.text(IFLA_INFO_KIND);
   if (record.kind.empty()) {
      record.kind = deviceTypeText(fixed->ifi_type);
   }
   record.hardwareAddress = hardwareText(attributes.payload(IFLA_ADDRESS));
   record.controller = attributes.number(IFLA_MASTER);
   record.mtu = attributes.number(IFLA_MTU);
   record.adminUp = (fixed->ifi_flags & IFF_UP) != 0;
   record.carrier = (fixed->ifi_flags & IFF_LOWER_UP) != 0;
   std::uint8_t const operState = attributes.byte(IFLA_OPERSTATE);
   record.operState = operState <= highestOperState ? operState : 0;
   StatisticsRecord statistics;
   if (readStatistics(attributes.payload(IFLA_STATS64), statistics)) {
      statistics.index = index;
      record.statistics = statistics;
   }
   sink.linkIs(record);
   return true;
}

std::size_t addressSize(unsigned family) { return family == AF_INET ? 4 : 16; }

bool readAddress(nlmsghdr const* message, KernelSink& sink) {
   auto const* const fixed = fixedPart<ifaddrmsg>(message);
   if (fixed == nullptr) {
      return false;
   }
   if (fixed->ifa_family != AF_INET && fixed->ifa_family != AF_INET6) {
      return true;
   }
   std::size_t const size = addressSize(fixed->ifa_family);
   KernelAttributes<IFA_MAX> const attributes(message, sizeof *fixed);
   std::string_view const address = attributes.payload(IFA_ADDRESS);
   // On a point-to-point link the kernel's "address" is the other end, and "local" is this one.
   std::string_view const local =
      attributes[IFA_LOCAL] != nullptr ? attributes.payload(IFA_LOCAL) : address;
   if (local.size() != size || (!address.empty() && address.size() != size) ||
       fixed->ifa_prefixlen > 8 * size || fixed->ifa_index == 0) {
      return false;
   }
   AddressRecord record;
   record.index = fixed->ifa_index;
   record.isVersion4 = fixed->ifa_family == AF_INET;
   std::string const prefix = "/" + std::to_string(fixed->ifa_prefixlen);
   if (!address.empty() && address != local) {
      record.peer = addressText(address);
      record.name = addressText(local) + " peer " + record.peer + prefix;
   } else {
      record.name = addressText(local) + prefix;
   }
   record.broadcast = addressText(attributes.payload(IFA_BROADCAST));
   record.scope = scopeText(fixed->ifa_scope);
   std::uint32_t const flags = attributes.number(IFA_FLAGS, fixed->ifa_flags);
   record.tentative = (flags & (IFA_F_TENTATIVE | IFA_F_DADFAILED)) != 0;
   if (message->nlmsg_type == RTM_DELADDR) {
      sink.addressDel(record);
   } else {
      sink.addressIs(record);
   }
   return true;
}

/// The gateway of a route or of one next hop; it may be of the other family.
std::string gatewayText(KernelAttributes<RTA_MAX> const& attributes) {
   if (attributes[RTA_GATEWAY] != nullptr) {
      return addressText(attributes.payload(RTA_GATEWAY));
   }
   std::string_view const via = attributes.payload(RTA_VIA);
   constexpr std::size_t family = sizeof(std::uint16_t);
   return via.size() > family ? addressText(via.substr(family)) : std::string();
}

bool readNextHops(std::string_view payload, std::vector<NextHopRecord>& nextHops) {
   char const* at = payload.data();
   char const* const end = at + payload.size();
   while (end - at >= static_cast<std::ptrdiff_t>(sizeof(rtnexthop))) {
      rtnexthop hop;
      std::memcpy(&hop, at, sizeof hop);
      if (hop.rtnh_len < sizeof hop || hop.rtnh_len > end - at || nextHops.size() == mostNextHops) {
         return false;
      }
      KernelAttributes<RTA_MAX> const attributes(at + RTNH_LENGTH(0), at + hop.rtnh_len);
      nextHops.push_back({gatewayText(attributes),
                          hop.rtnh_ifindex > 0 ? static_cast<std::uint32_t>(hop.rtnh_ifindex) : 0,
                          hop.rtnh_hops + 1u});
      std::ptrdiff_t const step = RTNH_ALIGN(hop.rtnh_len);
      at = step < end - at ? at + step : end;
   }
   return true;
}

/// A prefix as text: "default" for all addresses of the family. False for a wrong length.
bool readPrefix(std::string_view bytes, unsigned length, unsigned family, std::string& text) {
   std::size_t const size = addressSize(family);
   if (length > 8 * size || (!bytes.empty() && bytes.size() != size) ||
       (bytes.empty() && length != 0)) {
      return false;
   }
   if (length == 0 && bytes.find_first_not_of('\0') == std::string_view::npos) {
      text = family == AF_INET ? "default" : "::/0";
      return true;
   }
   text = addressText(bytes);
   if (length != 8 * size) {
      text += "/" + std::to_string(length);
   }
   return true;
}

bool readRoute(nlmsghdr const* message, KernelSink& sink) {
   auto const* const fixed = fixedPart<rtmsg>(message);
   if (fixed == nullptr) {
      return false;
   }
   // Families of multicast routing share the message; cached copies of routes are no routes.
   if ((fixed->rtm_family != AF_INET && fixed->rtm_family != AF_INET6) ||
       (fixed->rtm_flags & RTM_F_CLONED) != 0) {
      return true;
   }
   KernelAttributes<RTA_MAX> const attributes(message, sizeof *fixed);
   RouteRecord record;
   record.isVersion4 = fixed->rtm_family == AF_INET;
   std::string anySource;
   if (!readPrefix(attributes.payload(RTA_DST), fixed->rtm_dst_len, fixed->rtm_family,
                   record.destination) ||
       !readPrefix(attributes.payload(RTA_SRC), fixed->rtm_src_len, fixed->rtm_family, anySource)) {
      return false;
   }
   record.sourcePrefix = fixed->rtm_src_len != 0 ? anySource : std::string();
   record.kind = routeKindText(fixed->rtm_type);
   record.table = attributes.number(RTA_TABLE, fixed->rtm_table);
   record.metric = attributes.number(RTA_PRIORITY);
   record.typeOfService = fixed->rtm_tos;
   record.protocol = protocolText(fixed->rtm_protocol);
   record.scope = scopeText(fixed->rtm_scope);
   record.source = addressText(attributes.payload(RTA_PREFSRC));
   if (attributes[RTA_MULTIPATH] != nullptr) {
      if (!readNextHops(attributes.payload(RTA_MULTIPATH), record.nextHops)) {
         return false;
      }
   } else if (attributes[RTA_OIF] != nullptr) {
      record.nextHops.push_back({gatewayText(attributes), attributes.number(RTA_OIF), 1});
   }
   record.replaces = (message->nlmsg_flags & NLM_F_REPLACE) != 0;
   if (message->nlmsg_type == RTM_DELROUTE) {
      sink.routeDel(record);
   } else {
      sink.routeIs(record);
   }
   return true;
}

bool readNeighbour(nlmsghdr const* message, KernelSink& sink) {
   auto const* const fixed = fixedPart<ndmsg>(message);
   if (fixed == nullptr) {
      return false;
   }
   // Forwarding tables of bridges come in the same messages, and so do entries of proxies.
   if ((fixed->ndm_family != AF_INET && fixed->ndm_family != AF_INET6) ||
       (fixed->ndm_flags & NTF_PROXY) != 0) {
      return true;
   }
   KernelAttributes<NDA_MAX> const attributes(message, sizeof *fixed);
   std::string_view const address = attributes.payload(NDA_DST);
   if (address.size() != addressSize(fixed->ndm_family) || fixed->ndm_ifindex <= 0) {
      return false;
   }
   NeighbourRecord record;
   record.index = static_cast<std::uint32_t>(fixed->ndm_ifindex);
   record.address = addressText(address);
   record.hardwareAddress = hardwareText(attributes.payload(NDA_LLADDR));
   record.state = neighbourStateText(fixed->ndm_state);
   record.router = (fixed->ndm_flags & NTF_ROUTER) != 0;
   record.isPlaceholder = (fixed->ndm_state & NUD_NOARP) != 0 || fixed->ndm_state == NUD_NONE;
   if (message->nlmsg_type == RTM_DELNEIGH) {
      sink.neighbourDel(record);
   } else {
      sink.neighbourIs(record);
   }
   return true;
}

bool readStatisticsMessage(nlmsghdr const* message, KernelSink& sink) {
   auto const* const fixed = fixedPart<if_stats_msg>(message);
   if (fixed == nullptr) {
      return false;
   }
   KernelAttributes<IFLA_STATS_MAX> const attributes(message, sizeof *fixed);
   StatisticsRecord record;
   record.index = fixed->ifindex;
   if (!readStatistics(attributes.payload(IFLA_STATS_LINK_64), record)) {
      return false;
   }
   sink.statisticsIs(record);
   return true;
}

} // namespace

bool readMessage(nlmsghdr const* message, KernelSink& sink) {
   switch (message->nlmsg_type) {
   case RTM_NEWLINK:
   case RTM_DELLINK:
      return readLink(message, sink);
   case RTM_NEWADDR:
   case RTM_DELADDR:
      return readAddress(message, sink);
   case RTM_NEWROUTE:
   case RTM_DELROUTE:
      return readRoute(message, sink);
   case RTM_NEWNEIGH:
   case RTM_DELNEIGH:
      return readNeighbour(message, sink);
   case RTM_NEWSTATS:
      return readStatisticsMessage(message, sink);
   default:
      return true;
   }
}

namespace {

/// The result of a request: both kinds of message begin with a number, negative for an error. The
/// end of a dump may come without one.
void readResult(nlmsghdr const* message, BufferSummary& summary) {
   auto const* const result = fixedPart<std::int32_t>(message);
   if (result == nullptr) {
      summary.malformed += message->nlmsg_type == NLMSG_ERROR ? 1 : 0;
   } else if (*result < 0) {
      summary.error = *result > -highestError ? -*result : highestError;
   }
}

} // namespace

BufferSummary readBuffer(std::span<std::byte const> buffer, std::uint32_t sequence,
                         KernelSink& sink) {
   BufferSummary summary;
   std::byte const* at = buffer.data();
   std::size_t left = buffer.size();
   while (left >= sizeof(nlmsghdr)) {
      auto const* const message = reinterpret_cast<nlmsghdr const*>(at);
      if (message->nlmsg_len < sizeof(nlmsghdr) || message->nlmsg_len > left) {
         ++summary.malformed;
         return summary;
      }
      if (sequence == 0 || message->nlmsg_seq == sequence) {
         summary.dumpInterrupted |= (message->nlmsg_flags & NLM_F_DUMP_INTR) != 0;
         if (message->nlmsg_type == NLMSG_DONE || message->nlmsg_type == NLMSG_ERROR) {
            summary.dumpEnded |= message->nlmsg_type == NLMSG_DONE;
            readResult(message, summary);
         } else if (!readMessage(message, sink)) {
            ++summary.malformed;
         }
      }
      std::size_t const step = MNL_ALIGN(message->nlmsg_len);
      if (step >= left) {
         return summary;
      }
      at += step;
      left -= step;
   }
   summary.malformed += left != 0 ? 1 : 0;
   return summary;
}

} // namespace Linux
