// Generated values and enumerations.

#include <tests/fenc/generated/Base.fen.h>

#include <gantry/runtime/fen/Exception.h>

#include <gtest/gtest.h>

#include <sstream>

namespace {

using FenTest::Address;
using FenTest::DoorState;

template <class T>
std::string streamed(T const& value) {
   std::ostringstream out;
   out << value;
   return out.str();
}

TEST(GeneratedEnumeration, textOfNamedAndUnnamedNumbers) {
   EXPECT_EQ(stringValue(FenTest::doorClosed), "doorClosed");
   EXPECT_EQ(stringValue(FenTest::doorOpen), "open");
   EXPECT_EQ(stringValue(static_cast<DoorState>(2)), "DoorState(2)");
   EXPECT_EQ(streamed(FenTest::doorStuck), "doorStuck");
   EXPECT_EQ(valueToStrep(FenTest::doorOpen), "'open'");
}

TEST(GeneratedEnumeration, valuesFromNumbersAndTexts) {
   EXPECT_EQ(FenTest::DoorStateInstance(7u), FenTest::doorStuck);
   EXPECT_EQ(FenTest::DoorStateInstance(Fen::String8("open")), FenTest::doorOpen);
   for (auto const& wrong : {"doorOpen", "", "Open"}) {
      EXPECT_THROW(FenTest::DoorStateInstance(Fen::String8(wrong)), Fen::RangeException) << wrong;
   }
   try {
      FenTest::DoorStateInstance(2u);
      FAIL() << "2 is no door state";
   } catch (Fen::RangeException const& exception) {
      EXPECT_EQ(exception.text(), "DoorState");
   }
   EXPECT_EQ(fenInstance(1u, static_cast<DoorState const*>(nullptr)), FenTest::doorOpen);
}

TEST(GeneratedEnumeration, typeObject) {
   EXPECT_EQ(FenTest::_fwkType_DoorState()->fullTypeName(), "FenTest::DoorState");
   EXPECT_EQ(FenTest::_fwkType_DoorState(), FenTest::_fwkType_DoorState());
}

TEST(GeneratedType, isFoundByNameFromTheStart) {
   for (char const* name : {"FenTest::DoorState", "FenTest::Address", "FenTest::Resident"}) {
      EXPECT_NE(Fen::FenType::type(name), nullptr) << name;
   }
}

TEST(GeneratedValue, freshOneHoldsItsDefaults) {
   Address const fresh;
   EXPECT_TRUE(!fresh);
   EXPECT_EQ(fresh.street(), "");
   EXPECT_EQ(fresh.number(), 1u);
   EXPECT_FALSE(!Address("", 0)) << "a number that is not the default is something";
}

TEST(GeneratedValue, comparesFieldByField) {
   Address const a("a", 2), b("b", 1), a3("a", 3);
   EXPECT_TRUE(a < b && a < a3 && !(b < a) && !(a < a));
   EXPECT_TRUE(a <= a && a <= b && b >= a && b > a && !(a > a3));
   EXPECT_TRUE(a == Address("a", 2) && a != a3);
   EXPECT_EQ(a.hash(), Address("a", 2).hash());
}

TEST(GeneratedValue, textReadsLikeALiteral) {
   Address const address("main's", 4);
   EXPECT_EQ(valueToStrep(address),
             "Value('FenTest::Address', ** {'street': 'main\\'s', 'number': 4})");
   EXPECT_EQ(streamed(address), valueToStrep(address).str());
}

TEST(GeneratedValue, fieldsCanBeVisited) {
   Address address("x", 9);
   std::string seen;
   Address::fenEachField(address, [&](char const* name, auto& field) {
      seen += name;
      if constexpr (std::is_same_v<decltype(field), std::uint32_t&>) {
         field = 10;
      }
   });
   EXPECT_EQ(seen, "streetnumber");
   EXPECT_EQ(address.number(), 10u);
   EXPECT_EQ(Address::_fwkType()->fullTypeName(), "FenTest::Address");
}

} // namespace
