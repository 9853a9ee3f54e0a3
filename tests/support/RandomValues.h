/// Random values of the types that the library's attributes have, and entities made of them. The
/// same seed gives the same values on every machine. Header only; a test holds one, on the activity
/// loop's thread.
#pragma once

#include <gantry/Gantry.h>

#include <concepts>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <tuple>

namespace TestSupport {

/// How many times more than usual a random test runs, from the environment.
inline unsigned longFactor() {
   char const* const text = std::getenv("GANTRY_TEST_LONG");
   int const factor = text != nullptr ? std::atoi(text) : 1;
   return factor > 1 ? static_cast<unsigned>(factor) : 1;
}

/// What an entity is constructed from, as a tuple. Entities that travel tell it themselves.
template <class T>
struct ParametersOf {
   using Tuple = decltype(std::declval<T const&>().fenParameters());
};
template <class... Parameters>
struct ParameterList {
   using Tuple = std::tuple<Parameters...>;
};
template <>
struct ParametersOf<Controller::MountSmData> : ParameterList<Controller::SystemId, Fen::String8> {};
template <>
struct ParametersOf<Controller::Mounter>
   : ParameterList<Controller::MounterName, Fen::Ptr<Controller::MountConfig const>,
                   Fen::Ptr<Controller::ServiceMountGroupConfig const>,
                   Fen::Ptr<Controller::ServiceMountStatus>> {};
template <>
struct ParametersOf<Controller::MountsRegistryEntry>
   : ParameterList<Fen::Name, Fen::String8, Fen::String8, Fen::String8,
                   Controller::MountsRegistry*> {};
template <>
struct ParametersOf<Controller::PublishRegistryEntry>
   : ParameterList<Fen::Name, Fen::String8, Fen::String8, bool, Fen::String8,
                   Fen::Ptr<Controller::MountFilterServiceVersion const>,
                   Fen::Ptr<Controller::MountFilterSystem const>, Controller::MountsRegistry*> {};
template <>
struct ParametersOf<Controller::MountsRegistry>
   : ParameterList<Fen::Ptr<Fen::Dir>, Fen::String8, Fen::Ptr<Fen::Dir>, Fen::String8,
                   std::uint32_t, double> {};

class RandomValues {
 public:
   explicit RandomValues(unsigned seed) : engine_(seed) {}

   std::size_t number(std::size_t limit) { return engine_() % limit; }

   /// A value; of an enumeration one that has a name. A pointer leads to a fresh entity.
   template <class T>
   T any() {
      T value{};
      make(value);
      return value;
   }
   /// The same, now and then null for a pointer.
   template <class T>
   T anyOrNull() {
      return Fen::IsPointer<T>::value && number(4) == 0 ? T{} : any<T>();
   }

 private:
   template <std::integral Integer>
   void make(Integer& value) {
      using Limits = std::numeric_limits<Integer>;
      switch (number(8)) {
      case 0:
         value = Limits::min();
         return;
      case 1:
         value = Limits::max();
         return;
      default:
         value = static_cast<Integer>(engine_() >> number(32));
      }
   }
   void make(bool& value) { value = number(2) != 0; }
   void make(double& value) {
      value = number(8) == 0
                 ? std::numeric_limits<double>::infinity()
                 : static_cast<double>(engine_()) / (1 + static_cast<double>(number(99)));
   }
   /// Any bytes, more often those that mean something in a text form or a path.
   void make(Fen::String8& value) {
      static constexpr std::string_view likely = "'\\\n\t {}(),:*/.0aA";
      std::string text;
      for (std::size_t n = number(9); n > 0; --n) {
         text += number(2) == 0 ? static_cast<char>(engine_()) : likely[number(likely.size())];
      }
      value = Fen::String8(text);
   }
   void make(Fen::Name& value) { value = Fen::Name(any<Fen::String8>()); }
   template <std::derived_from<Nimet::EthAddr> Address>
   void make(Address& value) {
      Nimet::EthAddr::Bytes bytes;
      for (auto& byte : bytes) {
         byte = static_cast<std::uint8_t>(engine_());
      }
      value = Address(Nimet::EthAddr(bytes).stringValue());
   }
   void make(Nimet::IpAddr& value) {
      value = Nimet::IpAddr::fromNetworkOrder(static_cast<std::uint32_t>(engine_()));
   }
   void make(Cairn::MountStatus& value) { value = static_cast<Cairn::MountStatus>(number(12)); }
   void make(Controller::MountState& value) {
      value = static_cast<Controller::MountState>(number(6));
   }
   void make(Controller::PublishState& value) {
      value = static_cast<Controller::PublishState>(number(2));
   }
   void make(Controller::MountSm::SmState& value) {
      value = static_cast<Controller::MountSm::SmState>(number(5));
   }
   template <Fen::HasFields Value>
   void make(Value& value) {
      Value::fenEachField(value, [this](char const*, auto& field) { this->make(field); });
   }
   template <class T>
   void make(Fen::Ptr<T>& value) {
      using Entity = std::remove_const_t<T>;
      if constexpr (std::same_as<Entity, Fen::Dir>) {
         value = Fen::dirFactory(any<Fen::Name>());
      } else if constexpr (requires { new Entity(); }) {
         value = Fen::makePtr<Entity>();
      } else if constexpr (requires { new Entity(Fen::Name()); }) {
         value = Fen::makePtr<Entity>(any<Fen::Name>());
      } else {
         value = std::apply([](auto const&... each) { return Fen::makePtr<Entity>(each...); },
                            anyOf(static_cast<typename ParametersOf<Entity>::Tuple*>(nullptr)));
      }
   }
   /// A way back to an owner that is not there.
   template <class T>
   void make(T*& value) {
      value = nullptr;
   }
   template <class... Each>
   std::tuple<Each...> anyOf(std::tuple<Each...>*) {
      // Braces: one after the other.
      return std::tuple<Each...>{any<Each>()...};
   }

   std::mt19937 engine_;
};

} // namespace TestSupport
