/// Message sites. A site is one statement:
///
///    RINGSCRIBE_TRACE(5, "doMountNow", " mounting ", " remote:", remote, " port:", port);
///
/// The level is that of the stream trace: 8 for entry into an operation, 5 for a decision or an
/// outcome, 1 for what somebody has to see. A site has it once and for all, so readers choose by it
/// and writing costs the same at each. Literals are text and cost nothing per message; every other
/// argument becomes an argument of the message by its type: strings "p", enumerations and integers
/// of up to 32 bits "i", unsigned 16-bit integers "s", booleans "b", IPv4 addresses "I". Arguments
/// are evaluated only while tracing is on, which while it is off costs a load and a branch. Sites
/// run on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/Ptr.h>
#include <gantry/runtime/ringscribe/MsgDesc.h>
#include <gantry/runtime/ringscribe/RingBuf.h>
#include <gantry/runtime/ringscribe/TraceFile.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace RingScribe {

/// Says which types are IPv4 addresses, with `static std::uint32_t networkOrder(T const&)`. Types
/// with an operation `networkOrderValue()`, as the address of the framework has it, are; it is
/// specialised for others.
template <class T>
struct Ipv4Trait;
template <class T>
requires requires(T const& value) {
   { value.networkOrderValue() } -> std::same_as<std::uint32_t>;
}
struct Ipv4Trait<T> {
   static std::uint32_t networkOrder(T const& value) { return value.networkOrderValue(); }
};

template <class T>
concept Ipv4Address = requires(T const& value) {
   { Ipv4Trait<T>::networkOrder(value) } -> std::convertible_to<std::uint32_t>;
};

/// Strings that offer a view, as those of the framework do.
template <class T>
concept Viewable = requires(T const& value) {
   { value.view() } -> std::convertible_to<std::string_view>;
};

/// A literal: part of the text.
struct TextPart {
   std::string_view text;
};

template <class T>
constexpr bool isLiteral = false;
template <std::size_t n>
constexpr bool isLiteral<char const (&)[n]> = true;

template <class T>
constexpr bool isCharArray = std::is_array_v<std::remove_reference_t<T>>;

/// The value of one argument as a message carries it: TextPart, string_view, uint32_t, uint16_t,
/// bool, or Ipv4Word.
enum class Ipv4Word : std::uint32_t {};

template <class T>
inline auto tracePart(T&& value) {
   using Type = std::remove_cvref_t<T>;
   if constexpr (isLiteral<T>) {
      return TextPart{std::string_view(value, sizeof(value) - 1)};
   } else {
      static_assert(!isCharArray<T>, "trace an array of characters through a std::string_view");
      if constexpr (Ipv4Address<Type>) {
         return static_cast<Ipv4Word>(Ipv4Trait<Type>::networkOrder(value));
      } else if constexpr (Viewable<Type>) {
         return std::string_view(value.view());
      } else if constexpr (std::is_convertible_v<T, std::string_view>) {
         return std::string_view(value);
      } else if constexpr (std::same_as<Type, bool>) {
         return value;
      } else if constexpr (std::same_as<Type, std::uint16_t>) {
         return value;
      } else {
         static_assert(std::integral<Type> || std::is_enum_v<Type>,
                       "a trace message has no argument of this type");
         static_assert(sizeof(Type) <= sizeof(std::uint32_t),
                       "a trace message has no argument of 64 bits: narrow it where it is traced");
         return static_cast<std::uint32_t>(value);
      }
   }
}

constexpr std::size_t fixedBytesOf(TextPart const*) { return 0; }
constexpr std::size_t fixedBytesOf(std::string_view const*) { return sizeof(std::uint16_t); }
constexpr std::size_t fixedBytesOf(std::uint32_t const*) { return sizeof(std::uint32_t); }
constexpr std::size_t fixedBytesOf(std::uint16_t const*) { return sizeof(std::uint16_t); }
constexpr std::size_t fixedBytesOf(bool const*) { return 1; }
constexpr std::size_t fixedBytesOf(Ipv4Word const*) { return sizeof(std::uint32_t); }

/// Strings are counted apart, in traceWrite.
inline std::size_t textBytesOf(std::string_view text) { return text.size(); }
template <class T>
inline std::size_t textBytesOf(T) {
   return 0;
}

inline void storePart(RingBuf& buffer, std::string_view text) { buffer.storeTextKnown(text); }
inline void storePart(RingBuf& buffer, Ipv4Word address) {
   buffer.storeKnown(static_cast<std::uint32_t>(address));
}
template <std::integral T>
inline void storePart(RingBuf& buffer, T value) {
   buffer.storeKnown(value);
}

inline void storePartCut(RingBuf& buffer, std::size_t bytesMax, std::string_view text) {
   buffer.storeText(text, bytesMax);
}
template <class T>
inline void storePartCut(RingBuf& buffer, std::size_t, T value) {
   storePart(buffer, value);
}

