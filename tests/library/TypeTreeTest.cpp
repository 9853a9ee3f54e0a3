/// The tree of types: each of the library's own types as a tool finds it by name.
#include <gantry/Gantry.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
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

template <class Act>
std::string refusal(Act const& act) {
   try {
      act();
   } catch (Fen::Exception const& exception) {
      return exception.text().str();
   }
   return "not refused";
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
      EXPECT_TRUE(handle->isConst());
      EXPECT_FALSE(type->genericIf("None", false)->isConst());
      // An object of another type, which every directory is, is none of this one.
      auto const directory = Fen::dirFactory("d");
      auto const wrong = type->genericIf(directory.ptr(), false);
      EXPECT_EQ(wrong->strRep(), "None");
      EXPECT_EQ(wrong->fwkType(), type);
      EXPECT_EQ(type->genericIf(static_cast<Fen::PtrInterface*>(nullptr), false)->strRep(), "None");
      EXPECT_EQ(refusal([&] { type->genericIf("'/'", true); }),
                "no " + name + " at column 0 deserializing '/'");
      EXPECT_EQ(refusal([&] { type->genericIf("None x", true); }),
                "junk at column 4 deserializing None x");
   }
}

TEST(TypeTreeTest, AHandleIsTakenForItsOwnTypesAlone) {
   for (std::string const& name : listedNames()) {
      SCOPED_TRACE(name);
      FenType* const type = FenType::type(name);
      if (type->form() != nullptr) {
         continue;
      }
      auto const handle = type->genericIf("None", true);
      EXPECT_EQ(handle->convertedTo(type), nullptr);
      EXPECT_EQ(handle->convertedTo(Fen::PtrInterface::_fwkType()), nullptr);
      for (FenType* const other : FenType::types()) {
         bool const isBase = type->isA(other) || other == Fen::PtrInterface::_fwkType();
         if (!isBase) {
            EXPECT_EQ(refusal([&] { handle->convertedTo(other); }), type->name().str());
         }
      }
      EXPECT_EQ(type->isA(Fen::Entity::_fwkType()), type->isEntity());
   }
}

TEST(TypeTreeTest, AHandleFromTheTextOfAnEntity) {
   auto const config = Controller::serviceMountConfigFactory("typeTree");
   Fen::root()->entityPtrIs(config);
   auto const filter = config->systemFilterIs("it's");
   FenType* const type = Controller::MountFilterSystem::_fwkType();
   for (bool const isConst : {false, true}) {
      auto const handle = type->genericIf(Fen::valueToStrep(filter), isConst);
      EXPECT_EQ(handle->convertedTo(type), filter.ptr());
      EXPECT_EQ(handle->isConst(), isConst);
      EXPECT_EQ(handle->strRep(), "'/typeTree/systemFilter/it\\'s'");
   }
   EXPECT_EQ(refusal([&] { type->genericIf(" '/typeTree'", true); }),
             "no Controller::MountFilterSystem at column 0 deserializing  '/typeTree'");
   Fen::root()->entityPtrDel("typeTree");
}

/// Texts as they stand on a log.
std::vector<std::uint8_t> onLog(std::vector<std::string> const& all) {
   std::vector<std::uint8_t> bytes;
   for (std::string const& each : all) {
      bytes.insert(bytes.end(), {0, 0, 0, static_cast<std::uint8_t>(each.size())});
      bytes.insert(bytes.end(), each.begin(), each.end());
   }
   return bytes;
}

TEST(TypeTreeTest, EntitiesAreBuiltFromALog) {
   for (std::string const& name : listedNames()) {
      SCOPED_TRACE(name);
      FenType* const type = FenType::type(name);
      std::vector<std::string> arguments;
      for (auto const& parameter : type->parameters()) {
         arguments.push_back(std::string("the ") + parameter.name);
      }
      auto bytes = onLog(arguments);
      bytes.push_back(7);
      auto const in = Fen::makePtr<Fen::NboAttrLog::In>(bytes.data(), bytes.size());
      auto const made = Fen::ptrCast<Fen::Entity>(
         type->newEntity(in, Fen::PtrInterface::NotifieeConst::Fen_BitSet(), 0, nullptr));
      EXPECT_EQ(static_cast<bool>(made), type->wire() != nullptr);
      if (!made) {
         EXPECT_EQ(in->left(), bytes.size()) << "nothing is read for a type that does not travel";
         continue;
      }
      EXPECT_EQ(in->left(), 1u) << "no more is read than the parameters";
      EXPECT_EQ(made->fwkType(), type);
      EXPECT_EQ(made->name().str(), arguments[0]);
      auto const handle = type->genericIf(made.ptr(), true);
      for (std::size_t i = 0; i < arguments.size(); ++i) {
         EXPECT_EQ(handle->get(type->parameters()[i].name)->strRep(),
                   Fen::valueToStrep(Fen::String8(arguments[i])));
      }
   }
}

TEST(TypeTreeTest, WhatIsSetOfAType) {
   static constexpr Fen::TypeDesc description = {
      "Sample::Loose::Type", Fen::TypeKind::entity, nullptr, {}, {}, nullptr, nullptr};
   auto const loose = Fen::makePtr<FenType>(description);
   EXPECT_EQ(loose->name(), "Type");
   EXPECT_EQ(loose->scope(), nullptr);
   EXPECT_EQ(loose->typeFlags(), 0u);
   EXPECT_EQ(loose->size(), 0u);
   EXPECT_FALSE(loose->valAttr());
   EXPECT_FALSE(loose->defaultCollection());
   auto const attribute = FenAttr::attr(Controller::PeerTable::_fwkType(), "peer");
   loose->typeFlagsIs(5);
   loose->sizeIs(16);
   loose->valAttrIs(attribute);
   loose->defaultCollectionIs(attribute);
   loose->scopeIs(Controller::PeerTable::_fwkType());
   EXPECT_EQ(loose->typeFlags(), 5u);
   EXPECT_EQ(loose->size(), 16u);
   EXPECT_EQ(loose->valAttr(), attribute);
   EXPECT_EQ(loose->defaultCollection(), attribute);
   EXPECT_EQ(loose->scope(), Controller::PeerTable::_fwkType());
   EXPECT_EQ(FenType::type("Sample::Loose::Type"), nullptr) << "it is in no tree";
   EXPECT_FALSE(loose->newEntity("e", nullptr));
   EXPECT_FALSE(loose->childAttrLogIs(Fen::dirFactory("d"), nullptr));
}

TEST(TypeTreeTest, ConstructorParametersAndScopes) {
   FenType const* const config = Controller::MountConfig::_fwkType();
   EXPECT_EQ(texts(config->constructorArgNameQ()),
             "remotePath fencType mountFlags targetMountPath");
   EXPECT_EQ(texts(config->constructorArgTypeQ()), "Fen::Name Fen::String Fen::String Fen::String");
   FenType const* const table = Controller::SystemPublishedMount::_fwkType();
   EXPECT_EQ(texts(table->constructorArgNameQ()), "name systemId");
   EXPECT_EQ(texts(table->constructorArgTypeQ()), "Fen::Name Controller::SystemId");
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
   // What is computed is an attribute like the others.
   auto const window =
      FenAttr::attr(Controller::MountGroupInitialMountSm::_fwkType(), "registrationWindow");
   EXPECT_EQ(window->attrFlags(), 0u);
   EXPECT_EQ(window->introspectionFlags(), Flags::isFunction_());
   EXPECT_EQ(window->valueType(), Fen::Builtin<double>::_fwkType());
   EXPECT_EQ(window->keyType(), nullptr);
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
