// Reading and changing attributes of every kind by name, without their types: handles of generated
// entities, machines, values and enumerations, and what they refuse.

#include <tests/fenc/generated/House.fen.h>
#include <tests/fenc/generated/Village.fen.h>

#include <gantry/runtime/fen/AttrAccess.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace FenTest;
using Fen::GenericIf;
using Fen::genericIf;
using Handle = Fen::Ptr<GenericIf>;
using Key = Fen::Ptr<GenericIf const>;

Handle handleOf(Fen::PtrInterface* object, bool isConst = false) {
   return object->fwkType()->genericIf(object, isConst);
}

Handle operate(Handle const& handle, char const* attribute, unsigned operation, Key const& key = {},
               Key const& value = {}) {
   Fen::AttributeId const id = handle->attributeId(attribute);
   EXPECT_NE(id, 0) << attribute;
   return handle->attributeOp(GenericIf::AttributeOp(id, operation), key, value);
}

std::string read(Handle const& handle, char const* attribute, Key const& key = {}) {
   return operate(handle, attribute, 0, key)->strRep().str();
}

/// A value from its text, of the type that the attribute wants.
Key valueFor(Handle const& handle, char const* attribute, char const* text) {
   auto const description = Fen::FenAttr::attr(handle->fwkType(), attribute);
   return description->valueType()->genericIf(Fen::String8(text), false);
}

void write(Handle const& handle, char const* attribute, char const* text) {
   operate(handle, attribute, 128, {}, valueFor(handle, attribute, text));
}

template <class Exception>
std::string refusal(std::function<void()> const& act) {
   try {
      act();
   } catch (Exception const& exception) {
      return exception.text().str();
   } catch (Fen::Exception const& exception) {
      return "another exception: " + exception.text().str();
   }
   return "no exception";
}

Key arguments(std::vector<Key> items) { return Fen::makePtr<GenericIf::List_>(std::move(items)); }

template <class T>
Key boxed(T const& value) {
   return genericIf(value);
}

class GenericAccess : public testing::Test {
 protected:
   Fen::Ptr<House> house = houseFactory("h");
   Handle handle = handleOf(house.ptr());
   Fen::Ptr<Resident> ann = residentFactory("ann");
};

TEST_F(GenericAccess, scalarsAreReadAndWrittenByText) {
   write(handle, "inhabited", "True");
   EXPECT_TRUE(house->inhabited());
   EXPECT_EQ(read(handle, "inhabited"), "True");
   EXPECT_EQ(read(handle, "motto"), "'home'");
   write(handle, "motto", "'it\\'s'");
   EXPECT_EQ(house->motto(), "it's");
   write(handle, "address", "Value('FenTest::Address', ** {'number': 7})");
   EXPECT_EQ(house->address(), Address("", 7));
   EXPECT_EQ(read(handle, "address"), "Value('FenTest::Address', ** {'street': '', 'number': 7})");
   write(handle, "system", "'02:00:00:00:00:09'");
   EXPECT_EQ(house->system(), Controller::SystemId("02:00:00:00:00:09"));
   EXPECT_EQ(house->serial(), 0u);
   EXPECT_EQ(read(handle, "serial"), "0");
   EXPECT_EQ(read(handle, "floors"), "2");
   EXPECT_EQ(read(handle, "doorCountText"), "'" + house->doorCountText().str() + "'");
}

TEST_F(GenericAccess, referencesLeadToHandlesOfTheirTarget) {
   EXPECT_EQ(read(handle, "tenant"), "None");
   operate(handle, "tenant", 128, {}, handleOf(ann.ptr()));
   EXPECT_EQ(house->tenant(), ann);
   ann->ageIs(30);
   Handle const tenant = operate(handle, "tenant", 0);
   EXPECT_EQ(read(tenant, "age"), "30");
   EXPECT_EQ(read(handle, "tenantAge"), "30");
   EXPECT_FALSE(tenant->isConst());
   // A reference to what may not be changed gives a handle that changes nothing.
   operate(handle, "guest", 128, {}, handleOf(ann.ptr()));
   EXPECT_TRUE(operate(handle, "guest", 0)->isConst());
   EXPECT_EQ(refusal<Fen::ConstException>(
                [&] { operate(handle, "tenant", 128, {}, operate(handle, "guest", 0)); }),
             "attempting to modify a const instance");
   operate(handle, "tenant", 128, {}, Resident::_fwkType()->genericIf("None", false));
   EXPECT_FALSE(house->tenant());
   EXPECT_EQ(refusal<Fen::RangeException>([&] { write(handle, "guest", "None"); }),
             "null _guest parameter to mutator for FenTest::House::guest not allowed\"");
   EXPECT_EQ(refusal<Fen::TypeException>(
                [&] { operate(handle, "tenant", 128, {}, handleOf(house.ptr())); }),
             "House");
}

