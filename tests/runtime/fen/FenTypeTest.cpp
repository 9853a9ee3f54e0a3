/// Type objects: names, bases, attributes, and building entities by name.
#include "HandWrittenEntity.h"
#include "HandWrittenMachine.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Fen::AttrKind;
using Fen::FenAttr;
using Fen::FenType;
using Sample::Chassis;
using Sample::Port;

TEST(FenTypeTest, OneObjectPerType) {
   FenType* const type = Chassis::_fwkType();
   EXPECT_EQ(Chassis::_fwkType(), type);
   EXPECT_EQ(Fen::makePtr<Chassis>("c")->fwkType(), type);
   EXPECT_EQ(FenType::type("Sample::Chassis"), type);
   EXPECT_EQ(type->name(), "Chassis");
   EXPECT_EQ(type->fullTypeName(), "Sample::Chassis");
   EXPECT_EQ(type->kind(), Fen::TypeKind::entity);
   EXPECT_TRUE(type->isNondestructing());
   EXPECT_EQ(type->fwkType(), FenType::_fwkType());
   auto const& all = FenType::types();
   EXPECT_EQ(std::count(all.begin(), all.end(), type), 1);
}

TEST(FenTypeTest, Bases) {
   EXPECT_EQ(Chassis::_fwkType()->baseType(), Fen::Entity::_fwkType());
   EXPECT_EQ(Fen::Entity::_fwkType()->baseType(), nullptr);
   EXPECT_EQ(Sample::ChassisSm::_fwkType()->baseType(), nullptr);
   EXPECT_EQ(Sample::ChassisSm::_fwkType()->kind(), Fen::TypeKind::machine);
   EXPECT_TRUE(Chassis::_fwkType()->isA(Fen::Entity::_fwkType()));
   EXPECT_TRUE(Chassis::_fwkType()->isA(Chassis::_fwkType()));
   EXPECT_FALSE(Chassis::_fwkType()->isA(Port::_fwkType()));
   EXPECT_FALSE(Fen::Entity::_fwkType()->isA(Chassis::_fwkType()));
}

TEST(FenTypeTest, UnknownNames) {
   EXPECT_EQ(FenType::type("Sample::Nothing"), nullptr);
   FenType::typeNodeIs("Sample::OnlyAName");
   EXPECT_EQ(FenType::type("Sample::OnlyAName"), nullptr);
   FenType* const type = Port::_fwkType();
   FenType::typeNodeIs("Sample::Port");
   EXPECT_EQ(FenType::type("Sample::Port"), type);
}

TEST(FenTypeTest, AttributesByIdAndName) {
   FenType* const type = Chassis::_fwkType();
   ASSERT_EQ(type->attributes().size(), 7u);
   for (std::size_t i = 0; i < type->attributes().size(); ++i) {
      EXPECT_EQ(type->attributes()[i].id, Fen::firstOwnAttributeId + static_cast<int>(i));
   }
   EXPECT_STREQ(type->attribute(262)->name, "port");
   EXPECT_EQ(type->attribute(257), nullptr);
   EXPECT_EQ(type->attribute(265), nullptr);
   EXPECT_EQ(type->attribute(-5), nullptr);
   EXPECT_EQ(type->attribute("up")->id, 259);
   EXPECT_EQ(type->attribute("Up"), nullptr);
}

TEST(FenTypeTest, DescriptionsOfEachKind) {
   struct {
      char const* name;
      AttrKind kind;
      char const* value;
      char const* key;
   } const expected[] = {
      {"chassisName", AttrKind::key, "Fen::Name", nullptr},
      {"up", AttrKind::scalar, "bool", nullptr},
      {"primary", AttrKind::reference, "Sample::Port", nullptr},
      {"console", AttrKind::child, "Sample::Port", nullptr},
      {"port", AttrKind::ownedCollection, "Sample::Port", "Fen::Name"},
      {"allowed", AttrKind::valueCollection, "bool", "Fen::String"},
      {"peer", AttrKind::referenceCollection, "Sample::Port", "Fen::U32"},
   };
   for (auto const& each : expected) {
      Fen::AttrDesc const* const attribute = Chassis::_fwkType()->attribute(each.name);
      ASSERT_NE(attribute, nullptr) << each.name;
      EXPECT_EQ(attribute->kind, each.kind) << each.name;
      EXPECT_STREQ(attribute->valueType, each.value) << each.name;
      EXPECT_STREQ(attribute->keyType, each.key) << each.name;
   }
}

TEST(FenTypeTest, Parameters) {
   auto const parameters = Port::_fwkType()->parameters();
   ASSERT_EQ(parameters.size(), 3u);
   EXPECT_STREQ(parameters[0].name, "portName");
   EXPECT_STREQ(parameters[0].type, "Fen::Name");
   EXPECT_STREQ(parameters[1].name, "kind");
   EXPECT_STREQ(parameters[1].type, "Fen::String");
}

TEST(FenTypeTest, EntitiesByTypeName) {
   auto const dir = Fen::dirFactory("d");
   auto const made = Chassis::_fwkType()->newEntity("c1", dir.ptr());
   ASSERT_TRUE(made);
   EXPECT_EQ(made->name(), "c1");
   EXPECT_EQ(dir->entityPtr("c1"), made);
   EXPECT_TRUE(Chassis::_fwkType()->newEntity("c2", nullptr));
   EXPECT_FALSE(Port::_fwkType()->newEntity("p1", dir.ptr()));
   EXPECT_FALSE(Fen::Entity::_fwkType()->newEntity("e", dir.ptr()));
   EXPECT_EQ(dir->entityPtrs().size(), 1);
}

TEST(FenTypeTest, AttributeHandles) {
   auto const up = FenAttr::attr(Chassis::_fwkType(), "up");
   ASSERT_TRUE(up);
   EXPECT_EQ(up->id(), 259);
   EXPECT_EQ(up->name(), "up");
   EXPECT_EQ(up->type(), Chassis::_fwkType());
   EXPECT_EQ(FenAttr::attr(Chassis::_fwkType(), "up"), up);
   EXPECT_FALSE(FenAttr::attr(Chassis::_fwkType(), "down"));
}

} // namespace
