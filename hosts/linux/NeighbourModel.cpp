// Records of neighbours applied to their entities.

#include <hosts/linux/NeighbourModel.h>

namespace Linux {

NeighbourModel::NeighbourModel(Fen::Ptr<NeighbourDir> const& directory,
                               InterfaceModel const& interfaces)
   : directory_(directory), interfaces_(interfaces) {}

std::string NeighbourModel::name(NeighbourRecord const& record) const {
   std::string const* const interface = interfaces_.name(record.index);
   return interface != nullptr ? record.address + " " + *interface : std::string();
}

void NeighbourModel::neighbourIs(NeighbourRecord const& record) {
   // What the kernel enters for multicast and broadcast answers to nobody; an entry that becomes
   // such a one is a neighbour no longer.
   if (record.isPlaceholder) {
      neighbourDel(record);
      return;
   }
   std::string const text = name(record);
   if (text.empty()) {
      return;
   }
   held_[text] = generation_;
   Fen::Name const key(text);
   Fen::Ptr<Neighbour> entity = directory_->neighbour(key);
   bool const isNew = !entity;
   if (isNew) {
      entity = directory_->newNeighbour(key);
      entity->addressIs(Fen::String8(record.address));
      entity->interfaceIs(Fen::String8(*interfaces_.name(record.index)));
   }
   entity->hardwareAddressIs(Fen::String8(record.hardwareAddress));
   entity->stateIs(Fen::String8(record.state));
   entity->routerIs(record.router);
   if (isNew) {
      directory_->neighbourNotify(key, entity);
   }
}

void NeighbourModel::neighbourDel(NeighbourRecord const& record) {
   std::string const text = name(record);
   if (held_.erase(text) != 0) {
      directory_->neighbourDel(Fen::Name(text));
   }
}

void NeighbourModel::sweep() {
   for (auto each = held_.begin(); each != held_.end();) {
      if (each->second != generation_) {
         directory_->neighbourDel(Fen::Name(each->first));
         each = held_.erase(each);
      } else {
         ++each;
      }
   }
}

} // namespace Linux
