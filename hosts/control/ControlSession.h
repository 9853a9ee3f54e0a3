/// One client of a control socket: requests in, answers out, and what it watches.
///
/// Private to the control server, which owns it and drops it at the end of the turn in which it
/// ended; on the activity loop's thread.
#pragma once

#include <hosts/control/ControlServer.h>
#include <hosts/support/TreeWatch.h>

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace Host {

class ControlServer::Session : private Fen::TurnEndWork, private TreeListener {
 public:
   /// Takes over the descriptor.
   Session(ControlServer& server, int descriptor);
   ~Session() override;

   bool isEnded() const { return isEnded_; }

 private:
   class Reactor;

   void handleReadable();
   void handleTurnEnd() override;
   void takeRequests();
   void handleRequest(std::string_view line);
   Json answer(std::string_view line);
   Json watch(Json const& request);
   void send(Json const& json);
   void end();

   void entityAdded(std::string const& path, Fen::Entity const& entity) override;
   void entityRemoved(std::string const& path) override;
   void valueChanged(std::string const& path, Fen::Entity const& entity,
                     Fen::AttrDesc const& attribute, void const* key) override;
   void event(char const* name, std::string const& path, Json more);

   ControlServer& server_;
   int const descriptor_;
   Fen::Ptr<Fen::FileDescriptor> watched_;
   Fen::Ptr<Reactor> reactor_;
   std::string received_;
   std::string unsent_;
   std::string watchedPath_;
   std::unique_ptr<TreeWatch> watch_;
   bool isEnded_ = false;
   /// The client says no more, and gets what it has asked for.
   bool isLast_ = false;
};

} // namespace Host
