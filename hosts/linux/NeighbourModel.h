/// Keeps the entities of neighbours equal to the kernel's records.
///
/// Owned by HostModel; lives on the activity loop's thread.
#pragma once

#include <hosts/linux/InterfaceModel.h>
#include <hosts/linux/KernelRecord.h>
#include <hosts/linux/Neighbour.fen.h>

#include <string>
#include <unordered_map>

namespace Linux {

class NeighbourModel {
 public:
   /// `interfaces` must live longer than this.
   NeighbourModel(Fen::Ptr<NeighbourDir> const& directory, InterfaceModel const& interfaces);

   void neighbourIs(NeighbourRecord const& record);
   void neighbourDel(NeighbourRecord const& record);

   /// From here to the sweep, records say all that there is.
   void mark() { ++generation_; }
   void sweep();

 private:
   /// Empty when the interface is not served.
   std::string name(NeighbourRecord const& record) const;

   Fen::Ptr<NeighbourDir> const directory_;
   InterfaceModel const& interfaces_;
   /// The generation in which each neighbour was last seen.
   std::unordered_map<std::string, unsigned> held_;
   unsigned generation_ = 0;
};

} // namespace Linux
