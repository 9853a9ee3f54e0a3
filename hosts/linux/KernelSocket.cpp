// Sockets of the rtnetlink family, and the question to a driver about its speed.

#include <hosts/linux/KernelSocket.h>

#include <libmnl/libmnl.h>
#include <linux/ethtool.h>
#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace Linux {

namespace {

/// Room for the changes of a busy host while a table is read; beyond it the kernel drops.
constexpr int receiveRoom = 4 << 20;

class RtnetlinkSocket : public KernelSocket {
 public:
   explicit RtnetlinkSocket(bool hearsChanges) {
      socket_ = mnl_socket_open2(NETLINK_ROUTE, SOCK_NONBLOCK | SOCK_CLOEXEC);
      if (socket_ == nullptr) {
         throw std::system_error(errno, std::generic_category(), "cannot open a netlink socket");
      }
      if (mnl_socket_bind(socket_, 0, MNL_SOCKET_AUTOPID) < 0 || (hearsChanges && !joinGroups())) {
         int const error = errno;
         mnl_socket_close(socket_);
         throw std::system_error(error, std::generic_category(), "cannot listen to the kernel");
      }
      // More than the administrator's limit needs a privilege; without it the limit must do.
      if (setsockopt(descriptor(), SOL_SOCKET, SO_RCVBUFFORCE, &receiveRoom, sizeof receiveRoom) !=
          0) {
         setsockopt(descriptor(), SOL_SOCKET, SO_RCVBUF, &receiveRoom, sizeof receiveRoom);
      }
   }
   ~RtnetlinkSocket() override { mnl_socket_close(socket_); }
   RtnetlinkSocket(RtnetlinkSocket const&) = delete;
   RtnetlinkSocket& operator=(RtnetlinkSocket const&) = delete;

   int descriptor() const override { return mnl_socket_get_fd(socket_); }

   std::ptrdiff_t receive(std::span<std::byte> buffer) override {
      sockaddr_nl sender{};
      iovec part{buffer.data(), buffer.size()};
      msghdr header{};
      header.msg_name = &sender;
      header.msg_namelen = sizeof sender;
      header.msg_iov = &part;
      header.msg_iovlen = 1;
      ssize_t const size = recvmsg(descriptor(), &header, 0);
      if (size < 0) {
         return errno == EAGAIN || errno == EINTR ? 0 : -errno;
      }
      if ((header.msg_flags & MSG_TRUNC) != 0) {
         return -ENOBUFS;
      }
      // Other processes may send here too; only the kernel has the number 0.
      return sender.nl_pid == 0 ? size : 0;
   }

   int request(Table table, std::uint32_t sequence) override {
      alignas(nlmsghdr) std::array<char, 256> buffer{};
      nlmsghdr* const message = mnl_nlmsg_put_header(buffer.data());
      message->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
      message->nlmsg_seq = sequence;
      switch (table) {
      case Table::links:
         message->nlmsg_type = RTM_GETLINK;
         mnl_nlmsg_put_extra_header(message, sizeof(ifinfomsg));
         break;
      case Table::addresses:
         message->nlmsg_type = RTM_GETADDR;
         mnl_nlmsg_put_extra_header(message, sizeof(ifaddrmsg));
         break;
      case Table::routes:
         message->nlmsg_type = RTM_GETROUTE;
         mnl_nlmsg_put_extra_header(message, sizeof(rtmsg));
         break;
      case Table::neighbours:
         message->nlmsg_type = RTM_GETNEIGH;
         mnl_nlmsg_put_extra_header(message, sizeof(ndmsg));
         break;
      case Table::statistics: {
         message->nlmsg_type = RTM_GETSTATS;
         auto* const fixed =
            static_cast<if_stats_msg*>(mnl_nlmsg_put_extra_header(message, sizeof(if_stats_msg)));
         fixed->filter_mask = IFLA_STATS_FILTER_BIT(IFLA_STATS_LINK_64);
         break;
      }
      }
      return mnl_socket_sendto(socket_, message, message->nlmsg_len) < 0 ? -errno : 0;
   }

 private:
   bool joinGroups() {
      for (int const group : {RTNLGRP_LINK, RTNLGRP_IPV4_IFADDR, RTNLGRP_IPV6_IFADDR,
                              RTNLGRP_IPV4_ROUTE, RTNLGRP_IPV6_ROUTE, RTNLGRP_NEIGH}) {
         int number = group;
         if (mnl_socket_setsockopt(socket_, NETLINK_ADD_MEMBERSHIP, &number, sizeof number) < 0) {
            return false;
         }
      }
      return true;
   }

   mnl_socket* socket_ = nullptr;
};

/// A socket that is only there to ask drivers through; it lives as long as the process.
int driverSocket() {
   static int const descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   return descriptor;
}

} // namespace

std::unique_ptr<KernelSocket> rtnetlinkSocket(bool hearsChanges) {
   return std::make_unique<RtnetlinkSocket>(hearsChanges);
}

std::uint32_t driverSpeed(std::string const& interface) {
   // The kernel first tells how long the lists of modes behind the settings are, then fills them.
   constexpr std::size_t longestLists = 3 * 127 * sizeof(std::uint32_t);
   alignas(ethtool_link_settings) std::array<char, sizeof(ethtool_link_settings) + longestLists>
      room{};
   auto* const settings = reinterpret_cast<ethtool_link_settings*>(room.data());
   ifreq request{};
   interface.copy(request.ifr_name, sizeof request.ifr_name - 1);
   request.ifr_data = room.data();
   settings->cmd = ETHTOOL_GLINKSETTINGS;
   if (ioctl(driverSocket(), SIOCETHTOOL, &request) != 0 || settings->link_mode_masks_nwords >= 0) {
      return 0;
   }
   settings->cmd = ETHTOOL_GLINKSETTINGS;
   settings->link_mode_masks_nwords = static_cast<std::int8_t>(-settings->link_mode_masks_nwords);
   if (ioctl(driverSocket(), SIOCETHTOOL, &request) != 0 ||
       settings->speed == static_cast<std::uint32_t>(SPEED_UNKNOWN)) {
      return 0;
   }
   return settings->speed;
}

} // namespace Linux