TEST_F(GenericAccess, collectionsOfValues) {
   Key const hall = boxed(Fen::String8("hall"));
   EXPECT_EQ(read(handle, "lit", hall), "False");
   EXPECT_EQ(operate(handle, "lit", 3, hall)->strRep(), "False");
   EXPECT_EQ(house->litCount(), 0u);
   std::string const before = operate(handle, "lit", 2)->strRep().str();
   operate(handle, "lit", 128, hall, boxed(true));
   EXPECT_TRUE(house->lit("hall"));
   EXPECT_NE(operate(handle, "lit", 2)->strRep().str(), before);
   EXPECT_EQ(operate(handle, "lit", 3, hall)->strRep(), "True");
   EXPECT_EQ(operate(handle, "lit", 1)->strRep(), "1");
   EXPECT_FALSE(operate(handle, "lit", 129, hall));
   EXPECT_EQ(house->litCount(), 0u);

   operate(handle, "level", 128, boxed(std::uint32_t{5}), boxed(std::uint32_t{6}));
   EXPECT_EQ(house->level(5), 6u);
   operate(handle, "visitor", 128, boxed(std::uint32_t{1}), handleOf(ann.ptr()));
   EXPECT_EQ(house->visitor(1), ann);
   EXPECT_EQ(read(operate(handle, "visitor", 0, boxed(std::uint32_t{1})), "age"), "0");
   Key const elm = boxed(Fen::String8("elm"));
   operate(handle, "past", 128, elm, boxed(Address("elm", 3)));
   EXPECT_EQ(house->past("elm").number(), 3u);
   EXPECT_EQ(refusal<Fen::TypeException>(
                [&] { operate(handle, "past", 128, elm, boxed(Address("oak", 3))); }),
             "fen_index");
}

TEST_F(GenericAccess, ownedEntitiesAreMadeFromTheirArguments) {
   Key const front = boxed(Fen::Name("front"));
   EXPECT_EQ(operate(handle, "door", 0, front)->strRep(), "None");
   Handle const made = operate(handle, "door", 128, front,
                               arguments({boxed(Fen::String8("oak")), boxed(std::uint32_t{90})}));
   ASSERT_TRUE(house->door("front"));
   EXPECT_EQ(house->door("front")->material(), "oak");
   EXPECT_EQ(read(made, "width"), "90");
   EXPECT_EQ(read(made, "doorName"), "'front'");
   EXPECT_EQ(operate(handle, "door", 1)->strRep(), "1");
   EXPECT_EQ(refusal<Fen::TypeException>([&] { operate(handle, "door", 128, front, boxed(true)); }),
             "List");
   EXPECT_EQ(
      refusal<Fen::TypeException>([&] { operate(handle, "door", 128, front, arguments({})); }),
      "List");
   EXPECT_EQ(refusal<Fen::TypeException>([&] { operate(handle, "door", 128, front, {}); }), "door");
   EXPECT_EQ(refusal<Fen::TypeException>([&] {
                operate(handle, "door", 128, front, arguments({Key(), boxed(std::uint32_t{90})}));
             }),
             "List");
   EXPECT_EQ(refusal<Fen::NameInUseException>([&] {
                operate(handle, "door", 128, front,
                        arguments({boxed(Fen::String8("ash")), boxed(std::uint32_t{90})}));
             }).substr(0, 53),
             "Reinstantiating the entity with name 'front' where co");
   Handle const gone = operate(handle, "door", 129, front);
   EXPECT_EQ(gone->strRep(), "'front'");
   EXPECT_FALSE(house->door("front"));
   EXPECT_EQ(operate(handle, "door", 129, front)->strRep(), "None");

   operate(handle, "frontDoor", 128, {},
           arguments({boxed(Fen::Name("f")), boxed(Fen::String8("ash")), boxed(std::uint32_t{1})}));
   EXPECT_EQ(house->frontDoor()->material(), "ash");
   EXPECT_EQ(read(operate(handle, "frontDoor", 0), "material"), "'ash'");
   operate(handle, "pet", 128, boxed(Fen::Name("cat")), arguments({boxed(Fen::Name("tom"))}));
   EXPECT_EQ(house->pet("cat")->pet()->name(), "tom");
   EXPECT_EQ(read(operate(handle, "pet", 0, boxed(Fen::Name("cat"))), "residentName"), "'tom'");
}

