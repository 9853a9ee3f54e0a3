/// The model's entities by name, as a tool uses them. That every attribute is read and set by name
/// as by its accessors is tested with the whole library.
#include <gantry/Gantry.h>

#include <gtest/gtest.h>

#include <vector>

namespace ModelTest {
namespace {

using namespace Controller;
using Fen::GenericIf;
using Fen::genericIf;
using Fen::Name;
using Fen::Ptr;
using Fen::String8;
using Handle = Ptr<GenericIf>;
using Key = Ptr<GenericIf const>;

Handle handleOf(Fen::PtrInterface* object) { return object->fwkType()->genericIf(object, false); }

Handle operate(Handle const& handle, char const* attribute, unsigned operation, Key const& key = {},
               Key const& value = {}) {
   return handle->attributeOp(GenericIf::AttributeOp(handle->attributeId(attribute), operation),
                              key, value);
}

TEST(ReflectionTest, AnAbsentKeyIsAskedForAndNotAdded) {
   auto const filter = mountFilterSystemFactory("f");
   Handle const handle = filter->fwkType()->genericIf(filter.ptr(), true);
   Key const key = genericIf(String8("02:00:00:00:00:01"));
   EXPECT_EQ(operate(handle, "includedSystem", 3, key)->strRep(), "False");
   EXPECT_EQ(operate(handle, "includedSystem", 0, key)->strRep(), "False");
   EXPECT_EQ(filter->includedSystemCount(), 0u);
   EXPECT_THROW(operate(handle, "includedSystem", 129, key), Fen::ConstException);
}

TEST(ReflectionTest, AKeyIsNotSet) {
   auto const status = Fen::makePtr<MountStatus>("p");
   Handle const handle = handleOf(status.ptr());
   try {
      operate(handle, "remotePath", 128, {}, genericIf(Name("q")));
      ADD_FAILURE();
   } catch (Fen::OpNotSupportedException const& exception) {
      EXPECT_EQ(exception.attribute(), "remotePath");
      EXPECT_EQ(exception.operation(), 128u);
   }
   EXPECT_EQ(status->attributeString(260), "mountedPath");
   EXPECT_EQ(status->attributeString(4711), "unknown");
}

TEST(ReflectionTest, AWholeConfigurationByNames) {
   auto const config = serviceMountConfigFactory("fabric");
   Fen::root()->entityPtrIs(config);
   Handle const handle = handleOf(config.ptr());
   auto const list = [](std::vector<Key> items) {
      return Key(Fen::makePtr<GenericIf::List_>(std::move(items)));
   };
   operate(handle, "systemFilter", 128, genericIf(Name("leaves")), list({}));
   Handle const group = operate(handle, "mountGroupConfig", 128, genericIf(Name("g")), list({}));
   operate(group, "mountConfig", 128, genericIf(Name("sw/state")),
           list({genericIf(String8("T")), genericIf(String8("rt")), genericIf(String8())}));
   // The way from the text of an entity to a reference to it, as a tool sets one.
   operate(group, "systemFilter", 128, {},
           MountFilterSystem::_fwkType()->genericIf("'/fabric/systemFilter/leaves'", false));
   ASSERT_TRUE(config->mountGroupConfig("g"));
   EXPECT_EQ(config->mountGroupConfig("g")->systemFilter(), config->systemFilter("leaves"));
   EXPECT_EQ(config->mountGroupConfig("g")->mountConfig("sw/state")->mountFlags(), "rt");
   EXPECT_EQ(operate(group, "systemFilter", 0)->strRep(), "'/fabric/systemFilter/leaves'");
   operate(handle, "mountGroupConfig", 129, genericIf(Name("g")));
   EXPECT_FALSE(config->mountGroupConfig("g"));
   Fen::root()->entityPtrDel("fabric");
}

} // namespace
} // namespace ModelTest
