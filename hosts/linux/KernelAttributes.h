/// A bounded look at the attributes of a netlink message, and the names of the kernel's numbers.
///
/// Borrowed pointers into a receive buffer: nothing here outlives the message.
#pragma once

#include <libmnl/libmnl.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace Linux {

/// Attributes by number, the first of each; those above `highest` are passed over.
template <std::size_t highest>
class KernelAttributes {
 public:
   /// Those behind the fixed part of a message, whose size the caller has checked.
   KernelAttributes(nlmsghdr const* message, std::size_t fixedPart) {
      auto const* const start = static_cast<char const*>(mnl_nlmsg_get_payload(message));
      read(start + MNL_ALIGN(fixedPart), start + mnl_nlmsg_get_payload_len(message));
   }
   /// Those inside another attribute; null has none.
   explicit KernelAttributes(nlattr const* nest) {
      if (nest != nullptr) {
         auto const* const start = static_cast<char const*>(mnl_attr_get_payload(nest));
         read(start, start + mnl_attr_get_payload_len(nest));
      }
   }
   KernelAttributes(char const* start, char const* end) { read(start, end); }

   nlattr const* operator[](std::size_t number) const { return found_[number]; }

   /// The number in an attribute, `absent` when it is not there or too short.
   std::uint32_t number(std::size_t number, std::uint32_t absent = 0) const {
      std::uint32_t value = absent;
      if (found_[number] != nullptr && mnl_attr_get_payload_len(found_[number]) >= sizeof value) {
         std::memcpy(&value, mnl_attr_get_payload(found_[number]), sizeof value);
      }
      return value;
   }
   std::uint8_t byte(std::size_t number, std::uint8_t absent = 0) const {
      return found_[number] != nullptr && mnl_attr_get_payload_len(found_[number]) >= 1
                ? *static_cast<std::uint8_t const*>(mnl_attr_get_payload(found_[number]))
                : absent;
   }
   /// The text in an attribute up to its NUL or its end, empty when it is not there.
   std::string_view text(std::size_t number) const {
      std::string_view const bytes = payload(number);
      return bytes.substr(0, bytes.find('\0'));
   }
   std::string_view payload(std::size_t number) const {
      if (found_[number] == nullptr) {
         return {};
      }
      return {static_cast<char const*>(mnl_attr_get_payload(found_[number])),
              mnl_attr_get_payload_len(found_[number])};
   }

 private:
   void read(char const* at, char const* end) {
      while (end - at >= static_cast<std::ptrdiff_t>(sizeof(nlattr))) {
         auto const* const attribute = reinterpret_cast<nlattr const*>(at);
         if (attribute->nla_len < sizeof(nlattr) || attribute->nla_len > end - at) {
            return;
         }
         std::size_t const type = mnl_attr_get_type(attribute);
         if (type <= highest && found_[type] == nullptr) {
            found_[type] = attribute;
         }
         std::ptrdiff_t const step = MNL_ALIGN(attribute->nla_len);
         if (step > end - at) {
            return;
         }
         at += step;
      }
   }

   std::array<nlattr const*, highest + 1> found_{};
};

/// Bytes in hexadecimal with colons between; a longer address than any link has is cut.
std::string hardwareText(std::string_view bytes);
/// An IPv4 or IPv6 address of 4 or 16 bytes, empty for another length.
std::string addressText(std::string_view bytes);
/// The kernel's numbers by the names that its tools print, else in decimal.
std::string scopeText(unsigned scope);
std::string routeKindText(unsigned kind);
std::string protocolText(unsigned protocol);
std::string neighbourStateText(unsigned state);
/// What a link is when the kernel gives it no kind of its own.
std::string deviceTypeText(unsigned type);

} // namespace Linux
