/// What the services publish, as live entities: what stands in the tree, and the declarations that
/// it is published.
///
/// Owned by the program; on the activity loop's thread. Operations come in the order in which
/// Differences.h promises them.
#pragma once

#include <hosts/gantry-controller/Differences.h>
#include <hosts/gantry-controller/Entities.h>

#include <gantry/model/ServicePublishConfig.fen.h>
#include <gantry/model/ServicePublishStatus.fen.h>

#include <map>
#include <string>

namespace Host {

class Publications {
 public:
   explicit Publications(Entities& entities) : entities_(entities) {}

   /// Carries out an operation as far as it concerns publishing; others are passed over.
   void apply(Operation const& operation);

 private:
   Controller::ServicePublishConfig& service(Operation const& operation) const;
   Controller::ServicePublishGroupConfig& group(Operation const& operation) const;
   void serviceIs(std::string const& name);
   void contentIs(Operation const& operation);
   void contentDel(std::string const& path);
   void declare(Operation const& operation);
   void withdraw(Operation const& operation);

   Entities& entities_;
   /// What stands in the tree, by path.
   std::map<std::string, PublicationConfiguration> content_;
};

} // namespace Host