TEST_F(GenericAccess, theKeyIsTheOneThatTheArgumentsGive) {
   Key const main = boxed(Fen::String8("main"));
   Key const ring = arguments({boxed(Address("main", 3)), boxed(ann)});
   EXPECT_EQ(refusal<Fen::TypeException>(
                [&] { operate(handle, "keyRing", 128, boxed(Fen::String8("side")), ring); }),
             "fen_index");
   EXPECT_EQ(house->keyRingCount(), 0u);
   Handle const made = operate(handle, "keyRing", 128, main, ring);
   EXPECT_EQ(made->convertedTo(KeyRing::_fwkType()), house->keyRing("main").ptr());
   // Read through a reference, there is no key without what it leads to.
   Fen::VirtualTime const time(10.0);
   auto const machine = houseSmFactory(house, 3, "l");
   Handle const sm = handleOf(machine.ptr());
   Key const none = Door::_fwkType()->genericIf("None", false);
   char const* const words =
      "null _door parameter to mutator for FenTest::DoorSm::door not allowed\"";
   EXPECT_EQ(refusal<Fen::RangeException>(
                [&] { operate(sm, "doorSm", 128, boxed(Fen::Name("d")), arguments({none})); }),
             words);
   EXPECT_EQ(refusal<Fen::RangeException>([&] { machine->doorSmIs(nullptr); }), words);
   EXPECT_EQ(machine->doorSmCount(), 0u);
}

TEST_F(GenericAccess, refusesInFixedOrder) {
   Handle const fixed = handleOf(house.ptr(), true);
   Key const key = boxed(Fen::String8("k"));
   // Const comes before everything else, also before an attribute that nobody knows.
   EXPECT_EQ(refusal<Fen::ConstException>(
                [&] { fixed->attributeOp(GenericIf::AttributeOp(9999, 255), key, {}); }),
             "attempting to modify a const instance");
   EXPECT_EQ(refusal<Fen::ConstException>([&] { operate(fixed, "lit", 129, key); }),
             "attempting to modify a const instance");
   EXPECT_EQ(operate(fixed, "lit", 0, key)->strRep(), "False");
   EXPECT_TRUE(operate(fixed, "frontDoor", 0)->isConst());
   EXPECT_EQ(refusal<Fen::UnknownAttrException>(
                [&] { handle->attributeOp(GenericIf::AttributeOp(9999, 0), {}, {}); }),
             "House");
   EXPECT_EQ(refusal<Fen::BadIndexAttrException>([&] { operate(handle, "motto", 77, key); }),
             "motto");
   EXPECT_EQ(refusal<Fen::TypeException>([&] { operate(handle, "lit", 0); }), "fen_index");
   EXPECT_EQ(refusal<Fen::TypeException>([&] { operate(handle, "lit", 128); }), "fen_index");
   EXPECT_EQ(refusal<Fen::TypeException>([&] { operate(handle, "lit", 128, key); }), "lit");
   EXPECT_EQ(refusal<Fen::TypeException>([&] { operate(handle, "motto", 128); }), "motto");
   // What is missing is missed before anything that is there is looked at.
   EXPECT_EQ(refusal<Fen::TypeException>([&] { operate(handle, "lit", 128, boxed(true)); }), "lit");
   EXPECT_EQ(refusal<Fen::TypeException>([&] { operate(handle, "motto", 128, {}, boxed(true)); }),
             "bool");
   for (unsigned const operation : {1u, 2u, 3u, 4u, 127u, 129u, 130u, 255u, 256u}) {
      EXPECT_EQ(refusal<Fen::OpNotSupportedException>([&] { operate(handle, "motto", operation); }),
                "motto: operation " + std::to_string(operation));
   }
   for (unsigned const operation : {4u, 127u, 130u, 255u}) {
      EXPECT_EQ(refusal<Fen::OpNotSupportedException>(
                   [&] { operate(handle, "lit", operation, key, key); }),
                "lit: operation " + std::to_string(operation));
   }
   EXPECT_EQ(refusal<Fen::OpNotSupportedException>(
                [&] { operate(handle, "serial", 128, {}, boxed(std::uint32_t{1})); }),
             "serial: operation 128");
   Handle const door = handleOf(house->newDoor("d", "oak", 1).ptr());
   EXPECT_EQ(refusal<Fen::OpNotSupportedException>(
                [&] { operate(door, "doorName", 128, {}, boxed(Fen::Name("e"))); }),
             "doorName: operation 128");
   EXPECT_EQ(refusal<Fen::OpNotSupportedException>(
                [&] { operate(door, "material", 128, {}, boxed(Fen::String8("e"))); }),
             "material: operation 128");
   Handle const nothing = House::_fwkType()->genericIf(nullptr, false);
   EXPECT_EQ(nothing->strRep(), "None");
   EXPECT_EQ(refusal<Fen::RangeException>([&] { operate(nothing, "motto", 0); }), "null ValidPtr");
}

