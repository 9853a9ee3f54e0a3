/// Reactors that write down what they are told and then do what the test gives them. Used by the
/// tests of entities, attributes and notification.
#pragma once

#include "HandWrittenEntity.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Sample {

using Log = std::vector<std::string>;

/// What all of them share. `then` runs behind each entry, and gets it.
class Recorder {
 public:
   Recorder(std::string name, Log& log) : name_(std::move(name)), log_(log) {}
   std::function<void(std::string const& event)> then;

 protected:
   ~Recorder() = default;
   void note(std::string const& event) {
      log_.push_back(name_ + " " + event);
      if (then) {
         then(event);
      }
   }

 private:
   std::string name_;
   Log& log_;
};

class PortListener : public Port::Notifiee, public Recorder {
 public:
   PortListener(Fen::Ptr<Port> const& port, std::string name, Log& log)
      : Port::Notifiee(port), Recorder(std::move(name), log) {
      isRegisteredNotifieeIs(true);
   }
   void onSpeed() override { note("speed " + std::to_string(notifier()->speed())); }
   void onLabel() override { note("label " + notifier()->label().str()); }
   void onParent() override {
      Fen::Ptr<Fen::Entity> const parent = notifier()->parent();
      note("parent " + (parent ? parent->name().str() : std::string("none")));
   }
   void onIsNondestructing() override { note("nondestructing"); }
   void onZeroReferences() override { note("zero"); }
   void onNotificationException(Fen::AttributeId id) override {
      note("exception " + std::to_string(id));
   }
};

class ChassisListener : public Chassis::Notifiee, public Recorder {
 public:
   ChassisListener(Fen::Ptr<Chassis> const& chassis, std::string name, Log& log)
      : Chassis::Notifiee(chassis), Recorder(std::move(name), log) {
      isRegisteredNotifieeIs(true);
   }
   void onUp() override { note(notifier()->up() ? "up" : "down"); }
   void onPrimary() override { note("primary " + nameOf(notifier()->primary())); }
   void onConsole() override { note("console " + nameOf(notifier()->console())); }
   void onPort(Fen::Name key) override {
      note("port " + key.str() + (notifier()->port(key) ? " here" : " gone"));
   }
   void onPortfenImmediate() override { note("port immediate"); }
   void onPort() override { note("port all"); }
   void onAllowed(Fen::String8 key) override {
      note("allowed " + key.str() + (notifier()->allowed(key) ? " yes" : " no"));
   }
   void onAllowedfenImmediate() override { note("allowed immediate"); }
   void onAllowed() override { note("allowed all"); }
   void onPeer(std::uint32_t key) override {
      Fen::Ptr<Port const> const peer = notifier()->peer(key);
      note("peer " + std::to_string(key) + " " + (peer ? peer->name().str() : std::string("none")));
   }
   void onPeerfenImmediate() override { note("peer immediate"); }
   void onPeer() override { note("peer all"); }

 private:
   static std::string nameOf(Fen::Ptr<Port> const& port) {
      return port ? port->name().str() : std::string("none");
   }
};

/// Tells of its member changes with the parent that the member has at that moment.
class DirListener : public Fen::Dir::Notifiee, public Recorder {
 public:
   DirListener(Fen::Ptr<Fen::Dir> const& directory, std::string name, Log& log)
      : Fen::Dir::Notifiee(directory), Recorder(std::move(name), log) {
      isRegisteredNotifieeIs(true);
   }
   void onEntityPtr(Fen::Name name) override {
      note(name.str() + (notifier()->entityPtr(name) ? " here" : " gone"));
   }
   void onEntityPtrfenImmediate() override { note("immediate"); }
   void onEntityPtr() override { note("all"); }
};

} // namespace Sample
