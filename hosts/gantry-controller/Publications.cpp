// The published tree, and operations on publish groups.

#include <hosts/gantry-controller/FilterOperations.h>
#include <hosts/gantry-controller/Publications.h>
#include <hosts/gantry-controller/Values.h>

#include <gantry/runtime/fen/Assert.h>

namespace Host {

namespace {

using Kind = OperationKind;

/// The directory at a path below `from`, made where it is not there.
Fen::Ptr<Fen::Dir> directoryAt(Fen::Ptr<Fen::Dir> from, std::string_view path) {
   while (!path.empty()) {
      std::size_t const end = std::min(path.find('/'), path.size());
      Fen::Name const name(path.substr(0, end));
      Fen::Ptr<Fen::Entity> member = from->entityPtr(name);
      if (!member) {
         member = from->entityPtrIs(Fen::dirFactory(name));
      }
      from = Fen::ptrCast<Fen::Dir>(member);
      path.remove_prefix(std::min(end + 1, path.size()));
   }
   return from;
}

std::string_view above(std::string_view path) {
   std::size_t const slash = path.rfind('/');
   return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

/// Makes, changes or replaces one member of a directory.
void entityIs(Fen::Dir& directory, std::string const& name, EntityConfiguration const* before,
              EntityConfiguration const& after) {
   Fen::Ptr<Fen::Entity> entity = directory.entityPtr(Fen::Name(name));
   if (entity && before != nullptr && before->type == after.type) {
      valuesAre(*entity, *before, after);
      return;
   }
   entity = entityOf(name, after.type);
   valuesAre(*entity, {}, after);
   // With its values, so that nobody sees it without them.
   directory.entityPtrDel(Fen::Name(name));
   directory.entityPtrIs(entity);
}

template <class Map>
typename Map::mapped_type const* find(Map const& map, std::string const& key) {
   auto const found = map.find(key);
   return found != map.end() ? &found->second : nullptr;
}

void partIs(Fen::Dir& part, std::map<std::string, EntityConfiguration> const& before,
            std::map<std::string, EntityConfiguration> const& after) {
   for (auto const& [name, entity] : before) {
      if (!after.contains(name)) {
         part.entityPtrDel(Fen::Name(name));
      }
   }
   for (auto const& [name, entity] : after) {
      entityIs(part, name, find(before, name), entity);
   }
}

} // namespace

Controller::ServicePublishConfig& Publications::service(Operation const& operation) const {
   auto const found = Fen::ptrCast<Controller::ServicePublishConfig>(
      entities_.publishConfigDir->entityPtr(Fen::Name(operation.owner)));
   FEN_ASSERT(found, "the service of an operation is there");
   return *found;
}

Controller::ServicePublishGroupConfig& Publications::group(Operation const& operation) const {
   auto const found = service(operation).publishGroupConfig(Fen::Name(operation.group));
   FEN_ASSERT(found, "the group of an operation is there");
   return *found;
}

void Publications::apply(Operation const& operation) {
   switch (operation.kind) {
   case Kind::serviceIs:
      serviceIs(operation.owner);
      break;
   case Kind::publishGroupIs:
      service(operation).publishGroupConfigIs(Fen::Name(operation.group));
      break;
   case Kind::publishGroupDel:
      service(operation).publishGroupConfigDel(Fen::Name(operation.group));
      break;
   case Kind::publishGroupFiltersIs:
      groupFiltersApply(service(operation), group(operation), operation);
      break;
   case Kind::contentIs:
      contentIs(operation);
      break;
   case Kind::contentDel:
      contentDel(operation.name);
      break;
   case Kind::publicationDeclare:
      declare(operation);
      break;
   case Kind::publicationWithdraw:
      withdraw(operation);
      break;
   case Kind::serviceReadyIs:
      service(operation).readyIs(operation.flag);
      break;
   default:
      if (isOnFilter(operation.kind)) {
         filterApply(service(operation), operation);
      }
      break;
   }
}

void Publications::serviceIs(std::string const& name) {
   Fen::Name const key(name);
   if (entities_.publishConfigDir->entityPtr(key)) {
      return; // one that was gone and has stayed
   }
   entities_.publishStatusDir->entityPtrIs(Fen::makePtr<Controller::ServicePublishStatus>(key));
   entities_.publishConfigDir->entityPtrIs(Controller::servicePublishConfigFactory(key));
}

void Publications::contentIs(Operation const& operation) {
   PublicationConfiguration const& after = operation.publication;
   PublicationConfiguration const before = content_[operation.name];
   content_[operation.name] = after;
   std::string_view const path = operation.name;
   Fen::Ptr<Fen::Dir> const& root = entities_.mountsRegistry->rootDir();
   if (!after.isDirectory) {
      std::string const name(path.substr(above(path).size() + (above(path).empty() ? 0 : 1)));
      entityIs(*directoryAt(root, above(path)), name, &before.entity, after.entity);
      return;
   }
   // The parts stand there before the directory is published; the machine finds them by the names
   // that it would give them.
   Fen::Ptr<Fen::Dir> const directory = directoryAt(root, path);
   for (auto const& [system, part] : before.parts) {
      if (!after.parts.contains(system)) {
         // Emptied, and not deleted: the system's mount of it goes on while it is published.
         partIs(*directoryAt(directory, system), part, {});
      }
   }
   for (auto const& [system, part] : after.parts) {
      auto const* const known = find(before.parts, system);
      partIs(*directoryAt(directory, system), known != nullptr ? *known : decltype(part){}, part);
   }
}

void Publications::contentDel(std::string const& path) {
   content_.erase(path);
   directoryAt(entities_.mountsRegistry->rootDir(), above(path))
      ->entityPtrDel(Fen::Name(
         std::string_view(path).substr(above(path).size() + (above(path).empty() ? 0 : 1))));
}

void Publications::declare(Operation const& operation) {
   PublicationConfiguration const& wanted = operation.publication;
   Controller::ServicePublishGroupConfig& owner = group(operation);
   Fen::Name const path(operation.name);
   if (!wanted.isDirectory) {
      owner
         .publishConfigIs(path, Fen::String8(wanted.remotePath), Fen::String8(wanted.entity.type))
         ->readyToPublishIs(true);
      return;
   }
   Fen::Ptr<Controller::PublishDir> const directory = owner.publishDirIs(path, "Fen::Dir");
   // The path first: it is taken up when the directory becomes ready.
   directory->remoteTargetPathIs(Fen::String8(wanted.remotePath));
   directory->readyToPublishIs(true);
}

void Publications::withdraw(Operation const& operation) {
   Fen::Name const path(operation.name);
   if (operation.flag) {
      group(operation).publishDirDel(path);
   } else {
      group(operation).publishConfigDel(path);
   }
}

} // namespace Host
