/// The hand-written half of the machine: what a user of the schema compiler writes.
#include "HandWrittenMachine.h"

namespace Sample {

void ChassisSm::handleInitialized() {
   if (initialized_) {
      return;
   }
   initializedIs(true);
   for (Chassis::PortIteratorConst i = chassis()->portIteratorConst(); i; ++i) {
      handlePort(i.key());
   }
}

void ChassisSm::handleUp() {
   logIs(log_ + "up;");
   holdTimer_->timeMinIs(Fen::now() + limit_);
}

void ChassisSm::handlePort(Fen::Name const& portName) {
   if (Fen::Ptr<Port> const port = chassis()->port(portName)) {
      portSmIs(portName, port);
   } else {
      portSmDel(portName);
   }
}

void ChassisSm::handleHoldTimeout() { logIs(log_ + "held;"); }

void ChassisSm::doCleanup() {
   logIs(log_ + "cleanup;");
   portSmDelAll();
}

void ChassisSm::PortSm::handleInitialized() {
   if (initialized_) {
      return;
   }
   initializedIs(true);
   handleSpeed();
}

void ChassisSm::PortSm::handleSpeed() {
   if (chassisSm_ != nullptr && port()->speed() > chassisSm_->limit()) {
      // Takes the very machine that runs out of its owner; it lives on until this call returns.
      chassisSm_->chassis()->portDel(portName_);
   }
}

} // namespace Sample
