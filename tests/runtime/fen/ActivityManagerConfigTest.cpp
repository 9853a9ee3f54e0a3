/// The activity's configuration, and entities of which a process has one.
#include "HandWrittenEntity.h"

#include <gantry/runtime/fen/ActivityManagerConfig.h>
#include <gantry/runtime/fen/FenType.h>

#include <gtest/gtest.h>

namespace {

using Fen::ActivityManagerConfig;
using Fen::Entity;

TEST(ActivityManagerConfigTest, OneThatGivesTheActivitysClock) {
   Fen::Ptr<ActivityManagerConfig> const config = ActivityManagerConfig::instance();
   ASSERT_TRUE(config);
   EXPECT_EQ(ActivityManagerConfig::instance(), config);
   EXPECT_EQ(Entity::singletonExists(ActivityManagerConfig::_fwkType()), config);
   EXPECT_EQ(Entity::singletonIs(ActivityManagerConfig::_fwkType()), config);
   EXPECT_EQ(config->clock(), Fen::ActivityFacility::clock());
   EXPECT_EQ(config->name(), "ActivityManagerConfig");
   EXPECT_EQ(config->fwkType()->fullTypeName(), "Fen::ActivityManagerConfig");
}

TEST(ActivityManagerConfigTest, ASingletonIsMadeOnceAndOnlyFromAName) {
   Fen::FenType* const type = Sample::Chassis::_fwkType();
   EXPECT_FALSE(Entity::singletonExists(type));
   Fen::Ptr<Entity> const made = Entity::singletonIs(type);
   ASSERT_TRUE(made);
   EXPECT_EQ(made->fwkType(), type);
   EXPECT_EQ(Entity::singletonExists(type), made);
   EXPECT_EQ(Entity::singletonIs(type), made);
   EXPECT_FALSE(Entity::singletonIs(Fen::FenType::_fwkType())) << "needs more than a name";
   EXPECT_FALSE(Entity::singletonExists(Fen::FenType::_fwkType()));
}

} // namespace
