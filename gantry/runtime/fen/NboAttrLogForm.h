/// The log form of values: how one value of a type is written to and read from the attribute log.
/// Templates alone; no thread, no state.
///
/// LogForm<T> has `put( Out&, T const& )`, `take( In& )`, and `held( T const& )`, the bytes that
/// the value holds beside its own size. A type of constant length says so with `bytes` and has
/// `store( std::uint8_t*, T )`, for the short way of a single change to the buffer.
///
/// A value type made from a schema has `operator<<( NboAttrLog::Out&, T const& )` and
/// `operator>>( NboAttrLog::In&, T& )` in its namespace, found by argument, and may have
/// `fenHeldBytes( T const& )`. An enumeration has
/// `fenInstance( unsigned number, E const* )`, which throws RangeException for a number that it
/// does not name.
#pragma once

#include <gantry/runtime/fen/NboAttrLogIn.h>
#include <gantry/runtime/fen/NboAttrLogOut.h>

#include <concepts>
#include <limits>
#include <type_traits>

namespace Fen::NboAttrLog {

/// Counts a number that an enumeration does not name, on the channel that is being read and for
/// the process.
GANTRY_EXPORT void unknownEnumSeen(In& in);

/// Form of value types: through their own operators.
template <class T>
struct LogForm {
   static void put(Out& out, T const& value) { out << value; }
   static T take(In& in) {
      T value{};
      in >> value;
      return value;
   }
   static std::size_t held(T const& value) {
      if constexpr (requires { fenHeldBytes(value); }) {
         return fenHeldBytes(value);
      } else {
         return 0;
      }
   }
};

template <>
struct LogForm<bool> {
   static constexpr std::size_t bytes = 1;
   static void store(std::uint8_t* at, bool value) { *at = value ? 1 : 0; }
   static void put(Out& out, bool value) { out << value; }
   static bool take(In& in) { return in.nextbool(); }
   static std::size_t held(bool) { return 0; }
};

/// Numbers travel as themselves.
template <class T>
requires((std::integral<T> && !std::same_as<T, bool>) ||
         std::same_as<T, double>) struct LogForm<T> {
   static constexpr std::size_t bytes = sizeof(T);
   static void store(std::uint8_t* at, T value) {
      if constexpr (std::same_as<T, double>) {
         storeBig64(at, std::bit_cast<std::uint64_t>(value));
      } else if constexpr (sizeof(T) == 8) {
         storeBig64(at, static_cast<std::uint64_t>(value));
      } else if constexpr (sizeof(T) == 4) {
         storeBig32(at, static_cast<std::uint32_t>(value));
      } else if constexpr (sizeof(T) == 2) {
         storeBig16(at, static_cast<std::uint16_t>(value));
      } else {
         *at = static_cast<std::uint8_t>(value);
      }
   }
   static void put(Out& out, T value) {
      store(out.bytes().room(bytes), value);
      out.bytes().stored(bytes);
   }
   static T take(In& in) {
      if constexpr (std::same_as<T, double>) {
         return in.nextdouble();
      } else if constexpr (sizeof(T) == 8) {
         return static_cast<T>(in.nextU64());
      } else if constexpr (sizeof(T) == 4) {
         return static_cast<T>(in.nextU32());
      } else if constexpr (sizeof(T) == 2) {
         return static_cast<T>(in.nextU16());
      } else {
         return static_cast<T>(in.nextU8());
      }
   }
   static std::size_t held(T) { return 0; }
};

/// An enumeration travels as its number in 32 bits. A number that it does not name is counted and
/// stored as it stands, so that a newer peer's states pass through an older node.
template <class E>
requires std::is_enum_v<E>
struct LogForm<E> {
   static constexpr std::size_t bytes = 4;
   static void store(std::uint8_t* at, E value) { storeBig32(at, number(value)); }
   static void put(Out& out, E value) { out << number(value); }
   static E take(In& in) {
      std::uint32_t const number = in.nextU32();
      if constexpr (requires { fenInstance(number, static_cast<E const*>(nullptr)); }) {
         try {
            Expect const expect(Exception::Id::range);
            return fenInstance(number, static_cast<E const*>(nullptr));
         } catch (RangeException const&) {
            unknownEnumSeen(in);
         }
      }
      return raw(number);
   }
   static std::size_t held(E) { return 0; }

 private:
   static std::uint32_t number(E value) { return static_cast<std::uint32_t>(value); }
   static E raw(std::uint32_t number) {
      using Stored = std::underlying_type_t<E>;
      if constexpr (sizeof(Stored) < sizeof number) {
         if (number > std::numeric_limits<std::make_unsigned_t<Stored>>::max()) {
            refuse(Refusal::malformed, "an enumeration's number is too large to be stored");
         }
      }
      return static_cast<E>(static_cast<Stored>(number));
   }
};

template <class T>
requires std::derived_from<T, String8>
struct LogForm<T> {
   static void put(Out& out, T const& text) { out.bytes().putText(text.view()); }
   static T take(In& in) { return T(in.nextText()); }
   static std::size_t held(T const& text) { return held(text.view()); }
   static std::size_t held(std::string_view text) { return text.empty() ? 0 : text.size() + 16; }
};

/// True for types of constant length.
template <class T>
concept FixedLogForm = requires {
   LogForm<T>::bytes;
};

// ---- a change of one attribute, whose message is stored whole with one check for room

/// Stores the frame around an item of `bytes`; returns where the item goes.
inline std::uint8_t* changeStore(std::uint8_t* at, std::uint32_t channel, EntityId entity,
                                 std::int32_t attribute, std::size_t bytes) {
   storeBig32(at, static_cast<std::uint32_t>(messageOverheadBytes + bytes - 4));
   storeBig32(at + 4, (static_cast<std::uint32_t>(FrameKind::message) << 24) | channel);
   storeBig64(at + 8, entity.number());
   storeBig32(at + 16, static_cast<std::uint32_t>(attribute));
   at[20] = 1;
   storeBig64(at + 21, 0);
   at[29] = 0;
   at[30] = static_cast<std::uint8_t>(Connection::Out::TransactToken::open);
   at[31 + bytes] = static_cast<std::uint8_t>(Connection::Out::TransactToken::close);
   return at + 31;
}
template <FixedLogForm T>
inline void changePut(Out& out, EntityId entity, std::int32_t attribute, T value) {
   constexpr std::size_t bytes = LogForm<T>::bytes;
   Connection::Out& to = out.bytes();
   std::uint8_t* const at = to.room(messageOverheadBytes + bytes);
   LogForm<T>::store(changeStore(at, out.channel(), entity, attribute, bytes), value);
   to.frameStored(messageOverheadBytes + bytes);
}
/// The longest text that fits into one message.
constexpr std::size_t longestTextPart = messageBytesLimit - messageOverheadBytes - 4;
/// `text` is no longer than that.
inline void changePut(Out& out, EntityId entity, std::int32_t attribute, std::string_view text) {
   std::size_t const bytes = 4 + text.size();
   Connection::Out& to = out.bytes();
   std::uint8_t* const at = to.room(messageOverheadBytes + bytes);
   std::uint8_t* const item = changeStore(at, out.channel(), entity, attribute, bytes);
   storeBig32(item, static_cast<std::uint32_t>(text.size()));
   std::memcpy(item + 4, text.data(), text.size());
   to.frameStored(messageOverheadBytes + bytes);
}

} // namespace Fen::NboAttrLog
