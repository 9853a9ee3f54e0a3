// Times, noted from a watch of the tree.

#include <hosts/gantry-controller/ChangeTimes.h>

#include <hosts/support/WallTime.h>

#include <algorithm>

namespace Host {

namespace {

/// Whether an attribute has a value at that key now.
class Presence : public Fen::AttrReader {
 public:
   void boolean(bool) override {}
   void signedNumber(std::int64_t) override {}
   void unsignedNumber(std::uint64_t) override {}
   void real(double) override {}
   void text(Fen::String8 const&) override {}
   void none() override {}
};

} // namespace

ChangeTimes::ChangeTimes(Fen::Ptr<Fen::Entity> const& root)
   : above_(std::string(root->fullName().view()) + "/"),
     watch_(root, static_cast<TreeListener&>(*this)) {
   // The watch tells of it at the end of the turn, and somebody may ask before.
   entityAdded("", *root);
}

/// The node at a path or above it; the root always has one.
template <class Nodes>
auto& ChangeTimes::nearest(Nodes& nodes, std::string path) {
   for (;;) {
      auto const found = nodes.find(path);
      if (found != nodes.end()) {
         return found->second;
      }
      std::size_t const slash = path.rfind('/');
      path.resize(slash != std::string::npos ? slash : 0);
   }
}

double ChangeTimes::of(std::string const& path) const {
   Node const& node = nearest(nodes_, path);
   return std::max(node.changed, node.members);
}

double ChangeTimes::ofMembers(std::string const& path) const {
   return nearest(nodes_, path).members;
}

std::string ChangeTimes::pathOf(Fen::Entity const& entity) const {
   std::string const path(entity.fullName().view());
   if (path.size() + 1 == above_.size() && above_.starts_with(path)) {
      return "";
   }
   return path.starts_with(above_) ? path.substr(above_.size()) : path;
}

double ChangeTimes::of(std::string const& path, std::string const& attribute) const {
   auto const node = nodes_.find(path);
   if (node == nodes_.end()) {
      return of(path);
   }
   auto const found = node->second.attributes.find(attribute);
   return found != node->second.attributes.end() ? found->second : node->second.came;
}

double ChangeTimes::of(std::string const& path, std::string const& attribute,
                       std::string const& key) const {
   auto const node = nodes_.find(path);
   if (node != nodes_.end()) {
      auto const found = node->second.keys.find({attribute, key});
      if (found != node->second.keys.end()) {
         return found->second;
      }
   }
   return of(path, attribute);
}

void ChangeTimes::entityAdded(std::string const& path, Fen::Entity const& entity) {
   double const now = wallTime();
   Node& node = nodes_[path];
   if (!path.empty()) {
      auto const parent = entity.parent();
      node.owner = parent ? pathOf(*parent) : std::string();
      nearest(nodes_, node.owner).members = now;
   }
   node.came = node.changed = node.members = now;
}

void ChangeTimes::entityRemoved(std::string const& path) {
   if (!path.empty()) {
      auto const found = nodes_.find(path);
      std::string const owner = found != nodes_.end() ? found->second.owner : std::string();
      nodes_.erase(path);
      nearest(nodes_, owner).members = wallTime();
   }
}

void ChangeTimes::valueChanged(std::string const& path, Fen::Entity const& entity,
                               Fen::AttrDesc const& attribute, void const* key) {
   auto const found = nodes_.find(path);
   if (found == nodes_.end()) {
      return;
   }
   Node& node = found->second;
   double const now = wallTime();
   node.changed = now;
   if (key == nullptr || attribute.view->memberValue == nullptr) {
      node.attributes[attribute.name] = now;
      return;
   }
   std::pair<std::string, std::string> const place(
      attribute.name, std::string(attribute.view->keyText(key).view()));
   Presence presence;
   if (attribute.view->memberValue(entity, key, presence)) {
      node.keys[place] = now;
   } else {
      node.keys.erase(place);
      node.attributes[attribute.name] = now;
   }
}

} // namespace Host
