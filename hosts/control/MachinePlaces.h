/// Places for what stands in no tree of entities: the machines of a host, and the entities that
/// only they hold. They begin at "/machines" with the machines that the host names; below each
/// stands, under the attribute and for a collection the key, what it owns or refers to, unless that
/// has a place in the tree. All of it is found by reflection, and nobody may change it.
///
/// Private to the control server; on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/Ptr.h>
#include <gantry/runtime/fen/PtrInterface.h>

#include <nlohmann/json_fwd.hpp>

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Host {

using Json = nlohmann::ordered_json;

class MachinePlaces {
 public:
   using Object = Fen::Ptr<Fen::PtrInterface>;
   /// Names, which may have slashes, and machines.
   using Roots = std::vector<std::pair<std::string, Object>>;

   static constexpr char const* root = "/machines";

   /// `roots` says which there are now; it may be null.
   explicit MachinePlaces(std::function<Roots()> roots) : roots_(std::move(roots)) {}

   /// The machines that the host names now.
   Roots roots() const { return roots_ ? roots_() : Roots(); }
   /// The object at a path below those, null when there is none.
   Object find(std::string_view path, Roots const& roots) const;
   /// The machines below a path as a tree: all of them at root, else those of one object.
   Json tree(std::string_view path, unsigned depth, unsigned limit) const;

 private:
   std::function<Roots()> const roots_;
};

} // namespace Host
