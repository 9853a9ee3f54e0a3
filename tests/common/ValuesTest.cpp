/// The values that a controller and its switches share.
#include <gantry/common/ConnectionConfig.fen.h>
#include <gantry/common/MountDesc.fen.h>
#include <gantry/common/MountState.h>
#include <gantry/common/SystemId.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/HashMap.h>
#include <gantry/runtime/fen/NboAttrLogForm.h>

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace Controller;

TEST(SystemIdTest, TextAndBack) {
   SystemId const id("02:00:00:00:00:0A");
   EXPECT_EQ(id.stringValue(), "02:00:00:00:00:0a");
   EXPECT_EQ(SystemId(id.stringValue()), id);
   SystemId filled;
   filled.stringValueIs("02:00:00:00:00:0a");
   EXPECT_EQ(filled, id);
   std::ostringstream stream;
   stream << id;
   EXPECT_EQ(stream.str(), "02:00:00:00:00:0a");
   EXPECT_EQ(valueToStrep(id), "'02:00:00:00:00:0a'");
}

TEST(SystemIdTest, UpperCaseTextIsAcceptedAndIsAnotherKey) {
   // A key is compared as text: only the lower-case form is the one that ids give.
   Fen::Name const upper("02:00:00:00:00:0A");
   EXPECT_EQ(SystemId(upper), SystemId("02:00:00:00:00:0a"));
   EXPECT_FALSE(Fen::Name(SystemId(upper).stringValue()) == upper);
}

TEST(SystemIdTest, OtherTextIsNoSystem) {
   EXPECT_EQ(SystemId("spine1"), SystemId());
   EXPECT_TRUE(!SystemId());
   EXPECT_EQ(SystemId().stringValue(), "00:00:00:00:00:00");
}

TEST(SystemIdTest, IsAKeyOfCollections) {
   EXPECT_EQ(Fen::HashOf<SystemId>::hash(SystemId("02:00:00:00:00:01")),
             Nimet::EthAddr("02:00:00:00:00:01").hash());
   EXPECT_EQ(SystemId::_fwkType()->fullTypeName(), "Controller::SystemId");
}

TEST(MountStateTest, NumbersAndNames) {
   EXPECT_EQ(MountStateInstance(0u), mountStateUnmounted);
   EXPECT_EQ(MountStateInstance(5u), mountStateUnmounting);
   EXPECT_THROW(MountStateInstance(6u), Fen::RangeException);
   for (unsigned number = 0; number <= 5; ++number) {
      MountState const state = MountStateInstance(number);
      EXPECT_EQ(MountStateInstance(stringValue(state)), state);
      std::ostringstream stream;
      stream << state;
      EXPECT_EQ(Fen::String8(stream.str()), stringValue(state));
   }
   EXPECT_EQ(stringValue(mountStateMounted), "mountStateMounted");
   EXPECT_EQ(stringValue(static_cast<MountState>(9)), "MountState(9)");
   EXPECT_THROW(MountStateInstance("mounted"), Fen::RangeException);
   EXPECT_EQ(_fwkType_MountState()->fullTypeName(), "Controller::MountState");
}

TEST(MountDescTest, NullIsTheDefault) {
   EXPECT_EQ(MountDesc().mountFlags(), "rt");
   EXPECT_TRUE(!MountDesc());
   EXPECT_FALSE(!MountDesc("", "", "", "", ""));
   EXPECT_TRUE(!MountDesc("", "", "", "rt", ""));
   EXPECT_FALSE(!MountDesc("a", "", "", "rt", ""));
   EXPECT_EQ(MountDesc("a", "b", "c", "rt", "d"), MountDesc("a", "b", "c", "rt", "d"));
   EXPECT_FALSE(MountDesc("a", "b", "c", "rt", "d") == MountDesc("a", "b", "c", "rt", "e"));
}

