/// What can be asked of any host at its control socket: one table of commands, each from a request
/// to an answer. A host adds its own.
///
/// Owned by the host's ControlServer; on the activity loop's thread. Nothing blocks.
#pragma once

#include <hosts/control/EntityText.h>
#include <hosts/control/MachinePlaces.h>

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace Host {

class Metrics;

/// What a host says about itself.
struct ControlPolicy {
   /// Whether what is at a path may not be changed from outside: mounts that are read-only, and
   /// status that the host writes itself. Null for nothing.
   std::function<bool(std::string_view path)> isReadOnly;
   /// Adds numbers of the host to those that every process counts. May be null.
   std::function<void(Metrics& metrics)> statistics;
   /// The machines that stand at "/machines". May be null.
   std::function<MachinePlaces::Roots()> machines;
};

/// Whether `path` is that place or below it.
bool isBelow(std::string_view path, std::string_view place);

class ControlCommands {
 public:
   using Command = std::function<Json(Json const& request)>;

   explicit ControlCommands(ControlPolicy policy);

   /// Adds a command of the host; one that is there already is replaced.
   void commandIs(std::string const& name, Command command) {
      commands_[name] = std::move(command);
   }

   /// Carries a request out. Throws ControlError; nothing else that the library throws gets
   /// through.
   Json answer(Json const& request) const;

   /// Throws ControlError when there is nothing at the place, and for a text that would take long
   /// to look for.
   ControlPlace placeAt(std::string const& text) const;

 private:
   Json tree(Json const& request) const;
   Json get(Json const& request) const;
   Json set(Json const& request) const;
   Json types(Json const& request) const;
   Json statistics() const;
   bool isReadOnly(ControlPlace const& place) const;

   ControlPolicy const policy_;
   MachinePlaces const machines_;
   std::map<std::string, Command> commands_;
};

/// The text member of a request; `preset` when it is not there, without one it is required.
std::string requestText(Json const& request, char const* name, char const* preset = nullptr);
/// A whole number from 0 that a request may have.
unsigned requestNumber(Json const& request, char const* name, unsigned preset);

} // namespace Host
