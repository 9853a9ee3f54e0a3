/// The walk down a path that makes what is missing.
#include <gantry/common/GantryTrace.h>
#include <gantry/runtime/fen/Assert.h>
#include <gantry/service/CreateDirPath.h>

#include <string_view>

namespace Controller {

namespace {

Fen::Ptr<Fen::Dir> asDir(Fen::Ptr<Fen::Entity> const& entity) {
   return Fen::Ptr<Fen::Dir>(dynamic_cast<Fen::Dir*>(entity.ptr()));
}

/// The directory one component below, made when it is missing.
Fen::Ptr<Fen::Dir> directoryBelow(Fen::Ptr<Fen::Dir> const& current, Fen::Name component) {
   if (current->entry(component)) {
      return asDir(current->entityRef(component));
   }
   std::string_view rest = component.view();
   if (rest.empty()) {
      return current;
   }
   // A type made of a directory may have children that are no members of it.
   if (Fen::Ptr<Fen::Entity> const child = current->fenPathMember(rest)) {
      return asDir(child);
   }
   current->entryIs(component);
   current->entityIs(component, "Fen::Dir");
   return asDir(current->entityRef(component));
}

} // namespace

void doCreateDirPath(Fen::Ptr<Fen::Dir> const& directory, Fen::String8 path) {
   Fen::Ptr<Fen::Dir> current = directory;
   std::string_view rest = path.view();
   for (std::size_t slash = rest.find('/'); slash != std::string_view::npos;
        slash = rest.find('/')) {
      Fen::Name const component(rest.substr(0, slash));
      FEN_TRACE(gantryTrace(), 5, "doCreateDirPath " << component);
      current = directoryBelow(current, component);
      FEN_ASSERT(current, "current");
      rest.remove_prefix(slash + 1);
   }
   Fen::Name const component(rest);
   FEN_TRACE(gantryTrace(), 5, "doCreateDirPath final:" << component);
   // The place is asked for also when it is filled; holding it keeps it known until it is.
   Fen::Ptr<Fen::Dir::Entry> const place = current->entryIs(component);
   if (!current->entry(component)) {
      FEN_TRACE(gantryTrace(), 5, "doCreateDirPath creating final " << component);
      current->entityIs(component, "Fen::Dir");
      current->entityRef(component);
   }
}

} // namespace Controller
