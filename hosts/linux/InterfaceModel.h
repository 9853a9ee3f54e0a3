/// Keeps the entities of interfaces and their addresses equal to the kernel's records.
///
/// Owned by HostModel; lives on the activity loop's thread. The kernel knows interfaces by number
/// and the tree by name, so this is also where numbers become names.
#pragma once

#include <hosts/linux/Interface.fen.h>
#include <hosts/linux/KernelRecord.h>
#include <hosts/linux/Tables.h>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace Linux {

/// The speed of an interface in megabits per second, 0 when it is not known.
using SpeedSource = std::function<std::uint32_t(std::string const& name)>;

class InterfaceModel {
 public:
   /// Serves only the interfaces in `wanted`, all when it is empty.
   InterfaceModel(Fen::Ptr<InterfaceDir> const& directory, std::set<std::string> wanted,
                  SpeedSource speedSource);

   // Each returns the tables that must be read again because this change has effects of which the
   // kernel tells nothing.
   TableSet linkIs(LinkRecord const& record);
   TableSet linkDel(std::uint32_t index);
   TableSet addressIs(AddressRecord const& record);
   TableSet addressDel(AddressRecord const& record);
   void statisticsIs(StatisticsRecord const& record);

   /// From here to the sweep, records say all that there is.
   void linksMark() { ++linkGeneration_; }
   TableSet linksSweep();
   void addressesMark() { ++addressGeneration_; }
   void addressesSweep();

   /// The name of an interface, null when there is none with that number (or it is not served).
   std::string const* name(std::uint32_t index) const;

 private:
   struct Held {
      Fen::Ptr<Interface> entity;
      std::string name;
      std::uint32_t controller = 0;
      unsigned generation = 0;
      /// The generation in which each address was last seen.
      std::map<std::string, unsigned> addresses;
   };

   TableSet nameTaken(std::string const& name, std::uint32_t index);
   void apply(Held& held, LinkRecord const& record);
   void controllerNamed(std::uint32_t controller);
   Fen::String8 controllerName(std::uint32_t controller) const;

   Fen::Ptr<InterfaceDir> const directory_;
   std::set<std::string> const wanted_;
   SpeedSource const speedSource_;
   std::unordered_map<std::uint32_t, Held> held_;
   /// Numbers that some interface has named as its controller.
   std::unordered_set<std::uint32_t> controllers_;
   unsigned linkGeneration_ = 0;
   unsigned addressGeneration_ = 0;
};

} // namespace Linux
