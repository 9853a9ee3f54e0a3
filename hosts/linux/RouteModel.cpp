// Records of routes applied to their entities, and which of them compete.

#include <hosts/linux/RouteModel.h>

#include <set>
#include <vector>

namespace Linux {

namespace {

constexpr std::uint32_t mainTable = 254;

std::string groupOf(RouteRecord const& record) {
   return record.destination + " " + record.sourcePrefix + " " + std::to_string(record.table) +
          " " + std::to_string(record.typeOfService) + " " + std::to_string(record.metric);
}

bool hasGateway(RouteRecord const& record) {
   return !record.nextHops.empty() && !record.nextHops.front().gateway.empty();
}

} // namespace

RouteModel::RouteModel(Fen::Ptr<RouteDir> const& directory, InterfaceModel const& interfaces)
   : directory_(directory), interfaces_(interfaces) {}

std::string RouteModel::name(RouteRecord const& record) const {
   std::string text = record.kind == "unicast" ? "" : record.kind + " ";
   text += record.destination;
   if (!record.sourcePrefix.empty()) {
      text += " from " + record.sourcePrefix;
   }
   std::size_t known = 0;
   for (NextHopRecord const& hop : record.nextHops) {
      std::string const* const interface = interfaces_.name(hop.index);
      if (interface != nullptr && ++known == 1) {
         text += (hop.gateway.empty() ? "" : " via " + hop.gateway) + " dev " + *interface;
      }
   }
   if (known == 0 && !record.nextHops.empty()) {
      return {};
   }
   text += known > 1 ? " and " + std::to_string(known - 1) + " more" : "";
   text += record.metric != 0 ? " metric " + std::to_string(record.metric) : "";
   text += record.table != mainTable ? " table " + std::to_string(record.table) : "";
   text += record.typeOfService != 0 ? " tos " + std::to_string(record.typeOfService) : "";
   return text;
}

/// Removes what a new route takes the place of, when that is certain.
TableSet RouteModel::replaced(RouteRecord const& record, std::string const& name,
                              std::string const& group) {
   auto const competing = groups_.find(group);
   if (inDump_ || competing == groups_.end()) {
      return {};
   }
   std::vector<std::string> others;
   for (std::string const& other : competing->second) {
      bool const comparable = record.isVersion4 || held_.at(other).hasGateway == hasGateway(record);
      if (other != name && comparable) {
         others.push_back(other);
      }
   }
   // IPv6 tells of a route that gained a next hop by all its next hops, and of no replacement.
   bool const replaces = record.replaces || (!record.isVersion4 && record.nextHops.size() > 1);
   if (!replaces || others.empty()) {
      return {};
   }
   if (others.size() == 1 && !held_.contains(name)) {
      del(others.front());
      return {};
   }
   return Table::routes;
}

TableSet RouteModel::routeIs(RouteRecord const& record) {
   std::string const text = name(record);
   if (text.empty()) {
      return {};
   }
   std::string const group = groupOf(record);
   TableSet const again = replaced(record, text, group);
   if (auto const found = held_.find(text); found != held_.end()) {
      found->second.generation = generation_;
      apply(*found->second.entity, record);
      return again;
   }
   Fen::Ptr<Route> const entity = directory_->newRoute(Fen::Name(text));
   apply(*entity, record);
   held_.emplace(text, Held{entity, group, generation_, hasGateway(record)});
   groups_[group].insert(text);
   directory_->routeNotify(entity->name(), entity);
   return again;
}

void RouteModel::apply(Route& entity, RouteRecord const& record) const {
   entity.destinationIs(Fen::String8(record.destination));
   entity.kindIs(Fen::String8(record.kind));
   entity.tableIs(record.table);
   entity.metricIs(record.metric);
   entity.protocolIs(Fen::String8(record.protocol));
   entity.scopeIs(Fen::String8(record.scope));
   entity.sourceIs(Fen::String8(record.source));
   applyNextHops(entity, record);
}

void RouteModel::applyNextHops(Route& entity, RouteRecord const& record) const {
   std::set<std::string> present;
   for (NextHopRecord const& hop : record.nextHops) {
      std::string const* const interface = interfaces_.name(hop.index);
      if (interface == nullptr) {
         continue;
      }
      std::string const text = hop.gateway.empty() ? *interface : hop.gateway + " " + *interface;
      present.insert(text);
      Fen::Ptr<NextHop> const member = entity.nextHopIs(Fen::Name(text));
      member->gatewayIs(Fen::String8(hop.gateway));
      member->interfaceIs(Fen::String8(*interface));
      member->weightIs(hop.weight);
   }
   std::vector<Fen::Name> gone;
   for (auto i = entity.nextHopIterator(); i; ++i) {
      if (!present.contains(std::string(i->name().view()))) {
         gone.push_back(i->name());
      }
   }
   for (Fen::Name const& each : gone) {
      entity.nextHopDel(each);
   }
}

TableSet RouteModel::routeDel(RouteRecord const& record) {
   std::string const text = name(record);
   if (!text.empty() && held_.contains(text)) {
      del(text);
      return {};
   }
   // One next hop of several may have gone; a route of which nothing is left has gone before.
   return groups_.contains(groupOf(record)) ? TableSet(Table::routes) : TableSet();
}

void RouteModel::del(std::string const& name) {
   auto const found = held_.find(name);
   auto const group = groups_.find(found->second.group);
   Fen::Name const key = found->second.entity->name();
   group->second.erase(name);
   if (group->second.empty()) {
      groups_.erase(group);
   }
   held_.erase(found);
   directory_->routeDel(key);
}

void RouteModel::mark() {
   ++generation_;
   inDump_ = true;
}

void RouteModel::sweep(bool complete) {
   inDump_ = false;
   std::vector<std::string> gone;
   for (auto const& [text, held] : held_) {
      if (complete && held.generation != generation_) {
         gone.push_back(text);
      }
   }
   for (std::string const& each : gone) {
      del(each);
   }
}

} // namespace Linux