TEST_F(GenericAccess, frameworkAttributes) {
   EXPECT_EQ(read(handle, "name"), "'h'");
   EXPECT_EQ(read(handle, "fwkKey"), "'h'");
   EXPECT_EQ(read(handle, "isNondestructing"), "False");
   EXPECT_EQ(read(handle, "fenHasAttrLogInterface"), "False");
   EXPECT_EQ(read(handle, "parent"), "None");
   EXPECT_EQ(read(handle, "fullName"), "'h'");
   EXPECT_EQ(refusal<Fen::OpNotSupportedException>(
                [&] { operate(handle, "fenNboAttrLogSaForMsgChannel", 0); }),
             "fenNboAttrLogSaForMsgChannel: operation 0");
   EXPECT_EQ(handle->attributeId("nothing"), 0);
   EXPECT_EQ(refusal<Fen::UnknownAttrException>([&] { handle->get("nothing"); }), "House");
   EXPECT_EQ(house->attributeString(handle->attributeId("motto")), "motto");
   EXPECT_EQ(house->attributeString(9999), "unknown");
}

TEST_F(GenericAccess, handlesAreOfTheTypesOwnClasses) {
   EXPECT_NE(dynamic_cast<House::GenericIf_*>(handle.ptr()), nullptr);
   EXPECT_NE(dynamic_cast<Fen::GenericIfEntity*>(handle.ptr()), nullptr);
   EXPECT_NE(dynamic_cast<House::_Type*>(House::_fwkType()), nullptr);
   EXPECT_EQ(handle->convertedTo(House::_fwkType()), house.ptr());
   EXPECT_EQ(handle->convertedTo(Fen::Entity::_fwkType()), house.ptr());
   EXPECT_EQ(handle->convertedTo(Fen::PtrInterface::_fwkType()), house.ptr());
   EXPECT_EQ(refusal<Fen::TypeException>([&] { handle->convertedTo(Door::_fwkType()); }), "House");
   Handle const copy = handle->clone();
   EXPECT_EQ(copy->convertedTo(House::_fwkType()), house.ptr());
   EXPECT_NE(dynamic_cast<House::GenericIf_*>(copy.ptr()), nullptr);
   EXPECT_TRUE(handleOf(house.ptr(), true)->clone()->isConst());
}

TEST(GenericEnumeration, hasOneAttribute) {
   Handle const handle = Fen::FenType::type("FenTest::DoorState")->genericIf("'open'", false);
   EXPECT_NE(dynamic_cast<DoorState_GenericIf_*>(handle.ptr()), nullptr);
   EXPECT_EQ(handle->attributeId("value"), 1);
   EXPECT_EQ(handle->attributeId("other"), 0);
   EXPECT_EQ(handle->strRep(), "'open'");
   Handle const copy = handle->attributeOp(GenericIf::AttributeOp(1, 0), {}, {});
   EXPECT_NE(copy.ptr(), handle.ptr());
   EXPECT_EQ(copy->strRep(), "'open'");
   EXPECT_EQ(refusal<Fen::UnknownAttrException>(
                [&] { handle->attributeOp(GenericIf::AttributeOp(2, 0), {}, {}); }),
             "DoorState");
   EXPECT_EQ(refusal<Fen::RangeException>(
                [] { Fen::FenType::type("FenTest::DoorState")->genericIf("'ajar'", false); }),
             "DoorState");
}

TEST(GenericValue, hasItsFields) {
   Handle const handle = boxed(Address("elm", 3))->clone();
   EXPECT_EQ(read(handle, "street"), "'elm'");
   operate(handle, "number", 128, {}, boxed(std::uint32_t{4}));
   EXPECT_EQ(handle->strRep(), "Value('FenTest::Address', ** {'street': 'elm', 'number': 4})");
   EXPECT_EQ(read(handle, "value"), handle->strRep().str());
   EXPECT_EQ(
      refusal<Fen::BadIndexAttrException>([&] { operate(handle, "street", 0, boxed(true)); }),
      "street");
   EXPECT_EQ(refusal<Fen::OpNotSupportedException>([&] { operate(handle, "street", 1); }),
             "street: operation 1");
   EXPECT_EQ(refusal<Fen::TypeException>([&] { operate(handle, "street", 128); }), "street");
}

