/// Builds rtnetlink messages as the kernel sends them, several in one buffer, for tests.
#pragma once

#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <net/if_arp.h>

#include <arpa/inet.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>

namespace Linux {

class MessageBuilder {
 public:
   std::span<std::byte const> buffer() const {
      return {reinterpret_cast<std::byte const*>(bytes_.data()), used_};
   }
   void clear() { used_ = 0; }
   /// Number of answers in what follows; 0 for events.
   void sequenceIs(std::uint32_t sequence) { sequence_ = sequence; }

   template <class Fixed>
   void begin(std::uint16_t type, Fixed const& fixed, std::uint16_t flags = 0) {
      message_ = mnl_nlmsg_put_header(bytes_.data() + used_);
      message_->nlmsg_type = type;
      message_->nlmsg_flags = flags;
      message_->nlmsg_seq = sequence_;
      std::memcpy(mnl_nlmsg_put_extra_header(message_, sizeof fixed), &fixed, sizeof fixed);
   }
   nlmsghdr* message() { return message_; }
   void number(std::uint16_t type, std::uint32_t value) { mnl_attr_put_u32(message_, type, value); }
   void text(std::uint16_t type, std::string const& value) {
      mnl_attr_put_strz(message_, type, value.c_str());
   }
   void address(std::uint16_t type, std::string const& text) {
      std::array<char, 16> bytes{};
      bool const isVersion4 = text.find(':') == std::string::npos;
      inet_pton(isVersion4 ? AF_INET : AF_INET6, text.c_str(), bytes.data());
      mnl_attr_put(message_, type, isVersion4 ? 4 : 16, bytes.data());
   }
   void end() { used_ += MNL_ALIGN(message_->nlmsg_len); }

   void done(std::int32_t result = 0) {
      begin(NLMSG_DONE, result, NLM_F_MULTI);
      end();
   }

   void link(std::uint32_t index, std::string const& name, unsigned flags = IFF_UP | IFF_LOWER_UP,
             std::uint16_t type = RTM_NEWLINK, std::uint32_t mtu = 1500,
             std::uint32_t controller = 0) {
      ifinfomsg fixed{};
      fixed.ifi_type = ARPHRD_ETHER;
      fixed.ifi_index = static_cast<int>(index);
      fixed.ifi_flags = flags;
      begin(type, fixed);
      text(IFLA_IFNAME, name);
      number(IFLA_MTU, mtu);
      if (controller != 0) {
         number(IFLA_MASTER, controller);
      }
      mnl_attr_put_u8(message_, IFLA_OPERSTATE, (flags & IFF_LOWER_UP) != 0 ? 6 : 2);
      std::array<unsigned char, 6> const hardware{2, 0, 0, 0, 0, static_cast<unsigned char>(index)};
      mnl_attr_put(message_, IFLA_ADDRESS, hardware.size(), hardware.data());
      nlattr* const info = mnl_attr_nest_start(message_, IFLA_LINKINFO);
      text(IFLA_INFO_KIND, "veth");
      mnl_attr_nest_end(message_, info);
      end();
   }
   void linkGone(std::uint32_t index, std::string const& name) {
      link(index, name, 0, RTM_DELLINK);
   }

   void interfaceAddress(std::uint32_t index, std::string const& address, std::uint8_t prefix,
                         std::uint16_t type = RTM_NEWADDR) {
      ifaddrmsg fixed{};
      fixed.ifa_family = address.find(':') == std::string::npos ? AF_INET : AF_INET6;
      fixed.ifa_prefixlen = prefix;
      fixed.ifa_index = index;
      begin(type, fixed);
      this->address(IFA_ADDRESS, address);
      end();
   }

   struct Route {
      std::string destination = {};
      std::uint8_t prefix = 0;
      std::string gateway = {};
      std::uint32_t index = 0;
      std::uint32_t metric = 0;
      std::uint8_t kind = RTN_UNICAST;
      bool isVersion4 = true;
   };
   void routeBegin(Route const& route, std::uint16_t type = RTM_NEWROUTE, std::uint16_t flags = 0) {
      rtmsg fixed{};
      fixed.rtm_family = route.isVersion4 ? AF_INET : AF_INET6;
      fixed.rtm_dst_len = route.prefix;
      fixed.rtm_table = RT_TABLE_MAIN;
      fixed.rtm_protocol = RTPROT_BOOT;
      fixed.rtm_type = route.kind;
      begin(type, fixed, flags);
      if (!route.destination.empty()) {
         address(RTA_DST, route.destination);
      }
      if (route.metric != 0) {
         number(RTA_PRIORITY, route.metric);
      }
      if (!route.gateway.empty()) {
         address(RTA_GATEWAY, route.gateway);
      }
      if (route.index != 0) {
         number(RTA_OIF, route.index);
      }
   }
   void route(Route const& route, std::uint16_t type = RTM_NEWROUTE, std::uint16_t flags = 0) {
      routeBegin(route, type, flags);
      end();
   }
   /// Two next hops in the one attribute.
   void multipath(Route const& route, std::string const& first, std::string const& second,
                  std::uint16_t type = RTM_NEWROUTE) {
      routeBegin(
         {route.destination, route.prefix, "", 0, route.metric, RTN_UNICAST, route.isVersion4},
         type);
      nlattr* const nest = mnl_attr_nest_start(message_, RTA_MULTIPATH);
      for (std::string const& gateway : {first, second}) {
         auto* const hop = static_cast<rtnexthop*>(mnl_nlmsg_get_payload_tail(message_));
         std::uint32_t const before = message_->nlmsg_len;
         std::memset(hop, 0, sizeof *hop);
         hop->rtnh_ifindex = static_cast<int>(route.index);
         message_->nlmsg_len += sizeof *hop;
         address(RTA_GATEWAY, gateway);
         hop->rtnh_len = static_cast<unsigned short>(message_->nlmsg_len - before);
      }
      mnl_attr_nest_end(message_, nest);
      end();
   }

   void neighbour(std::uint32_t index, std::string const& address, std::uint16_t state,
                  std::uint16_t type = RTM_NEWNEIGH, std::uint8_t family = 0) {
      ndmsg fixed{};
      bool const isVersion4 = address.find(':') == std::string::npos;
      fixed.ndm_family =
         family != 0 ? family : static_cast<std::uint8_t>(isVersion4 ? AF_INET : AF_INET6);
      fixed.ndm_ifindex = static_cast<int>(index);
      fixed.ndm_state = state;
      begin(type, fixed);
      this->address(NDA_DST, address);
      end();
   }

   void statistics(std::uint32_t index, std::uint64_t rxBytes) {
      if_stats_msg fixed{};
      fixed.ifindex = index;
      begin(RTM_NEWSTATS, fixed);
      rtnl_link_stats64 counters{};
      counters.rx_bytes = rxBytes;
      mnl_attr_put(message_, IFLA_STATS_LINK_64, sizeof counters, &counters);
      end();
   }

 private:
   alignas(nlmsghdr) std::array<char, 16384> bytes_{};
   std::size_t used_ = 0;
   std::uint32_t sequence_ = 0;
   nlmsghdr* message_ = nullptr;
};

} // namespace Linux
