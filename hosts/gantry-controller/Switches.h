/// The switches that the controller knows: from the file, or because they have made themselves
/// known. Each is reached on its own connection, over which it says who it is and what it offers.
/// Once that is in order it is registered; when the connection is given up it is unregistered,
/// which leads to the unmounts that its groups ask for.
///
/// Owned by the program; on the activity loop's thread. What a switch sends is not trusted:
/// whatever is wrong with it keeps that switch unregistered, with one line and one counter, and
/// disturbs no other.
#pragma once

#include <hosts/gantry-controller/Configuration.h>
#include <hosts/gantry-controller/Entities.h>
#include <hosts/gantry-controller/Negotiation.h>

#include <gantry/runtime/cairn/PeerPolicy.h>

#include <map>
#include <memory>
#include <set>
#include <string>

namespace Host {

enum class SwitchState { connecting, registered, lost, refused, gone };
char const* switchStateName(SwitchState state);

class Switches {
 public:
   class Listener {
    public:
      /// A switch has come to a state; a repeated one is not told.
      virtual void handleSwitch(std::string const& name, Controller::SystemId system,
                                SwitchState state, std::string const& reason) = 0;
      /// A peer that wanted to be a switch was refused; told once for each address and reason.
      virtual void handleRefusal(std::string const& peer, std::string const& reason) = 0;

    protected:
      ~Listener() = default;
   };

   /// `accepts` lets switches that are not in the file make themselves known.
   Switches(Entities& entities, Negotiation& negotiation, Listener& listener,
            TimingConfiguration const& timing, Controller::SystemId self, bool accepts);
   ~Switches();
   Switches(Switches const&) = delete;
   Switches& operator=(Switches const&) = delete;

   /// A switch of the file is to be reached. One that has made itself known under the same name or
   /// id gives way.
   void switchIs(std::string const& name, SwitchConfiguration const& place);
   /// It is unregistered and forgotten.
   void switchDel(std::string const& name);
   /// For failures from now on.
   void retryIntervalIs(double seconds);
   /// Unregisters all of them and registers none any more.
   void close();

   /// The name of a switch, or the text of the id when none has it.
   std::string nameOf(std::string const& systemText) const;
   /// The machine that mounts each switch's announcement, by the switch's name.
   std::map<std::string, Fen::Ptr<Controller::MountSm>> machines() const;
   /// The policy of the server at which switches make themselves known.
   Fen::Ptr<Cairn::PeerPolicy> policy() const;

 private:
   class Switch;
   class Admission;
   class Settler;
   /// The entities of a system, kept when its switch goes: a mount that is preserved meanwhile
   /// reaches it again by the same connection configuration, edited.
   struct Record {
      Fen::Ptr<ControllerRegistration::SwitchConfig> config;
      Fen::Ptr<ControllerRegistration::SwitchStatus> status;
   };

   Fen::String8 handlePeer(Cairn::PeerIdentity const& peer);
   void handlePeerGone(Cairn::PeerIdentity const& peer);
   std::string admission(Cairn::PeerIdentity const& peer, char const*& counter);
   Switch* switchOf(Controller::SystemId system) const;
   void add(std::string const& name, SwitchConfiguration const& place, bool isAccepted);
   Record& recordOf(Controller::SystemId system);
   void settleLater(std::string const& name);
   void settle();
   void reachedIs(Switch& one, bool reached);
   void registeredIs(Switch& one, bool registered);
   void refused(std::string const& peer, std::string const& reason, char const* counter);

   Entities& entities_;
   Negotiation& negotiation_;
   Listener& listener_;
   TimingConfiguration timing_;
   Controller::SystemId const self_;
   bool const accepts_;
   bool closed_ = false;
   std::map<std::string, std::unique_ptr<Switch>> switches_;
   std::map<Controller::SystemId, Switch*> bySystem_;
   std::map<Controller::SystemId, Record> records_;
   /// Names of switches that are to be looked at in the next turn.
   std::set<std::string> unsettled_;
   std::set<std::string> told_;
   Fen::Ptr<Settler> settler_;
   Fen::Ptr<Admission> admission_;
};

} // namespace Host
