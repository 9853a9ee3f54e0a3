// One rtnetlink request for each change, with its answer.

#include <hosts/linux/LinkControl.h>

#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace Linux {

namespace {

/// The kernel's limit for an alias, IFALIASZ, with room for the rest of the message.
constexpr std::size_t longestDescription = 255;

class RtnetlinkControl : public LinkControl {
 public:
   RtnetlinkControl() : socket_(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC)) {
      if (socket_ == nullptr || mnl_socket_bind(socket_, 0, MNL_SOCKET_AUTOPID) < 0) {
         int const error = errno;
         if (socket_ != nullptr) {
            mnl_socket_close(socket_);
         }
         throw std::system_error(error, std::generic_category(), "cannot open a netlink socket");
      }
   }
   ~RtnetlinkControl() override { mnl_socket_close(socket_); }
   RtnetlinkControl(RtnetlinkControl const&) = delete;
   RtnetlinkControl& operator=(RtnetlinkControl const&) = delete;

   int linkIs(std::string const& interface, LinkSettings const& settings) override {
      // The kernel would take the beginning of a longer name or refuse in other words.
      if (interface.empty() || interface.size() >= IFNAMSIZ) {
         return ENODEV;
      }
      if (settings.description && settings.description->size() > longestDescription) {
         return EINVAL;
      }
      alignas(nlmsghdr) std::array<char, 1024> buffer{};
      nlmsghdr* const message = mnl_nlmsg_put_header(buffer.data());
      message->nlmsg_type = RTM_NEWLINK;
      message->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
      message->nlmsg_seq = ++sequence_;
      auto* const link =
         static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(message, sizeof(ifinfomsg)));
      link->ifi_family = AF_UNSPEC;
      if (settings.adminUp) {
         link->ifi_change = IFF_UP;
         link->ifi_flags = *settings.adminUp ? IFF_UP : 0;
      }
      mnl_attr_put_strz(message, IFLA_IFNAME, interface.c_str());
      if (settings.mtu) {
         mnl_attr_put_u32(message, IFLA_MTU, *settings.mtu);
      }
      if (settings.description) {
         mnl_attr_put_strz(message, IFLA_IFALIAS, settings.description->c_str());
      }
      if (mnl_socket_sendto(socket_, message, message->nlmsg_len) < 0) {
         return errno;
      }
      return answer();
   }

 private:
   int answer() {
      alignas(nlmsghdr) std::array<char, 8192> buffer{};
      for (;;) {
         ssize_t const size = mnl_socket_recvfrom(socket_, buffer.data(), buffer.size());
         if (size < 0) {
            return errno;
         }
         // An acknowledgement is an error message with the number 0; the run ends on it.
         int const result = mnl_cb_run(buffer.data(), static_cast<std::size_t>(size), sequence_,
                                       mnl_socket_get_portid(socket_), nullptr, nullptr);
         if (result == MNL_CB_ERROR) {
            return errno;
         }
         if (result == MNL_CB_STOP) {
            return 0;
         }
      }
   }

   mnl_socket* const socket_;
   std::uint32_t sequence_ = 0;
};

} // namespace

std::unique_ptr<LinkControl> rtnetlinkControl() { return std::make_unique<RtnetlinkControl>(); }

} // namespace Linux
