// Generated entities: that each kind of attribute behaves by the runtime's rules, and that what the
// compiler adds (keys, back pointers, mutable parameters, paths) does what the schema says.

#include <tests/fenc/generated/House.fen.h>

#include <gantry/runtime/fen/Exception.h>

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace {

using namespace FenTest;
using Fen::Name;
using Fen::Ptr;
using Fen::String8;

class Listener : public House::Notifiee {
 public:
   explicit Listener(Ptr<House> const& house) : House::Notifiee(house) {
      isRegisteredNotifieeIs(true);
   }
   std::string take() { return std::exchange(log_, std::string()); }

   void onInhabited() override { log_ += "inhabited;"; }
   void onTenant() override { log_ += "tenant;"; }
   void onFrontDoor() override { log_ += "frontDoor;"; }
   void onDoor(Name key) override { log_ += "door:" + key.str() + ";"; }
   void onRoom(String8 key) override { log_ += "room:" + key.str() + ";"; }
   void onKeyRing(String8 key) override { log_ += "keyRing:" + key.str() + ";"; }
   void onMeter(Name key) override { log_ += "meter:" + key.str() + ";"; }
   void onLit(String8 key) override { log_ += "lit:" + key.str() + ";"; }
   void onLevel(std::uint32_t key) override { log_ += "level:" + std::to_string(key) + ";"; }
   void onKnown(Controller::SystemId const& key) override {
      log_ += "known:" + key.stringValue().str() + ";";
   }
   void onVisitor(std::uint32_t key) override { log_ += "visitor:" + std::to_string(key) + ";"; }
   void onPast(String8 key) override { log_ += "past:" + key.str() + ";"; }
   void onPet(Name key) override { log_ += "pet:" + key.str() + ";"; }
   void onVersion(std::uint32_t key) override { log_ += "version:" + std::to_string(key) + ";"; }

 private:
   std::string log_;
};

class GeneratedEntity : public testing::Test {
 protected:
   Ptr<House> house_ = houseFactory("home");
   Ptr<Listener> listener_ = Fen::makePtr<Listener>(house_);
   std::string take() { return listener_->take(); }
};

String8 textOf(auto const& throws) {
   try {
      throws();
   } catch (Fen::Exception const& exception) {
      return exception.text();
   }
   return "nothing was thrown";
}

TEST_F(GeneratedEntity, freshOne) {
   EXPECT_EQ(house_->name(), "home");
   EXPECT_EQ(house_->motto(), "home");
   EXPECT_FALSE(house_->inhabited());
   EXPECT_EQ(house_->serial(), 0u);
   EXPECT_EQ(House::floors(), 2u);
   EXPECT_EQ(house_->tenant(), nullptr);
   EXPECT_EQ(house_->frontDoor(), nullptr);
   EXPECT_EQ(house_->doorCountText(), "0 doors");
   EXPECT_FALSE(house_->fenHasAttrLogInterface());
   EXPECT_TRUE(residentFactory("r")->fenHasAttrLogInterface());
}

TEST_F(GeneratedEntity, scalarsAndReferences) {
   house_->inhabitedIs(false);
   house_->tenantIs(nullptr);
   EXPECT_EQ(take(), "");
   house_->inhabitedIs(true);
   Ptr<Resident> const resident = residentFactory("ann");
   house_->tenantIs(resident);
   house_->tenantIs(resident);
   EXPECT_EQ(take(), "inhabited;tenant;");
   EXPECT_EQ(house_->tenant(), resident);
   resident->ageIs(30);
   EXPECT_EQ(house_->tenantAge(), 30u);
   house_->tenantIs(nullptr);
   EXPECT_EQ(house_->tenantAge(), 0u) << "the way is cut";
}

TEST_F(GeneratedEntity, requiredReferenceRefusesNull) {
   EXPECT_EQ(textOf([&] { house_->guestIs(nullptr); }),
             "null _guest parameter to mutator for FenTest::House::guest not allowed\"");
}

TEST_F(GeneratedEntity, singleChild) {
   Ptr<Door> const door = house_->frontDoorIs("front", "oak", 90);
   EXPECT_EQ(take(), "frontDoor;");
   EXPECT_EQ(door->parent(), house_);
   EXPECT_EQ(house_->frontDoorIs("front", "oak", 90), door);
   EXPECT_EQ(take(), "");
   Ptr<Door> const other = house_->frontDoorIs("side", "pine", 80);
   EXPECT_EQ(take(), "frontDoor;");
   EXPECT_EQ(door->parent(), nullptr);
   EXPECT_EQ(house_->frontDoorDel(), other);
   EXPECT_EQ(house_->frontDoorDel(), nullptr);
   EXPECT_EQ(take(), "frontDoor;");
}

TEST_F(GeneratedEntity, ownedCollectionComparesParametersInOrder) {
   Ptr<Door> const door = house_->doorIs("back", "oak", 90);
   EXPECT_EQ(take(), "door:back;");
   EXPECT_EQ(house_->doorIs("back", "oak", 90), door);
   EXPECT_EQ(take(), "");
   EXPECT_EQ(textOf([&] { house_->doorIs("back", "pine", 80); }),
             "Reinstantiating the entity with name 'back' where constructor parameter attribute "
             "_material has a different value of 'pine' than the current value of 'oak' not "
             "allowed");
   EXPECT_THROW(house_->doorIs("back", "oak", 80), Fen::NameInUseException);
   EXPECT_EQ(house_->doorCount(), 1u);
   EXPECT_EQ(house_->doorCountText(), "1 doors");
   EXPECT_EQ(house_->doorDel("back"), door);
   EXPECT_EQ(house_->doorDel("back"), nullptr);
   EXPECT_EQ(take(), "door:back;");
   EXPECT_EQ(door->parent(), nullptr);
}

TEST_F(GeneratedEntity, nameFollowsFromAnotherKey) {
   Ptr<Room> const room = house_->roomIs("12a");
   EXPECT_EQ(take(), "room:12a;");
   EXPECT_EQ(room->name(), "12a");
   EXPECT_EQ(room->number(), "12a");
   EXPECT_EQ(room->house(), house_.ptr());
   EXPECT_EQ(house_->room("12a"), room);
   EXPECT_DOUBLE_EQ(room->area(), 12.5);
}

TEST_F(GeneratedEntity, anOwnerThatGoesClearsWhatPointsBackAtIt) {
   Ptr<Room> const room = house_->roomIs("12a");
   Ptr<House> const other = houseFactory("other");
   Ptr<Room> const moved = house_->roomIs("12b");
   moved->houseIs(other.ptr());
   listener_ = nullptr;
   house_ = nullptr;
   EXPECT_EQ(room->house(), nullptr);
   EXPECT_EQ(room->parent(), nullptr);
   EXPECT_EQ(moved->house(), other.ptr());
}

TEST_F(GeneratedEntity, keyReadThroughAParameter) {
   Ptr<Resident> const owner = residentFactory("ann");
   owner->ageIs(41);
   Ptr<KeyRing> const ring = house_->keyRingIs(Address("main", 3), owner);
   EXPECT_EQ(take(), "keyRing:main;");
   EXPECT_EQ(ring->name(), "main");
   EXPECT_EQ(ring->street(), "main");
   EXPECT_EQ(ring->ownerAge(), 41u);
   owner->heirIs(residentFactory("heir"));
   EXPECT_EQ(ring->ownerHeir(), owner->heir());
   static_assert(std::is_same_v<decltype(ring->ownerHeir()), Ptr<Resident const>>,
                 "a const reference on the way makes the end const");
   EXPECT_EQ(house_->keyRing("main"), ring);
   EXPECT_EQ(house_->keyRingIs(Address("main", 3), owner), ring);
   String8 const text = textOf([&] { house_->keyRingIs(Address("main", 4), nullptr); });
   EXPECT_NE(text.view().find("entity with name 'main' where constructor parameter attribute "
                              "_address has"),
             std::string_view::npos)
      << text;
}

TEST_F(GeneratedEntity, mutableParametersAreAppliedInOrder) {
   Ptr<Resident> const reader = residentFactory("bob");
   Ptr<Meter> const meter = house_->meterIs("gas", "hall", "G4", nullptr);
   EXPECT_EQ(house_->meterIs("gas", "cellar", "G4", reader), meter);
   EXPECT_EQ(meter->place(), "cellar");
   EXPECT_EQ(meter->reader(), reader);
   // What stands before the parameter that differs has been stored, what stands behind it has not.
   EXPECT_THROW(house_->meterIs("gas", "attic", "G6", nullptr), Fen::NameInUseException);
   EXPECT_EQ(meter->place(), "attic");
   EXPECT_EQ(meter->reader(), reader);
   EXPECT_EQ(take(), "meter:gas;");
}

TEST_F(GeneratedEntity, valuesByKey) {
   house_->litIs("hall", false);
   EXPECT_EQ(take(), "lit:hall;");
   EXPECT_EQ(house_->litCount(), 1u);
   house_->litIs("hall", false);
   EXPECT_EQ(take(), "");
   house_->litIs("hall", true);
   EXPECT_TRUE(house_->lit("hall"));
   EXPECT_FALSE(house_->lit("attic"));
   house_->levelIs(4, 44);
   house_->knownIs(Controller::SystemId("02:00:00:00:00:01"), true);
   house_->versionIs(3, true);
   EXPECT_EQ(take(), "lit:hall;level:4;known:02:00:00:00:00:01;version:3;");
   EXPECT_EQ(house_->fenLevel(4)->value(), 44u);
   EXPECT_EQ(house_->levelDel(4)->value(), 44u);
   house_->litDelAll();
   EXPECT_EQ(take(), "level:4;lit:hall;");
}

TEST_F(GeneratedEntity, referencesByKey) {
   Ptr<Resident> const ann = residentFactory("ann");
   house_->visitorIs(1, nullptr);
   EXPECT_EQ(take(), "");
   house_->visitorIs(1, ann);
   EXPECT_EQ(house_->visitor(1), ann);
   house_->visitorIs(1, nullptr);
   EXPECT_EQ(house_->fenVisitor(1), nullptr);
   EXPECT_EQ(take(), "visitor:1;visitor:1;");
}

TEST_F(GeneratedEntity, valuesThatCarryTheirKey) {
   house_->pastIs(Address("main", 1));
   house_->pastIs(Address("main", 1));
   house_->pastIs(Address("main", 2));
   EXPECT_EQ(take(), "past:main;past:main;");
   EXPECT_EQ(house_->past("main").number(), 2u);
   EXPECT_TRUE(!house_->past("side"));
}

TEST_F(GeneratedEntity, recordsOwnOneEntityEach) {
   Ptr<House::FenPet> const record = house_->petIs("cat");
   EXPECT_EQ(house_->petIs("cat"), record);
   EXPECT_EQ(take(), "pet:cat;");
   Ptr<Resident> const tom = record->petIs("tom");
   EXPECT_EQ(record->petIs("tom"), tom);
   EXPECT_EQ(tom->parent(), house_);
   Ptr<Resident> const kit = record->petIs("kit");
   EXPECT_EQ(tom->parent(), nullptr);
   EXPECT_EQ(house_->pet("cat")->pet(), kit);
   house_->petDel("cat");
   EXPECT_EQ(take(), "pet:cat;");
   EXPECT_EQ(kit->parent(), nullptr);
   Ptr<House::FenPet> const kept = house_->petIs("dog");
   Ptr<Resident> const rex = kept->petIs("rex");
   house_ = nullptr;
   listener_ = nullptr;
   EXPECT_EQ(rex->fullName(), "rex") << "the owner has gone";
   EXPECT_EQ(kept->petIs("ben")->parent(), nullptr);
}

TEST_F(GeneratedEntity, iterators) {
   for (char const* name : {"a", "b", "c"}) {
      house_->doorIs(name, "oak", 90);
   }
   take();
   Ptr<House const> const readOnly = house_;
   std::string all;
   for (auto i = readOnly->doorIterator(); i; ++i) {
      all += i.key().str();
   }
   EXPECT_EQ(all.size(), 3u);
   std::string rest;
   for (auto i = readOnly->doorIterator(all.substr(1, 1)); i; ++i) {
      rest += i.key().str();
   }
   EXPECT_EQ(rest, all.substr(1));
   auto i = house_->doorIterator();
   i.deleteAll();
   EXPECT_EQ(house_->doorCount(), 0u);
   EXPECT_EQ(take().size(), 3 * std::string("door:a;").size());
}

TEST_F(GeneratedEntity, tables) {
   EXPECT_EQ(house_->attributeString(258), "address") << "the name is no attribute";
   EXPECT_EQ(house_->attributeString(260), "inhabited");
   EXPECT_EQ(house_->attributeString(100), "unknown");
   EXPECT_EQ(Room::_fwkType()->attribute("area")->id, 258 + 1);
   EXPECT_EQ(Room::_fwkType()->attribute("number")->id, 258 + 2);
   EXPECT_EQ(Room::_fwkType()->attribute("house")->id, 258) << "not placed, so it comes first";
   EXPECT_EQ(Door::_fwkType()->parameters().size(), 3u);
   EXPECT_EQ(house_->fwkType(), House::_fwkType());
   EXPECT_NE(Resident::_fwkType()->newEntity("made", nullptr), nullptr);
   EXPECT_EQ(Door::_fwkType()->newEntity("made", nullptr), nullptr) << "needs more than a name";
   EXPECT_EQ(House::HouseIs("other")->name(), "other");
}

} // namespace
