// Links, addresses and counters applied to the entities of interfaces.

#include <hosts/linux/InterfaceModel.h>

#include <gantry/runtime/fen/Counters.h>

#include <utility>
#include <vector>

namespace Linux {

namespace {

void applyStatistics(Interface& entity, StatisticsRecord const& record) {
   entity.rxBytesIs(record.rxBytes);
   entity.rxPacketsIs(record.rxPackets);
   entity.rxErrorsIs(record.rxErrors);
   entity.rxDroppedIs(record.rxDropped);
   entity.txBytesIs(record.txBytes);
   entity.txPacketsIs(record.txPackets);
   entity.txErrorsIs(record.txErrors);
   entity.txDroppedIs(record.txDropped);
}

void countUnknownInterface() {
   static Fen::Counter& counter = Fen::Counters::counter("linux.unknownInterface");
   counter.increment();
}

} // namespace

InterfaceModel::InterfaceModel(Fen::Ptr<InterfaceDir> const& directory,
                               std::set<std::string> wanted, SpeedSource speedSource)
   : directory_(directory), wanted_(std::move(wanted)), speedSource_(std::move(speedSource)) {}

std::string const* InterfaceModel::name(std::uint32_t index) const {
   auto const found = held_.find(index);
   return found != held_.end() ? &found->second.name : nullptr;
}

Fen::String8 InterfaceModel::controllerName(std::uint32_t controller) const {
   std::string const* const found = name(controller);
   return found != nullptr ? Fen::String8(*found) : Fen::String8();
}

/// An interface has come, gone or been renamed that others belong to.
void InterfaceModel::controllerNamed(std::uint32_t controller) {
   if (!controllers_.contains(controller)) {
      return;
   }
   Fen::String8 const text = controllerName(controller);
   for (auto& [index, held] : held_) {
      if (held.controller == controller) {
         held.entity->controllerIs(text);
      }
   }
}

/// Another interface still stands under a name that has passed on: what the kernel said of it has
/// been lost or is yet to come, and it must not stand there meanwhile.
TableSet InterfaceModel::nameTaken(std::string const& name, std::uint32_t index) {
   Fen::Ptr<Interface> const occupant = directory_->interface(Fen::Name(name));
   if (!occupant || occupant->index() == index) {
      return {};
   }
   return linkDel(occupant->index()) | Table::links;
}

void InterfaceModel::apply(Held& held, LinkRecord const& record) {
   Interface& entity = *held.entity;
   entity.indexIs(record.index);
   entity.kindIs(Fen::String8(record.kind));
   entity.hardwareAddressIs(Fen::String8(record.hardwareAddress));
   held.controller = record.controller;
   if (record.controller != 0) {
      controllers_.insert(record.controller);
   }
   entity.controllerIs(controllerName(record.controller));
   entity.mtuIs(record.mtu);
   entity.speedIs(speedSource_(record.name));
   entity.carrierIs(record.carrier);
   entity.adminUpIs(record.adminUp);
   entity.operStateIs(static_cast<OperState>(record.operState));
   if (record.statistics) {
      applyStatistics(entity, *record.statistics);
   }
}

TableSet InterfaceModel::linkIs(LinkRecord const& record) {
   TableSet again;
   auto found = held_.find(record.index);
   if (found != held_.end() && found->second.name != record.name) {
      // Addresses went with the old name, and routes and neighbours name their interface.
      again = linkDel(record.index) | Table::addresses;
      found = held_.end();
   }
   if (!wanted_.empty() && !wanted_.contains(record.name)) {
      return again;
   }
   if (found == held_.end()) {
      again.add(nameTaken(record.name, record.index));
      Held fresh;
      fresh.name = record.name;
      // Complete before the collection's notifiees hear of it: they see no half-filled member.
      fresh.entity = directory_->newInterface(Fen::Name(record.name));
      fresh.generation = linkGeneration_;
      apply(fresh, record);
      Fen::Ptr<Interface> const entity = fresh.entity;
      held_.emplace(record.index, std::move(fresh));
      directory_->interfaceNotify(entity->name(), entity);
      controllerNamed(record.index);
      return again;
   }
   Held& held = found->second;
   held.generation = linkGeneration_;
   // A link that goes down takes IPv4 routes with it of which the kernel says nothing.
   if (held.entity->adminUp() != record.adminUp || held.entity->carrier() != record.carrier) {
      again.add(Table::routes);
   }
   apply(held, record);
   return again;
}

TableSet InterfaceModel::linkDel(std::uint32_t index) {
   auto const found = held_.find(index);
   if (found == held_.end()) {
      return {};
   }
   Fen::Name const name = found->second.entity->name();
   held_.erase(found);
   directory_->interfaceDel(name);
   controllerNamed(index);
   return TableSet(Table::routes) | Table::neighbours;
}

TableSet InterfaceModel::linksSweep() {
   std::vector<std::uint32_t> gone;
   for (auto const& [index, held] : held_) {
      if (held.generation != linkGeneration_) {
         gone.push_back(index);
      }
   }
   TableSet again;
   for (std::uint32_t const index : gone) {
      again.add(linkDel(index));
   }
   return again;
}

TableSet InterfaceModel::addressIs(AddressRecord const& record) {
   auto const found = held_.find(record.index);
   if (found == held_.end()) {
      // The interface is not served, or is younger than the list of links that was read: then the
      // kernel tells of it, and of this address again, in the events that wait to be read.
      countUnknownInterface();
      return {};
   }
   found->second.addresses[record.name] = addressGeneration_;
   Interface& interface = *found->second.entity;
   Fen::Name const name(record.name);
   Fen::Ptr<Address> address = interface.address(name);
   bool const isNew = !address;
   if (isNew) {
      address = interface.newAddress(name);
   }
   address->peerIs(Fen::String8(record.peer));
   address->broadcastIs(Fen::String8(record.broadcast));
   address->scopeIs(Fen::String8(record.scope));
   address->tentativeIs(record.tentative);
   if (isNew) {
      interface.addressNotify(name, address);
   }
   return {};
}

TableSet InterfaceModel::addressDel(AddressRecord const& record) {
   auto const found = held_.find(record.index);
   if (found == held_.end()) {
      return {};
   }
   found->second.addresses.erase(record.name);
   found->second.entity->addressDel(Fen::Name(record.name));
   // IPv4 routes that prefer this address as their source go without a word of the kernel.
   return record.isVersion4 ? TableSet(Table::routes) : TableSet();
}

void InterfaceModel::addressesSweep() {
   for (auto& [index, held] : held_) {
      for (auto each = held.addresses.begin(); each != held.addresses.end();) {
         if (each->second != addressGeneration_) {
            held.entity->addressDel(Fen::Name(each->first));
            each = held.addresses.erase(each);
         } else {
            ++each;
         }
      }
   }
}

void InterfaceModel::statisticsIs(StatisticsRecord const& record) {
   auto const found = held_.find(record.index);
   if (found != held_.end()) {
      applyStatistics(*found->second.entity, record);
   }
}

} // namespace Linux
