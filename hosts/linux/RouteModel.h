/// Keeps the entities of routes equal to the kernel's records.
///
/// Owned by HostModel; lives on the activity loop's thread. The kernel does not always say which
/// route a new one takes the place of, and which ones go with a link; where a message leaves a
/// doubt, the table is read again rather than guessed.
#pragma once

#include <hosts/linux/InterfaceModel.h>
#include <hosts/linux/KernelRecord.h>
#include <hosts/linux/Route.fen.h>
#include <hosts/linux/Tables.h>

#include <string>
#include <unordered_map>
#include <unordered_set>

namespace Linux {

class RouteModel {
 public:
   /// `interfaces` must live longer than this.
   RouteModel(Fen::Ptr<RouteDir> const& directory, InterfaceModel const& interfaces);

   // Each returns the tables that must be read again.
   TableSet routeIs(RouteRecord const& record);
   TableSet routeDel(RouteRecord const& record);

   /// From here to the sweep, records say all that there is, and doubts solve themselves.
   void mark();
   /// Ends what mark() began: complete, it removes what was not seen again.
   void sweep(bool complete);

   /// What the entity of a record is called, empty when none of its interfaces is served.
   std::string name(RouteRecord const& record) const;

 private:
   struct Held {
      Fen::Ptr<Route> entity;
      std::string group;
      unsigned generation = 0;
      bool hasGateway = false;
   };

   TableSet replaced(RouteRecord const& record, std::string const& name, std::string const& group);
   void apply(Route& entity, RouteRecord const& record) const;
   void applyNextHops(Route& entity, RouteRecord const& record) const;
   void del(std::string const& name);

   Fen::Ptr<RouteDir> const directory_;
   InterfaceModel const& interfaces_;
   std::unordered_map<std::string, Held> held_;
   /// The names of routes that compete: same table, destination and preference.
   std::unordered_map<std::string, std::unordered_set<std::string>> groups_;
   unsigned generation_ = 0;
   bool inDump_ = false;
};

} // namespace Linux
