// What makes generated entities travel: the parts of it that the compiler decides. How changes
// reach the other side is the runtime's, and tested there.

#include <tests/fenc/generated/House.fen.h>
#include <tests/fenc/generated/Village.fen.h>

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace {

using namespace FenTest;
using Fen::Ptr;

TEST(GeneratedAdapter, entitiesThatTravelHaveAWire) {
   EXPECT_NE(Village::_fwkType()->wire(), nullptr);
   EXPECT_NE(Mill::_fwkType()->wire(), nullptr);
   EXPECT_EQ(House::_fwkType()->wire(), nullptr) << "a local entity stays on its node";
   EXPECT_TRUE(villageFactory("v")->fenHasAttrLogInterface());
   EXPECT_FALSE(houseFactory("h")->fenHasAttrLogInterface());
}

TEST(GeneratedAdapter, everyKindOfAttributeTravels) {
   for (Fen::AttrDesc const& attribute : Village::_fwkType()->attributes()) {
      std::string const name = attribute.name;
      bool const stays = name == "villageName" || name == "mayorAge" || name == "code";
      EXPECT_EQ(attribute.wire == nullptr, stays) << name;
   }
}

TEST(GeneratedAdapter, typesAreFoundByNameFromTheStart) {
   for (char const* name : {"FenTest::Mill", "FenTest::Village", "FenTest::DoorState",
                            "FenTest::Address", "FenTest::HouseSm::CellarSm"}) {
      EXPECT_NE(Fen::FenType::type(name), nullptr) << name;
   }
}

TEST(GeneratedAdapter, parametersAreThoseOfTheConstructor) {
   Ptr<Village> const village = villageFactory("v");
   Ptr<Mill> const mill = village->millIs("m", "Elbe", 3);
   EXPECT_EQ(mill->fenParameters(),
             std::make_tuple(Fen::Name("m"), Fen::String8("Elbe"), std::uint32_t{3}));
   Ptr<Lane> const lane = village->laneIs("7");
   EXPECT_EQ(lane->fenParameters(), std::make_tuple(Fen::Name("7"), Fen::String8("7")));
}

TEST(GeneratedAdapter, operationsHaveTheNamesOfTheAttributes) {
   using Adapter = Village::FenNboAttrLogSa;
   using Flow = Adapter::FlowOut;
   EXPECT_TRUE((std::is_base_of_v<Fen::Entity::FenNboAttrLogSa, Adapter>));
   EXPECT_TRUE((std::is_same_v<decltype(&Adapter::onCount), void (Adapter::*)()>));
   EXPECT_TRUE((std::is_same_v<decltype(&Adapter::onLit), void (Adapter::*)(Fen::String8)>));
   EXPECT_TRUE((std::is_same_v<decltype(&Adapter::onAt), void (Adapter::*)(Address const&)>));
   EXPECT_TRUE((std::is_same_v<decltype(&Adapter::fenHandleMottoSerialize), bool (Adapter::*)()>));
   EXPECT_TRUE(
      (std::is_same_v<decltype(&Adapter::fenHandleMillSerializeColl), bool (Adapter::*)()>));
   EXPECT_TRUE((std::is_same_v<decltype(&Adapter::fenHandleMillSerializeSing),
                               void (Adapter::*)(Fen::Name, Ptr<Mill> const&, bool)>));
   EXPECT_TRUE((std::is_same_v<decltype(&Adapter::millNboAttrLogAdapterDel),
                               void (Adapter::*)(Ptr<Mill> const&)>));
   // What a record owns does not tell its key, so the record stands for it.
   EXPECT_TRUE(
      (std::is_same_v<decltype(&Adapter::fenHandleWardenSerializeSing),
                      void (Adapter::*)(Fen::Name, Ptr<Village::FenWarden> const&, bool)>));
   EXPECT_TRUE((std::is_same_v<decltype(&Adapter::wardenNboAttrLogAdapterDel),
                               void (Adapter::*)(Ptr<Village::FenWarden> const&)>));
   EXPECT_TRUE((std::is_same_v<decltype(&Flow::fenWardenHasSynced), bool (Flow::*)() const>));
   EXPECT_TRUE((std::is_same_v<decltype(&Flow::fenIsCountDirtyIs), void (Flow::*)(bool)>));
   EXPECT_TRUE((std::is_same_v<decltype(&Flow::fenMillHasSynced), bool (Flow::*)() const>));
}

} // namespace
