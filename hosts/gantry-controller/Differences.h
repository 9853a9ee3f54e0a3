/// What has to be done to live entities so that one configuration becomes another: the table of
/// differences, of which docs/configuration.md has the same rows for people.
///
/// A pure function of two configurations; on whatever thread. Nothing here touches an entity. Who
/// carries the operations out (Declarations.h, Switches.h) knows nothing of configurations.
///
/// The machines that read the declarations are stale in ways on which others rely, and the
/// operations are made for that:
/// - What a mount is declared with is taken once: its filters' objects, type, flags and target. So
///   a mount is withdrawn and declared again where one of these is replaced, while what is in a
///   filter is changed in place.
/// - A path stays in the registry when nobody wants it any more, with its type, flags and target.
///   So it is retired before it is declared with others.
/// - A service that leaves its directory goes on as if nothing had happened, and one that comes
///   back would not be looked at again. So services stay, and lose their groups.
/// - A filter that becomes empty lets everything pass. So members are added before others are taken
///   out, and no filter of a configuration is empty.
/// - A published directory keeps the filters with which it was declared, and its path on the switch
///   is looked at once. So it is withdrawn and declared again where one of these changes; a single
///   entity follows its group's filters.
/// - A path shared by two services is not looked at again for a system that a filter of one of them
///   gains or loses while the other one's lets it pass. So the system's connection is told to be.
#pragma once

#include <hosts/gantry-controller/Configuration.h>

#include <string>
#include <vector>

namespace Host {

/// In the order in which the operations of one change run.
enum class OperationKind {
   /// A switch that is gone, or will be reached otherwise, is unregistered.
   switchDel,
   /// A mount is taken out of its group.
   mountWithdraw,
   /// A path that nobody wants any more, or that is wanted otherwise, leaves the registry once the
   /// last machine of it has gone. Declarations of the path wait for that.
   pathRetire,
   /// A path is no longer published, or will be published otherwise.
   publicationWithdraw,
   /// A group is deleted, with the mounts that it still has.
   groupDel,
   publishGroupDel,
   /// What stood at a path that is not published any more goes.
   contentDel,
   /// A service appears: its status, and then itself.
   serviceIs,
   /// The versions that the controller supports of the service; negotiated again on every
   /// connection. None for a service that goes.
   serviceVersionsIs,
   systemFilterIs,
   systemFilterMemberIs,
   systemFilterMemberDel,
   versionFilterIs,
   versionFilterMemberIs,
   versionFilterMemberDel,
   groupIs,
   /// The group's filters, by name; empty for none.
   groupFiltersIs,
   groupPreserveIs,
   publishGroupIs,
   publishGroupFiltersIs,
   /// A filter to which no group refers any more.
   systemFilterDel,
   versionFilterDel,
   /// A mount is put into its group, at once or when the path has been retired.
   mountDeclare,
   /// What is to be published stands in the tree before it is; later changes are made in place.
   contentIs,
   publicationDeclare,
   /// The service says that all it publishes is there, or no longer is.
   serviceReadyIs,
   heartbeatIntervalIs,
   retryIntervalIs,
   /// A switch is to be reached, and registered when it is.
   switchIs,
   /// Everything on the system's connection is looked at again.
   systemRevisit,
};

char const* operationName(OperationKind kind);

/// One operation; of the fields those are set that its kind needs.
struct Operation {
   OperationKind kind;
   /// The service, or the switch.
   std::string owner;
   std::string group;
   /// The path of a mount, the name of a filter, or a member of one.
   std::string name;
   /// The member of a filter, as text.
   std::string member;
   MountConfiguration mount = {};
   PublicationConfiguration publication = {};
   SwitchConfiguration toSwitch = {};
   Versions versions = {};
   std::string systemFilter = {};
   std::string versionFilter = {};
   bool flag = false;
   double seconds = 0.0;

   /// For tests and traces: the name of the kind and what it is about.
   std::string text() const;
};

struct Differences {
   std::vector<Operation> operations;
   /// Fields that differ and cannot change in a running controller, such as "system.id". When there
   /// are any, nothing is to be done.
   std::vector<std::string> fixedFields;
};

/// What makes `after` of `before`. A fresh controller begins with an empty configuration of the
/// same system and timing.
Differences differences(Configuration const& before, Configuration const& after);

} // namespace Host
