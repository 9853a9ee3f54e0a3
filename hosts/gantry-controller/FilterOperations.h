/// Private to the program. Operations on the filters of a service, which its mounts and its
/// publications each have for themselves. Stateless; on the activity loop's thread.
#pragma once

#include <hosts/gantry-controller/Differences.h>

#include <gantry/model/ServiceMountConfig.fen.h>

#include <charconv>

namespace Host {

/// The version that is the member of an operation.
inline std::uint32_t memberVersion(Operation const& operation) {
   std::uint32_t version = 0;
   std::from_chars(operation.member.data(), operation.member.data() + operation.member.size(),
                   version);
   return version;
}

/// Whether an operation is one on filters; if so it is carried out on the owner's.
template <class Owner>
bool filterApply(Owner& owner, Operation const& operation) {
   Fen::Name const name(operation.name);
   Fen::String8 const member(operation.member);
   switch (operation.kind) {
   case OperationKind::systemFilterIs:
      owner.systemFilterIs(name);
      return true;
   case OperationKind::systemFilterDel:
      owner.systemFilterDel(name);
      return true;
   case OperationKind::systemFilterMemberIs:
      owner.systemFilter(name)->includedSystemIs(member, true);
      return true;
   case OperationKind::systemFilterMemberDel:
      // Deleted, and not set to false: a key that holds false takes a share that another mounter
      // has counted, when its filter goes.
      owner.systemFilter(name)->includedSystemDel(member);
      return true;
   case OperationKind::versionFilterIs:
      owner.versionFilterIs(name);
      return true;
   case OperationKind::versionFilterDel:
      owner.versionFilterDel(name);
      return true;
   case OperationKind::versionFilterMemberIs:
      owner.versionFilter(name)->includedServiceVersionIs(memberVersion(operation), true);
      return true;
   case OperationKind::versionFilterMemberDel:
      owner.versionFilter(name)->includedServiceVersionDel(memberVersion(operation));
      return true;
   default:
      return false;
   }
}

/// Lets a group refer to the filters of its owner that an operation names.
template <class Owner, class Group>
void groupFiltersApply(Owner& owner, Group& group, Operation const& operation) {
   group.systemFilterIs(operation.systemFilter.empty()
                           ? Fen::Ptr<Controller::MountFilterSystem>()
                           : owner.systemFilter(Fen::Name(operation.systemFilter)));
   group.versionFilterIs(operation.versionFilter.empty()
                            ? Fen::Ptr<Controller::MountFilterServiceVersion>()
                            : owner.versionFilter(Fen::Name(operation.versionFilter)));
}

} // namespace Host
