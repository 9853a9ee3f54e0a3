/// The control socket of a host: a Unix domain socket at which its owner asks and gets answers, one
/// line of JSON each. docs/control.md is the protocol.
///
/// Owned by the program; on the activity loop's thread, which it never blocks: requests, answers
/// and what waits to be sent are bounded, and who does not read is cut off.
#pragma once

#include <hosts/control/ControlCommands.h>

#include <gantry/runtime/fen/ActivityLoop.h>

#include <memory>
#include <string>
#include <vector>

namespace Host {

class ControlServer : private Fen::TurnEndWork {
 public:
   static constexpr std::size_t mostSessions = 16;

   /// Serves at `path`, which only this user can use. A socket that a dead host left there is taken
   /// over. Throws UserError.
   ControlServer(std::string path, ControlPolicy policy);
   /// Ends all sessions and removes the socket.
   ~ControlServer() override;

   ControlCommands& commands() { return commands_; }

 private:
   class Acceptor;
   class Session;

   void accept();
   /// At the end of the turn, ended sessions go.
   void sessionEnded() { pendingIs(true); }
   void handleTurnEnd() override;

   std::string const path_;
   ControlCommands commands_;
   int descriptor_ = -1;
   Fen::Ptr<Fen::FileDescriptor> watched_;
   Fen::Ptr<Acceptor> acceptor_;
   std::vector<std::unique_ptr<Session>> sessions_;
};

} // namespace Host
