/// The model's entities and values by name: what is set by name is what the typed accessor reads,
/// and what is read by name is the text of what the accessor gives.
#include <gantry/Gantry.h>

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
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

/// Random values of the types that the model has.
class Random {
 public:
   void make(bool& value) { value = number(2) != 0; }
   void make(std::uint32_t& value) { value = static_cast<std::uint32_t>(engine_()); }
   void make(double& value) { value = static_cast<double>(engine_()) / 16; }
   void make(String8& value) {
      std::string text;
      for (std::size_t n = number(9); n > 0; --n) {
         text += static_cast<char>(engine_());
      }
      value = String8(text);
   }
   void make(Name& value) {
      String8 text;
      make(text);
      value = Name(text);
   }
   void make(SystemId& value) {
      Nimet::EthAddr::Bytes bytes;
      for (auto& byte : bytes) {
         byte = static_cast<std::uint8_t>(engine_());
      }
      value = SystemId(Nimet::EthAddr(bytes).stringValue());
   }
   void make(Nimet::IpAddr& value) {
      value = Nimet::IpAddr::fromNetworkOrder(static_cast<std::uint32_t>(engine_()));
   }
   void make(std::uint16_t& value) { value = static_cast<std::uint16_t>(engine_()); }
   void make(MountState& value) { value = static_cast<MountState>(number(6)); }
   void make(PublishState& value) { value = static_cast<PublishState>(number(2)); }
   void make(MountSm::SmState& value) { value = static_cast<MountSm::SmState>(number(5)); }
   template <Fen::HasFields Value>
   void make(Value& value) {
      Value::fenEachField(value, [this](char const*, auto& field) { this->make(field); });
   }
   std::size_t number(std::size_t limit) { return engine_() % limit; }

 private:
   std::mt19937 engine_{5};
};

Random& random() {
   static Random theRandom;
   return theRandom;
}

template <class Value>
Value any() {
   Value value{};
   random().make(value);
   return value;
}

Handle handleOf(Fen::PtrInterface* object) { return object->fwkType()->genericIf(object, false); }

Handle operate(Handle const& handle, char const* attribute, unsigned operation, Key const& key = {},
               Key const& value = {}) {
   return handle->attributeOp(GenericIf::AttributeOp(handle->attributeId(attribute), operation),
                              key, value);
}

/// A value's text read by its type object, as a tool does it.
template <class Value>
Key fromText(Value const& value) {
   String8 const text = Fen::strepOf(value);
   return Fen::typeOf<Value>()->genericIf(text, false);
}

template <class Entity, class Value>
void scalar(Entity& entity, char const* name, Value (Entity::*get)() const) {
   Handle const handle = handleOf(&entity);
   for (int i = 0; i < 40; ++i) {
      Value const value = any<Value>();
      operate(handle, name, 128, {}, fromText(value));
      EXPECT_EQ((entity.*get)(), value) << name;
      EXPECT_EQ(operate(handle, name, 0)->strRep(), Fen::strepOf(value)) << name;
   }
}

template <class Entity, class KeyType, class Value>
void values(Entity& entity, char const* name, Value (Entity::*get)(KeyType const&) const,
            std::uint32_t (Entity::*count)() const) {
   Handle const handle = handleOf(&entity);
   for (int i = 0; i < 40; ++i) {
      KeyType const key = any<KeyType>();
      Value const value = any<Value>();
      bool const was = operate(handle, name, 3, fromText(key))->strRep() == "True";
      std::uint32_t const before = (entity.*count)();
      operate(handle, name, 128, fromText(key), fromText(value));
      EXPECT_EQ((entity.*count)(), before + (was ? 0 : 1));
      EXPECT_EQ((entity.*get)(key), value) << name;
      EXPECT_EQ(operate(handle, name, 0, fromText(key))->strRep(), Fen::strepOf(value)) << name;
      EXPECT_EQ(operate(handle, name, 1)->strRep(), Fen::strepOf((entity.*count)()));
      if (random().number(2) == 0) {
         operate(handle, name, 129, fromText(key));
         EXPECT_EQ(operate(handle, name, 3, fromText(key))->strRep(), "False");
      }
   }
}

template <class Entity, class Value>
void fixed(Entity& entity, char const* name, Value (Entity::*get)() const) {
   Handle const handle = handleOf(&entity);
   EXPECT_EQ(operate(handle, name, 0)->strRep(), Fen::strepOf((entity.*get)())) << name;
   EXPECT_THROW(operate(handle, name, 128, {}, genericIf((entity.*get)())),
                Fen::OpNotSupportedException)
      << name;
}

