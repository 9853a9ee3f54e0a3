// Wishes for interfaces: when the kernel is asked, for what, and what is told of its answer.

#include <hosts/linux/InterfaceApplier.fen.h>
#include <hosts/linux/LinkControl.h>

#include <gantry/runtime/fen/Dir.h>
#include <gantry/runtime/fen/VirtualTime.h>

#include <gtest/gtest.h>

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace Linux {
namespace {

/// Writes down what it is asked for, and answers as a test says.
class ScriptedKernel : public LinkControl {
 public:
   int linkIs(std::string const& interface, LinkSettings const& settings) override {
      std::string text = interface;
      if (settings.adminUp) {
         text += *settings.adminUp ? " up" : " down";
      }
      if (settings.mtu) {
         text += " mtu " + std::to_string(*settings.mtu);
      }
      if (settings.description) {
         text += " '" + *settings.description + "'";
      }
      asked.push_back(text);
      return errors[interface];
   }
   std::vector<std::string> taken() { return std::exchange(asked, {}); }

   std::vector<std::string> asked;
   std::map<std::string, int> errors;
};

using Asked = std::vector<std::string>;

class InterfaceApplierTest : public testing::Test {
 protected:
   InterfaceApplierTest() {
      interfaces->interfaceIs("eth0");
      interfaces->interfaceIs("eth1");
   }
   Fen::Ptr<InterfaceConfig> wish(char const* name) {
      Fen::Ptr<InterfaceConfig> const made = interfaceConfigFactory(name);
      wishes->entityPtrIs(made);
      return made;
   }
   Fen::Ptr<InterfaceApplied> outcome(char const* name) const {
      return Fen::Ptr<InterfaceApplied>(
         dynamic_cast<InterfaceApplied*>(applied->entityPtr(name).ptr()));
   }
   void turn() { time.advance(0.0); }

   Fen::VirtualTime time{1000.0};
   ScriptedKernel kernel;
   Fen::Ptr<InterfaceDir> interfaces = Fen::makePtr<InterfaceDir>("interface");
   Fen::Ptr<Fen::Dir> applied = Fen::dirFactory("applied");
   Fen::Ptr<Fen::Dir> wishes = Fen::dirFactory("wishes");
   Fen::Ptr<InterfaceApplier> applier = interfaceApplierFactory(interfaces, applied, &kernel);
};

TEST_F(InterfaceApplierTest, AWishThatIsThereIsApplied) {
   wish("eth0")->mtuIs(1400);
   applier->configDirIs(wishes);
   EXPECT_EQ(kernel.taken(), Asked{});
   turn();
   EXPECT_EQ(kernel.taken(), Asked{"eth0 mtu 1400"});
   ASSERT_TRUE(outcome("eth0"));
   EXPECT_EQ(outcome("eth0")->mtu(), 1400u);
   EXPECT_EQ(outcome("eth0")->error(), "");
   EXPECT_EQ(outcome("eth0")->attempts(), 1u);
}

TEST_F(InterfaceApplierTest, ChangesOfOneTurnAreAskedForTogether) {
   applier->configDirIs(wishes);
   auto const eth0 = wish("eth0");
   eth0->adminStateIs(adminDown);
   eth0->mtuIs(1400);
   eth0->descriptionIs("to the roof");
   turn();
   EXPECT_EQ(kernel.taken(), Asked{"eth0 down mtu 1400 'to the roof'"});
   eth0->adminStateIs(adminUp);
   turn();
   EXPECT_EQ(kernel.taken(), Asked{"eth0 up mtu 1400 'to the roof'"});
   turn();
   EXPECT_EQ(kernel.taken(), Asked{});
   EXPECT_EQ(outcome("eth0")->adminState(), adminUp);
   EXPECT_EQ(outcome("eth0")->description(), "to the roof");
}

TEST_F(InterfaceApplierTest, TheKernelsErrorIsToldAndTakenBack) {
   applier->configDirIs(wishes);
   kernel.errors["eth0"] = EINVAL;
   auto const eth0 = wish("eth0");
   eth0->mtuIs(17);
   turn();
   EXPECT_EQ(outcome("eth0")->error(), std::strerror(EINVAL));
   kernel.errors["eth0"] = 0;
   eth0->mtuIs(1500);
   turn();
   EXPECT_EQ(outcome("eth0")->error(), "");
   EXPECT_EQ(outcome("eth0")->attempts(), 2u);
}

TEST_F(InterfaceApplierTest, AnInterfaceThatAppearsGetsItsWish) {
   applier->configDirIs(wishes);
   kernel.errors["eth2"] = ENODEV;
   wish("eth2")->adminStateIs(adminUp);
   turn();
   EXPECT_EQ(kernel.taken(), Asked{"eth2 up"});
   EXPECT_EQ(outcome("eth2")->error(), std::strerror(ENODEV));
   kernel.errors["eth2"] = 0;
   interfaces->interfaceIs("eth2");
   // Nobody wishes anything for this one.
   interfaces->interfaceIs("eth3");
   turn();
   EXPECT_EQ(kernel.taken(), Asked{"eth2 up"});
   EXPECT_EQ(outcome("eth2")->error(), "");
   interfaces->interfaceDel("eth2");
   turn();
   EXPECT_EQ(kernel.taken(), Asked{});
}

TEST_F(InterfaceApplierTest, WhatGoesChangesNothing) {
   applier->configDirIs(wishes);
   wish("eth0")->adminStateIs(adminDown);
   wish("eth1")->adminStateIs(adminDown);
   turn();
   kernel.taken();
   wishes->entityPtrDel("eth0");
   EXPECT_FALSE(outcome("eth0"));
   // A preserved or unmounted directory: its wishes stay as they were asked for.
   applier->configDirDel();
   turn();
   EXPECT_EQ(kernel.taken(), Asked{});
   EXPECT_TRUE(outcome("eth1"));
}

TEST_F(InterfaceApplierTest, AWishThatGoesBeforeItsTurnIsNotApplied) {
   applier->configDirIs(wishes);
   wish("eth0")->mtuIs(1400);
   wishes->entityPtrDel("eth0");
   turn();
   EXPECT_EQ(kernel.taken(), Asked{});
}

TEST_F(InterfaceApplierTest, MembersOfOtherTypesAreIgnored) {
   wishes->entityPtrIs(Fen::dirFactory("eth0"));
   applier->configDirIs(wishes);
   turn();
   EXPECT_EQ(kernel.taken(), Asked{});
}

TEST_F(InterfaceApplierTest, AnotherDirectoryTakesThePlaceOfTheFirst) {
   applier->configDirIs(wishes);
   wish("eth0")->mtuIs(1400);
   turn();
   kernel.taken();
   Fen::Ptr<Fen::Dir> const anew = Fen::dirFactory("wishes");
   auto const eth0 = interfaceConfigFactory("eth0");
   eth0->mtuIs(1300);
   anew->entityPtrIs(eth0);
   applier->configDirIs(anew);
   turn();
   EXPECT_EQ(kernel.taken(), Asked{"eth0 mtu 1300"});
}

/// The flags and the MTU of the loopback interface as the kernel gives them.
std::pair<bool, int> loopback() {
   int const socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   ifreq request{};
   std::strcpy(request.ifr_name, "lo");
   ::ioctl(socket, SIOCGIFFLAGS, &request);
   bool const up = (request.ifr_flags & IFF_UP) != 0;
   ::ioctl(socket, SIOCGIFMTU, &request);
   ::close(socket);
   return {up, request.ifr_mtu};
}

/// In a process with a network of its own; 0 when all is as it should be.
int realKernelChecks() {
   bool const isOwnNetwork =
      ::unshare(CLONE_NEWNET) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
   auto const control = rtnetlinkControl();
   if (!isOwnNetwork) {
      // Without the right to change anything the answer must say so.
      return control->linkIs("lo", {false, 1400, {}}) == EPERM ? 0 : 1;
   }
   if (control->linkIs("lo", {true, 1400, "looped"}) != 0 || loopback() != std::pair(true, 1400)) {
      return 2;
   }
   if (control->linkIs("lo", {false, {}, {}}) != 0 || loopback() != std::pair(false, 1400)) {
      return 3;
   }
   return control->linkIs("no-such0", {true, {}, {}}) != 0 &&
                control->linkIs("a-name-too-long-for-the-kernel", {true, {}, {}}) == ENODEV
             ? 0
             : 4;
}

TEST(RtnetlinkControlTest, ChangesWhatTheKernelHas) {
   pid_t const child = ::fork();
   if (child == 0) {
      ::_exit(realKernelChecks());
   }
   int status = 0;
   ASSERT_EQ(::waitpid(child, &status, 0), child);
   ASSERT_TRUE(WIFEXITED(status));
   EXPECT_EQ(WEXITSTATUS(status), 0);
}

} // namespace
} // namespace Linux
