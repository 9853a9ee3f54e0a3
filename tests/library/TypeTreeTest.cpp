/// The tree of types: each of the library's own types as a tool finds it by name.
#include <gantry/Gantry.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

namespace {

using Fen::FenAttr;
using Fen::FenType;
using Flags = FenAttr::FenAttrIntrospectionFlags;

/// The names as the source of the list has them.
std::vector<std::string> listedNames() {
   std::ifstream file(std::string(GANTRY_SOURCE_DIR) + "/gantry/TypeNames.cpp");
   std::string const text((std::istreambuf_iterator<char>(file)), {});
   std::regex const name("FEN_TYPE\\([0-9]+, \"([^\"]+)\"\\)");
   std::vector<std::string> names;
   for (std::sregex_iterator i(text.begin(), text.end(), name), end; i != end; ++i) {
      names.push_back((*i)[1]);
   }
   return names;
}

std::string texts(std::vector<Fen::Name> const& names) {
   std::string all;
   for (Fen::Name const& each : names) {
      all += (all.empty() ? "" : " ") + each.str();
   }
   return all;
}

std::string attributes(FenType const* type) {
   std::string all;
   for (auto const& each : type->attributeQ()) {
      all += (all.empty() ? "" : " ") + each->name().str();
   }
   return all;
}

TEST(TypeTreeTest, TypesAreListedInTheOrderOfTheirNames) {
   ASSERT_EQ(listedNames().size(), 50u);
   std::vector<std::string> const names = listedNames();
   std::vector<std::string> found;
   for (FenType const* type : FenType::types()) {
      std::string const name = type->fullTypeName().str();
      if (std::find(names.begin(), names.end(), name) != names.end()) {
         found.push_back(name);
      }
   }
   EXPECT_EQ(found, names);
}

TEST(TypeTreeTest, EveryTypeIsDefinedWhole) {
   for (std::string const& name : listedNames()) {
      SCOPED_TRACE(name);
      FenType* const type = FenType::type(name);
      ASSERT_NE(type, nullptr);
      EXPECT_EQ(type->name().str(), name.substr(name.rfind(':') + 1));
      EXPECT_TRUE(type->hasGenericIfSupport());
      EXPECT_TRUE(type->isNondestructing());
      if (type->kind() == Fen::TypeKind::enumeration || type->kind() == Fen::TypeKind::value) {
         EXPECT_EQ(type->baseType(), nullptr);
         EXPECT_NE(type->form(), nullptr);
         continue;
      }
      EXPECT_GT(type->size(), 0u);
      auto const& queue = type->attributeQ();
      std::size_t const own = type->attributes().size();
      ASSERT_EQ(queue.size(), own + 3);
      EXPECT_EQ(queue[0]->name(), "isNondestructing");
      EXPECT_EQ(queue[1]->name(), "fenHasAttrLogInterface");
      EXPECT_EQ(queue.back()->name(), "fwkKey");
      for (std::size_t i = 0; i < own; ++i) {
         Fen::Ptr<FenAttr> const attribute = queue[i + 2];
         SCOPED_TRACE(attribute->name().str());
         EXPECT_EQ(attribute->id(), 258 + static_cast<int>(i));
         EXPECT_EQ(type->attributeQIdx(attribute->id()), attribute);
         EXPECT_EQ(FenAttr::attr(type, attribute->name().view()), attribute);
         EXPECT_NE(attribute->description().access, nullptr);
         EXPECT_NE(attribute->description().valueType, nullptr);
      }
      EXPECT_EQ(type->isEntity(), type->isA(Fen::Entity::_fwkType()));
      if (type->isEntity()) {
         EXPECT_TRUE(FenAttr::attr(type, "fenNboAttrLogSaForMsgChannel"));
         auto const& derived = type->baseType()->derivedTypeQ();
         EXPECT_EQ(std::count(derived.begin(), derived.end(), type), 1);
      }
   }
}

TEST(TypeTreeTest, AHandleOnNullOfEveryType) {
   for (std::string const& name : listedNames()) {
      SCOPED_TRACE(name);
      FenType* const type = FenType::type(name);
      if (type->form() != nullptr) {
         continue;
      }
      auto const handle = type->genericIf("None", true);
      EXPECT_EQ(handle->fwkType(), type);
      EXPECT_EQ(handle->strRep(), "None");
      EXPECT_EQ(handle->convertedTo(type), nullptr);
      for (auto const& each : type->attributeQ()) {
         EXPECT_EQ(handle->attributeId(each->name()), each->id());
      }
      EXPECT_THROW(type->genericIf("'/'", true), Fen::RangeException);
   }
}

TEST(TypeTreeTest, ConstructorParametersAndScopes) {
   FenType const* const config = Controller::MountConfig::_fwkType();
   EXPECT_EQ(texts(config->constructorArgNameQ()),
             "remotePath fencType mountFlags targetMountPath");
   EXPECT_EQ(texts(config->constructorArgTypeQ()), "Fen::Name Fen::String Fen::String Fen::String");
   EXPECT_EQ(attributes(Controller::MountSmData::_fwkType()),
             "isNondestructing fenHasAttrLogInterface connectionId remotePath mountState fwkKey");
   FenType* const machine = Controller::MountSm::_fwkType();
   std::string nested;
   for (FenType const* each : machine->nestedType()) {
      nested += each->name().str() + " ";
      EXPECT_EQ(each->scope(), machine);
   }
   EXPECT_EQ(nested, "MounterSm UnmounterSm SmState ");
   EXPECT_EQ(machine->scope(), nullptr);
   EXPECT_EQ(machine->baseType(), nullptr);
   EXPECT_EQ(Controller::MountSm::MounterSm::_fwkType()->baseType(), Cairn::Mounter::_fwkType());
}

TEST(TypeTreeTest, FlagsAndTypesOfAttributes) {
   FenType* const group = Controller::ServiceMountGroupConfig::_fwkType();
   auto const filter = FenAttr::attr(group, "versionFilter");
   EXPECT_EQ(filter->attrFlags(), FenAttr::isMutable);
   EXPECT_TRUE(filter->introspectionFlags().contains(Flags::isIndependentDomainAttr_()));
   EXPECT_EQ(filter->valueType(), Controller::MountFilterServiceVersion::_fwkType());
   auto const mounts = FenAttr::attr(group, "mountConfig");
   EXPECT_EQ(mounts->attrFlags(), FenAttr::isMutable | FenAttr::isCollection | FenAttr::isOwning);
   EXPECT_TRUE(mounts->introspectionFlags().contains(Flags::hasInternalIndex_()));
   EXPECT_EQ(mounts->keyType(), Fen::Name::_fwkType());
   EXPECT_EQ(group->defaultCollection(), mounts);
   auto const name = FenAttr::attr(group, "serviceMountGroupName");
   EXPECT_EQ(name->attrFlags(), FenAttr::isConstructorParameter);
   auto const referring = Controller::MountConfig::_fwkType()->referringAttrQ();
   EXPECT_EQ(std::count(referring.begin(), referring.end(), mounts), 1);
   EXPECT_EQ(Flags(0x3f).value(), 0x3fu);
   try {
      Flags(0x40);
      ADD_FAILURE();
   } catch (Fen::RangeException const& exception) {
      EXPECT_EQ(exception.text(), "FenAttrIntrospectionFlags::value > 0x3f not allowed");
   }
   auto const& spaces = Fen::IntrospectionReactor::global().nameSpaces();
   EXPECT_EQ(std::count(spaces.begin(), spaces.end(), Fen::Name("ControllerRegistration")), 1);
   EXPECT_EQ(FenType::type("Controller::PublishState")->valAttr()->id(), 1);
}

} // namespace
