// Texts of the kernel's numbers and addresses.

#include <hosts/linux/KernelAttributes.h>

#include <arpa/inet.h>
#include <linux/rtnetlink.h>
#include <net/if_arp.h>
#include <sys/socket.h>

#include <initializer_list>
#include <utility>

namespace Linux {

namespace {

/// The longest link-layer address that the kernel has.
constexpr std::size_t longestHardwareAddress = 32;

std::string named(unsigned number,
                  std::initializer_list<std::pair<unsigned, char const*>> const& names) {
   for (auto const& [value, name] : names) {
      if (value == number) {
         return name;
      }
   }
   return std::to_string(number);
}

} // namespace

std::string hardwareText(std::string_view bytes) {
   static constexpr char digits[] = "0123456789abcdef";
   std::string text;
   for (char const c : bytes.substr(0, longestHardwareAddress)) {
      auto const byte = static_cast<unsigned char>(c);
      if (!text.empty()) {
         text += ':';
      }
      text += digits[byte >> 4];
      text += digits[byte & 15];
   }
   return text;
}

std::string addressText(std::string_view bytes) {
   char text[INET6_ADDRSTRLEN] = "";
   if (bytes.size() == sizeof(in_addr)) {
      inet_ntop(AF_INET, bytes.data(), text, sizeof text);
   } else if (bytes.size() == sizeof(in6_addr)) {
      inet_ntop(AF_INET6, bytes.data(), text, sizeof text);
   }
   return text;
}

std::string scopeText(unsigned scope) {
   return named(scope, {{RT_SCOPE_UNIVERSE, "global"},
                        {RT_SCOPE_SITE, "site"},
                        {RT_SCOPE_LINK, "link"},
                        {RT_SCOPE_HOST, "host"},
                        {RT_SCOPE_NOWHERE, "nowhere"}});
}

std::string routeKindText(unsigned kind) {
   return named(kind, {{RTN_UNSPEC, "none"},
                       {RTN_UNICAST, "unicast"},
                       {RTN_LOCAL, "local"},
                       {RTN_BROADCAST, "broadcast"},
                       {RTN_ANYCAST, "anycast"},
                       {RTN_MULTICAST, "multicast"},
                       {RTN_BLACKHOLE, "blackhole"},
                       {RTN_UNREACHABLE, "unreachable"},
                       {RTN_PROHIBIT, "prohibit"},
                       {RTN_THROW, "throw"},
                       {RTN_NAT, "nat"}});
}

std::string protocolText(unsigned protocol) {
   return named(protocol, {{RTPROT_UNSPEC, "none"},
                           {RTPROT_REDIRECT, "redirect"},
                           {RTPROT_KERNEL, "kernel"},
                           {RTPROT_BOOT, "boot"},
                           {RTPROT_STATIC, "static"},
                           {RTPROT_RA, "ra"},
                           {RTPROT_DHCP, "dhcp"},
                           {RTPROT_BGP, "bgp"},
                           {RTPROT_ISIS, "isis"},
                           {RTPROT_OSPF, "ospf"},
                           {RTPROT_RIP, "rip"}});
}

std::string neighbourStateText(unsigned state) {
   return named(state, {{NUD_NONE, "none"},
                        {NUD_INCOMPLETE, "incomplete"},
                        {NUD_REACHABLE, "reachable"},
                        {NUD_STALE, "stale"},
                        {NUD_DELAY, "delay"},
                        {NUD_PROBE, "probe"},
                        {NUD_FAILED, "failed"},
                        {NUD_NOARP, "noarp"},
                        {NUD_PERMANENT, "permanent"}});
}

std::string deviceTypeText(unsigned type) {
   switch (type) {
   case ARPHRD_ETHER:
      return "ether";
   case ARPHRD_LOOPBACK:
      return "loopback";
   case ARPHRD_PPP:
      return "ppp";
   case ARPHRD_INFINIBAND:
      return "infiniband";
   default:
      return "type " + std::to_string(type);
   }
}

} // namespace Linux