TEST(GenericMachine, isReadAndWritten) {
   Fen::VirtualTime const time(10.0);
   auto const house = houseFactory("h");
   auto const machine = houseSmFactory(house, 3, "l");
   Handle const handle = handleOf(machine.ptr());
   EXPECT_NE(dynamic_cast<HouseSm::GenericIf_*>(handle.ptr()), nullptr);
   EXPECT_NE(dynamic_cast<Fen::GenericIfPtrInterface*>(handle.ptr()), nullptr);
   EXPECT_EQ(operate(handle, "house", 0)->convertedTo(House::_fwkType()), house.ptr());
   EXPECT_EQ(read(handle, "limit"), "3");
   EXPECT_EQ(read(handle, "mood"), "'" + stringValue(machine->mood()).str() + "'");
   write(handle, "mood", "'moodCalm'");
   EXPECT_EQ(machine->mood(), HouseSm::moodCalm);
   machine->watchdog()->timeMinIs(12.5);
   EXPECT_EQ(read(handle, "watchdog"), "12.5");
   EXPECT_EQ(read(handle, "lateTimer"), "inf");
   EXPECT_EQ(read(handle, "tally", boxed(Fen::String8("x"))), "0");
   operate(handle, "tally", 128, boxed(Fen::String8("x")), boxed(std::uint32_t{2}));
   EXPECT_EQ(machine->tally("x"), 2u);
   machine->cellarSmIs(house, 4);
   Handle const cellar = operate(handle, "cellarSm", 0);
   EXPECT_EQ(read(cellar, "depth"), "4");
   // The way back from a nested machine leads to its owner.
   EXPECT_EQ(operate(cellar, "houseSm", 0)->convertedTo(HouseSm::_fwkType()), machine.ptr());
   auto const door = house->doorIs("d", "oak", 1);
   Key const name = boxed(Fen::Name("d"));
   EXPECT_EQ(operate(handle, "doorWatch", 0, name)->convertedTo(Door::_fwkType()), door.ptr());
   EXPECT_EQ(read(handle, "initialized"), "True");
   EXPECT_EQ(refusal<Fen::OpNotSupportedException>(
                [&] { operate(handle, "limit", 128, {}, boxed(std::uint32_t{1})); }),
             "limit: operation 128");
}

class Heard : public GenericIf::Listener {
 public:
   void onAttribute(GenericIf&, Fen::AttributeId id, Key const& key) override {
      all.push_back(std::to_string(id) + (key ? " " + key->strRep().str() : std::string()));
      if (drop) {
         *drop = nullptr;
      }
   }
   std::vector<std::string> all;
   Handle* drop = nullptr;
};

TEST_F(GenericAccess, watchingThroughAHandle) {
   Heard heard;
   auto* const watched = dynamic_cast<Fen::GenericIfEntity*>(handle.ptr());
   watched->listenerIs(&heard);
   house->mottoIs("unheard");
   watched->isRegisteredNotifieeIs(true);
   house->mottoIs("heard");
   house->litIs("hall", true);
   auto const id = [&](char const* name) { return std::to_string(handle->attributeId(name)); };
   EXPECT_EQ(heard.all, (std::vector<std::string>{id("motto"), id("lit") + " 'hall'"}));
   heard.all.clear();
   watched->hasNotificationActiveIs(false);
   house->mottoIs("closed");
   watched->hasNotificationActiveIs(true);
   auto const other = houseFactory("o");
   watched->notifierIs(other);
   house->mottoIs("left");
   other->mottoIs("moved to");
   EXPECT_EQ(heard.all, (std::vector<std::string>{id("motto")}));
   watched->notifierIs(nullptr);
   EXPECT_EQ(refusal<Fen::TypeException>([&] { watched->notifierIs(ann); }), "House");
   watched->notifierIs(house);
   watched->fenDoZombieReactors(true);
   house->mottoIs("to a zombie");
   EXPECT_EQ(heard.all.size(), 1u);
   watched->listenerIs(nullptr);
}

TEST_F(GenericAccess, allAttributesUntilTheHandleGoes) {
   Heard heard;
   auto* const watched = dynamic_cast<Fen::GenericIfEntity*>(handle.ptr());
   watched->listenerIs(&heard);
   watched->pendingAttributeIdIs(GenericIf::allAttributesId);
   watched->handleNotification(nullptr);
   EXPECT_EQ(heard.all.size(), House::_fwkType()->attributes().size());
   EXPECT_EQ(heard.all.front(), "258");
   heard.all.clear();
   heard.drop = &handle;
   watched->handleNotification(nullptr);
   EXPECT_EQ(heard.all, (std::vector<std::string>{"258"}));
}

} // namespace
