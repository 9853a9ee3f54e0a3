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

inline bool isOnFilter(OperationKind kind) {
   using enum OperationKind;
   return (kind >= systemFilterIs && kind <= versionFilterMemberDel) || kind == systemFilterDel ||
          kind == versionFilterDel;
}

/// Carries out an operation on the owner's filters; any other does nothing.
template <class Owner>
void filterApply(Owner& owner, Operation const& operation) {
   Fen::Name const name(operation.name);
   Fen::String8 const member(operation.member);
   switch (operation.kind) {
   case OperationKind::systemFilterIs:
      owner.systemFilterIs(name);
      break;
   case OperationKind::systemFilterDel:
      owner.systemFilterDel(name);
      break;
   case OperationKind::systemFilterMemberIs:
      owner.systemFilter(name)->includedSystemIs(member, true);
      break;
   case OperationKind::systemFilterMemberDel:
      // Deleted, and not set to false: a key that holds false takes a share that another mounter
      // has counted, when its filter goes.
      owner.systemFilter(name)->includedSystemDel(member);
      break;
   case OperationKind::versionFilterIs:
      owner.versionFilterIs(name);
      break;
   case OperationKind::versionFilterDel:
      owner.versionFilterDel(name);
      break;
   case OperationKind::versionFilterMemberIs:
      owner.versionFilter(name)->includedServiceVersionIs(memberVersion(operation), true);
      break;
   case OperationKind::versionFilterMemberDel:
      owner.versionFilter(name)->includedServiceVersionDel(memberVersion(operation));
      break;
   default:
      break;
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