class Listener : public ConnectionConfig::Notifiee {
 public:
   Listener(Fen::Ptr<ConnectionConfig> const& config, std::vector<std::string>& log)
      : ConnectionConfig::Notifiee(config), log_(log) {
      isRegisteredNotifieeIs(true);
   }
   void onIp() override { log_.push_back("ip"); }
   void onPort() override { log_.push_back("port"); }
   void onSockname() override { log_.push_back("sockname"); }
   void onSysname() override { log_.push_back("sysname"); }
   void onSrcIp() override { log_.push_back("srcIp"); }

 private:
   std::vector<std::string>& log_;
};

TEST(ConnectionConfigTest, IsValidWithAddressAndPort) {
   auto const config = connectionConfigFactory("config");
   EXPECT_EQ(config->name(), "config");
   EXPECT_FALSE(config->isValid());
   config->ipIs(Nimet::IpAddr("10.0.0.1"));
   EXPECT_FALSE(config->isValid());
   config->portIs(9001);
   EXPECT_TRUE(config->isValid());
   config->ipIs(Nimet::IpAddr());
   EXPECT_FALSE(config->isValid());
}

TEST(ConnectionConfigTest, EachSetterTellsOnce) {
   auto const config = connectionConfigFactory("config");
   std::vector<std::string> log;
   auto const listener = Fen::makePtr<Listener>(config, log);
   for (int i = 0; i < 2; ++i) {
      config->ipIs(Nimet::IpAddr("10.0.0.1"));
      config->portIs(9001);
      config->socknameIs("mgmt");
      config->sysnameIs("leaf1");
      config->srcIpIs(Nimet::IpAddr("10.0.0.2"));
   }
   EXPECT_EQ(log, (std::vector<std::string>{"ip", "port", "sockname", "sysname", "srcIp"}));
   EXPECT_EQ(config->sockname(), "mgmt");
   EXPECT_EQ(config->sysname(), "leaf1");
   EXPECT_EQ(config->srcIp().stringValue(), "10.0.0.2");
   EXPECT_EQ(config->attributeString(259), "ip");
   EXPECT_EQ(config->attributeString(263), "srcIp");
}

/// Writes a value to a log, compares the bytes, and reads it back.
template <class T>
T throughTheLog(T const& value, std::string const& bytes) {
   auto const buffer = Fen::makePtr<Fen::Connection::Out>();
   auto const out = Fen::makePtr<Fen::NboAttrLog::Out>(buffer, 1u, nullptr);
   buffer->frameBegin(Fen::NboAttrLog::FrameKind::message, 1);
   Fen::NboAttrLog::LogForm<T>::put(*out, value);
   buffer->frameEnd();
   auto const written = buffer->pending().subspan(Fen::NboAttrLog::frameHeaderBytes);
   std::vector<std::uint8_t> copy(written.begin(), written.end());
   EXPECT_EQ(std::string(copy.begin(), copy.end()), bytes);
   auto const in = Fen::makePtr<Fen::NboAttrLog::In>(copy.data(), copy.size());
   T const read = Fen::NboAttrLog::LogForm<T>::take(*in);
   EXPECT_EQ(in->left(), 0u);
   return read;
}

std::string text(std::string const& value) {
   return std::string("\0\0\0", 3) + static_cast<char>(value.size()) + value;
}

TEST(LogFormTest, Values) {
   Nimet::IpAddr const ip("10.1.2.3");
   EXPECT_EQ(throughTheLog(ip, "\x0a\x01\x02\x03"), ip);
   SystemId const id("02:01:03:04:05:06");
   EXPECT_EQ(throughTheLog(id, "\x02\x01\x03\x04\x05\x06"), id);
   EXPECT_EQ(throughTheLog(mountStateFailed, std::string("\0\0\0\x03", 4)), mountStateFailed);
   // A state that only a newer peer knows passes through as it came.
   auto const newer = static_cast<MountState>(9);
   EXPECT_EQ(throughTheLog(newer, std::string("\0\0\0\x09", 4)), newer);
   MountDesc const description("a", "bc", "T", "rt", "");
   EXPECT_EQ(throughTheLog(description, text("a") + text("bc") + text("T") + text("rt") + text("")),
             description);
   EXPECT_GT(fenHeldBytes(description), fenHeldBytes(MountDesc()));
}

} // namespace