TEST(ReflectionTest, Scalars) {
   auto const status = Fen::makePtr<MountStatus>("p");
   fixed(*status, "remotePath", &MountStatus::remotePath);
   scalar(*status, "mountState", &MountStatus::mountState);
   scalar(*status, "mountedPath", &MountStatus::mountedPath);
   auto const group = Fen::makePtr<ServiceMountGroupStatus>("g");
   scalar(*group, "mountState", &ServiceMountGroupStatus::mountState);
   auto const groupConfig = Fen::makePtr<ServiceMountGroupConfig>("g");
   scalar(*groupConfig, "preserveMountsOnDisconnect",
          &ServiceMountGroupConfig::preserveMountsOnDisconnect);
   auto const published = Fen::makePtr<PublishStatus>("p");
   scalar(*published, "publishState", &PublishStatus::publishState);
   auto const data = mountSmDataFactory(SystemId("02:00:00:00:00:01"), "/p");
   fixed(*data, "connectionId", &MountSmData::connectionId);
   fixed(*data, "remotePath", &MountSmData::remotePath);
   scalar(*data, "mountState", &MountSmData::mountState);
   auto const connection = connectionConfigFactory("c");
   scalar(*connection, "ip", &ConnectionConfig::ip);
   scalar(*connection, "port", &ConnectionConfig::port);
   scalar(*connection, "sockname", &ConnectionConfig::sockname);
   scalar(*connection, "sysname", &ConnectionConfig::sysname);
   scalar(*connection, "srcIp", &ConnectionConfig::srcIp);
   auto const config = ControllerRegistration::switchConfigFactory("s");
   using ControllerRegistration::SwitchConfig;
   scalar(*config, "systemId", &SwitchConfig::systemId);
   scalar(*config, "registrationGenId", &SwitchConfig::registrationGenId);
   scalar(*config, "enabled", &SwitchConfig::enabled);
}

TEST(ReflectionTest, CollectionsOfValues) {
   auto const systems = mountFilterSystemFactory("f");
   values(*systems, "includedSystem", &MountFilterSystem::includedSystem,
          &MountFilterSystem::includedSystemCount);
   auto const table = registeredSwitchTableFactory();
   values(*table, "system", &RegisteredSwitchTable::system, &RegisteredSwitchTable::systemCount);
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

template <class Value>
void backFromText() {
   for (int i = 0; i < 500; ++i) {
      Value const value = any<Value>();
      String8 const text = Fen::strepOf(value);
      EXPECT_EQ(Fen::strepToValue<Value>(text), value) << text;
      EXPECT_EQ(Fen::typeOf<Value>()->genericIf(text, false)->strRep(), text);
      // Every way of cutting it short is refused, or gives a value: never more than that.
      for (std::uint32_t length = 0; length < text.length(); length += 1 + length / 16) {
         try {
            Fen::strepToValue<Value>(String8(text.view().substr(0, length)));
         } catch (Fen::RangeException const&) {
         }
      }
   }
}

TEST(ReflectionTest, ValuesAreReadBackFromTheirText) {
   backFromText<MounterName>();
   backFromText<MountDesc>();
   backFromText<SystemId>();
   backFromText<MountState>();
   backFromText<PublishState>();
   backFromText<MountSm::SmState>();
}

std::string refused(String8 const& text) {
   try {
      Fen::strepToValue<MounterName>(text);
   } catch (Fen::RangeException const& exception) {
      return exception.text().str();
   }
   return "taken";
}

TEST(ReflectionTest, TheTextOfAMounterName) {
   EXPECT_EQ(Fen::strepOf(MounterName("s", "g")),
             "Value('Controller::MounterName', ** {'serviceName': 's', 'groupName': 'g'})");
   EXPECT_TRUE(!Fen::strepToValue<MounterName>("Value('Controller::MounterName', ** {})"));
   EXPECT_EQ(Fen::strepToValue<MounterName>("Value('Controller::MounterName', ** {"
                                            "'groupName': 'g', 'serviceName': 's'})"),
             MounterName("s", "g"));
   EXPECT_EQ(Fen::strepToValue<MounterName>(" Value\t( 'Controller::MounterName' ,\n**{ "
                                            "'groupName' :'g','groupName': 'h' } ) "),
             MounterName("", "h"));
   EXPECT_EQ(refused("Value('Controller::MounterName', ** {"),
             "premature end of value type MounterName");
   EXPECT_EQ(refused("Value('Controller::MounterName', ** {'serviceName': 's'"),
             "premature end of value type MounterName");
   EXPECT_EQ(refused("Value('Controller::MounterName', ** {'name': 's'})"),
             "MounterName has no such attribute: name");
   EXPECT_EQ(refused("Value('Controller::MounterName', ** {}) x"),
             "junk at column 40 deserializing Value('Controller::MounterName', ** {}) x");
   EXPECT_EQ(refused("Value('Controller::MountDesc', ** {})").substr(0, 41),
             "\" 'Controller::MounterName'\" expected at ");
   EXPECT_NE(refused("Value('Controller::MounterName', ** {'serviceName': 's' "
                     "'groupName': 'g'})"),
             "taken");
}

TEST(ReflectionTest, TheTextOfAnEnumeration) {
   EXPECT_EQ(valueToStrep(publishStateInvalid), "'publishStateInvalid'");
   EXPECT_EQ(Fen::strepToValue<PublishState>("'publishStateComplete'"), publishStateComplete);
   for (auto const& act : std::vector<std::function<void()>>{
           [] { PublishStateInstance(2u); }, [] { PublishStateInstance(String8("complete")); },
           [] { Fen::strepToValue<PublishState>("'Invalid'"); }}) {
      try {
         act();
         ADD_FAILURE();
      } catch (Fen::RangeException const& exception) {
         EXPECT_EQ(exception.text(), "PublishState");
      }
   }
   Handle const handle = _fwkType_PublishState()->genericIf("'publishStateComplete'", true);
   EXPECT_NE(dynamic_cast<PublishState_GenericIf_*>(handle.ptr()), nullptr);
   EXPECT_EQ(handle->attributeId("value"), 1);
   EXPECT_EQ(MountSm::_fwkType_SmState()->fullTypeName(), "Controller::MountSm::SmState");
}

} // namespace
} // namespace ModelTest
