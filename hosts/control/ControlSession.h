/// One client of a control socket: the socket's side of a dialogue.
///
/// Private to the control server, which owns it and drops it at the end of the turn in which it
/// ended; on the activity loop's thread.
#pragma once

#include <hosts/control/ControlDialogue.h>
#include <hosts/control/ControlServer.h>

namespace Host {

class ControlServer::Session : private Fen::TurnEndWork, private ControlDialogue::User {
 public:
   /// Takes over the descriptor.
   Session(ControlServer& server, int descriptor);
   ~Session() override;

   bool isEnded() const { return isEnded_; }

 private:
   class Reactor;

   void handleReadable();
   void handleUnsent() override { pendingIs(true); }
   void handleTurnEnd() override;
   /// False when the connection is broken.
   bool send();
   void end();

   ControlServer& server_;
   int const descriptor_;
   ControlDialogue dialogue_;
   Fen::Ptr<Fen::FileDescriptor> watched_;
   Fen::Ptr<Reactor> reactor_;
   bool isEnded_ = false;
   /// The client says no more, and gets what it has asked for.
   bool isLast_ = false;
};

} // namespace Host
