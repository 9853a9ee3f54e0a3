/// What the services want, as live entities: carries out the operations on services, filters,
/// groups and mounts, in the order in which it is given them.
///
/// Owned by the program; on the activity loop's thread. A path that is retired leaves the registry
/// when its last mount has ended; declarations of it wait for that here.
#pragma once

#include <hosts/gantry-controller/Differences.h>
#include <hosts/gantry-controller/Entities.h>

#include <map>
#include <string>
#include <vector>

namespace Host {

class Declarations {
 public:
   explicit Declarations(Entities& entities);
   ~Declarations();
   Declarations(Declarations const&) = delete;
   Declarations& operator=(Declarations const&) = delete;

   /// Carries out an operation as far as it concerns mounts; others are passed over. The service,
   /// filter or group that it names is there, as Differences.h promises.
   void apply(Operation const& operation);
   /// Paths that are waiting to leave the registry.
   std::size_t retiring() const { return retiring_.size(); }
   /// The status of a service, null when there is none.
   Fen::Ptr<Controller::ServiceMountStatus> status(std::string const& service) const;

 private:
   class EndWatch;
   class Checker;

   /// A path on its way out of the registry.
   struct Retiring {
      std::vector<Fen::Ptr<EndWatch>> watches;
      /// Declarations of the path that came meanwhile.
      std::vector<Operation> waiting;
   };

   Controller::ServiceMountConfig& service(Operation const& operation) const;
   Controller::ServiceMountGroupConfig& group(Operation const& operation) const;
   void serviceIs(std::string const& name);
   void declare(Operation const& operation);
   void withdraw(Operation const& operation);
   void retire(std::string const& path);
   bool retired(std::string const& path, Retiring& retiring);
   void checkLater();
   void check();

   Entities& entities_;
   std::map<std::string, Retiring> retiring_;
   Fen::Ptr<Checker> checker_;
};

} // namespace Host
