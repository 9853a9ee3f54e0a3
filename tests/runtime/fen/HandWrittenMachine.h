/// A state machine written by hand in exactly the shape that the schema compiler emits; its
/// handlers are in HandWrittenMachineHandlers.cpp, as a user writes them. Schema:
///
///    machine ChassisSm( chassis: ref Chassis, limit: u32 ) {
///       reactor chassis {                      // registers at birth, runs no handler
///          up       => handleUp;               // runs when it became true
///          port[ ]  => handlePort;             // runs with the key
///       }
///       holdTimer: timer => handleHoldTimeout;
///       portSm: machine PortSm[ portName ];    // nested machines by key
///       log: String8;
///       handlers { doCleanup(); }
///       machine PortSm( portName: Name key, port: ref Port, chassisSm: back ) {
///          reactor port at creation { speed => handleSpeed; }
///       }
///    }
#pragma once

#include "HandWrittenEntity.h"

#include <gantry/runtime/fen/Clock.h>
#include <gantry/runtime/fen/Reactor.h>

namespace Sample {

class ChassisSm : public Fen::PtrInterface {
 public:
   static constexpr char const* fenFullTypeName = "Sample::ChassisSm";
   class PortSm;
   class FenChassis;
   class FenHoldTimer;

   static Fen::Ptr<ChassisSm> ChassisSmIs(Fen::Ptr<Chassis> const& chassis, std::uint32_t limit);

   void hasNotificationActiveIs(bool active) override;
   Fen::FenType* fwkType() const override;
   static Fen::FenType* _fwkType();
   virtual void fenDoZombieReactors(bool zombie);

   Fen::Ptr<Chassis> chassis() const;
   std::uint32_t limit() const { return limit_; }
   Fen::Ptr<FenHoldTimer> holdTimer() const { return holdTimer_; }
   Fen::String8 log() const { return log_; }
   bool initialized() const { return initialized_; }

   using PortSmMap = Fen::HashMap<PortSm, Fen::Name>;
   Fen::Ptr<PortSm> portSm(Fen::Name const& portName) const;
   /// Returns the machine with that key when its constructor parameters are equal.
   Fen::Ptr<PortSm> portSmIs(Fen::Name const& portName, Fen::Ptr<Port> const& port);
   Fen::Ptr<PortSm> newPortSm(Fen::Name const& portName, Fen::Ptr<Port> const& port);
   Fen::Ptr<PortSm> portSmDel(Fen::Name const& portName);
   void portSmDelAll();
   std::uint32_t portSms() const { return static_cast<std::uint32_t>(portSm_.size()); }

   // Written by hand:
   void handleInitialized();
   void handleUp();
   void handlePort(Fen::Name const& portName);
   void handleHoldTimeout();
   void doCleanup();

 protected:
   ChassisSm(Fen::Ptr<Chassis> const& chassis, std::uint32_t limit);
   ~ChassisSm() override;

 private:
   void initializedIs(bool initialized) { initialized_ = initialized; }
   void logIs(Fen::String8 const& log) { log_ = log; }

   Fen::Ptr<FenChassis> chassis_;
   std::uint32_t limit_;
   Fen::Ptr<FenHoldTimer> holdTimer_;
   PortSmMap portSm_;
   Fen::String8 log_{};
   bool initialized_ = false;
};

class ChassisSm::FenChassis
   : public Fen::NestedReactor<ChassisSm::FenChassis, Chassis::Notifiee, ChassisSm> {
 public:
   using NestedReactor::NestedReactor;

   ChassisSm* chassisSm() const { return fenMachine(); }
   void onUp() override;
   void onPort(Fen::Name key) override;
   void fenHandleAll();
};

class ChassisSm::FenHoldTimer
   : public Fen::NestedReactor<ChassisSm::FenHoldTimer, Fen::Clock::Notifiee, ChassisSm> {
 public:
   using NestedReactor::NestedReactor;

   ChassisSm* chassisSm() const { return fenMachine(); }
   void onTime() override;
   void fenHandleAll();
};

class ChassisSm::PortSm : public Fen::PtrInterface {
 public:
   class FenPort;

   PortSm(Fen::Name const& portName, Fen::Ptr<Port> const& port, ChassisSm* chassisSm);

   void hasNotificationActiveIs(bool active) override;
   virtual void fenDoZombieReactors(bool zombie);

   Fen::Name portName() const { return portName_; }
   Fen::Ptr<Port> port() const;
   ChassisSm* chassisSm() const { return chassisSm_; }
   void fenMachineDel() { chassisSm_ = nullptr; }
   void fenParametersMatch(Fen::Ptr<Port> const& port) const;

   Fen::Name const& fwkKey() const { return portName_; }
   Fen::HashMapLink& fwkHmLink() { return link_; }

   // Written by hand:
   void handleInitialized();
   void handleSpeed();

 protected:
   ~PortSm() override;

 private:
   void initializedIs(bool initialized) { initialized_ = initialized; }

   Fen::HashMapLink link_;
   Fen::Name portName_;
   Fen::Ptr<FenPort> port_;
   ChassisSm* chassisSm_;
   bool initialized_ = false;
};

class ChassisSm::PortSm::FenPort
   : public Fen::NestedReactor<ChassisSm::PortSm::FenPort, Port::Notifiee, ChassisSm::PortSm> {
 public:
   using NestedReactor::NestedReactor;

   PortSm* portSm() const { return fenMachine(); }
   void onSpeed() override;
   void fenHandleAll();
};

Fen::Ptr<ChassisSm> chassisSmFactory(Fen::Ptr<Chassis> const& chassis, std::uint32_t limit);

} // namespace Sample