/// One site: its identifier, zero until its first use in a file, its place and its level.
struct MsgSite {
   std::uint32_t msgId;
   std::uint32_t line;
   char const* file;
   std::uint8_t level;
};

/// One part of a site's text.
struct MsgPart {
   /// Null letter: `text`; otherwise the next argument.
   char letter;
   std::string_view text;
};

inline MsgPart msgPart(TextPart part) { return {'\0', part.text}; }
inline MsgPart msgPart(std::string_view) { return {static_cast<char>(Letter::string), {}}; }
inline MsgPart msgPart(std::uint32_t) { return {static_cast<char>(Letter::word32), {}}; }
inline MsgPart msgPart(std::uint16_t) { return {static_cast<char>(Letter::word16), {}}; }
inline MsgPart msgPart(bool) { return {static_cast<char>(Letter::flag), {}}; }
inline MsgPart msgPart(Ipv4Word) { return {static_cast<char>(Letter::ipv4), {}}; }

/// Describes the site in theTraceFile. Returns false when the site found no room there, now or
/// before, and traces nothing.
GANTRY_EXPORT bool describeSite(MsgSite& site, MsgPart const* parts, std::size_t count);

template <class... Parts>
[[gnu::cold, gnu::noinline]] bool describeParts(MsgSite& site, Parts... parts) {
   MsgPart const list[] = {msgPart(parts)...};
   return describeSite(site, list, sizeof...(parts));
}

/// Writes one message whose strings do not fit: each gets its share of the room.
template <class... Values>
[[gnu::cold, gnu::noinline]] void traceWriteCut(TraceFile& file, std::uint32_t msgId,
                                                std::size_t share, Values... values) {
   RingBuf buffer = RingBuf::startMsg(file, msgId, traceArgumentBytesMax);
   (storePartCut(buffer, share, values), ...);
   buffer.endMsg();
}

/// Writes one message; shared by all sites with the same kinds of arguments in the same order.
template <class... Values>
[[gnu::noinline]] void traceWrite(TraceFile& file, std::uint32_t msgId, Values... values) {
   static_assert(sizeof...(Values) <= traceArgumentsMax, "too many arguments for a trace message");
   constexpr std::size_t fixed =
      (std::size_t{0} + ... + fixedBytesOf(static_cast<Values const*>(nullptr)));
   constexpr std::size_t strings =
      (std::size_t{0} + ... + std::size_t{std::is_same_v<Values, std::string_view>});
   constexpr std::size_t room = traceArgumentBytesMax - fixed;
   std::size_t const text = (std::size_t{0} + ... + textBytesOf(values));
   if constexpr (strings != 0) {
      if (__builtin_expect(text > room, 0)) {
         traceWriteCut(file, msgId, room / strings, values...);
         return;
      }
   }
   RingBuf buffer = RingBuf::startMsg(file, msgId, fixed + text);
   (storePart(buffer, values), ...);
   buffer.endMsgKnown();
}

/// Passes on only what is not text, one part after the other.
template <class... Values>
struct ValuesOnly {
   template <class Next, class... Rest>
   static void write(TraceFile& file, std::uint32_t msgId, Values... values, Next next,
                     Rest... rest) {
      if constexpr (std::is_same_v<Next, TextPart>) {
         ValuesOnly::write(file, msgId, values..., rest...);
      } else {
         ValuesOnly<Values..., Next>::write(file, msgId, values..., next, rest...);
      }
   }
   static void write(TraceFile& file, std::uint32_t msgId, Values... values) {
      traceWrite(file, msgId, values...);
   }
};

template <class... Parts>
[[gnu::always_inline]] inline void traceParts(MsgSite& site, Parts... parts) {
   if (__builtin_expect(!theTraceFile->msgIdIsCurrent(site.msgId), 0)) {
      if (!describeParts(site, parts...)) {
         return;
      }
   }
   ValuesOnly<>::write(*theTraceFile, site.msgId, parts...);
}

template <class... Arguments>
[[gnu::always_inline]] inline void traceMsg(MsgSite& site, Arguments&&... arguments) {
   traceParts(site, tracePart<Arguments>(static_cast<Arguments&&>(arguments))...);
}

} // namespace RingScribe

#define RINGSCRIBE_TRACE(level, ...)                                                               \
   do {                                                                                            \
      if (__builtin_expect(static_cast<bool>(::RingScribe::theTraceFile), 0)) {                    \
         static constinit ::RingScribe::MsgSite fenTraceSite{0, __LINE__, __FILE__, (level)};      \
         ::RingScribe::traceMsg(fenTraceSite, __VA_ARGS__);                                        \
      }                                                                                            \
   } while (false)
