/// When things last changed in a tree of entities: each entity, each of its attributes, and in a
/// collection of values each key. Noted as it happens; what is held grows with what is in the tree,
/// and goes with it.
///
/// Owned by whoever asks; on the activity loop's thread.
#pragma once

#include <hosts/support/TreeWatch.h>

#include <map>
#include <string>
#include <unordered_map>
#include <utility>

namespace Host {

class ChangeTimes final : private TreeListener {
 public:
   /// Notes changes from now on; what is there came now.
   explicit ChangeTimes(Fen::Ptr<Fen::Entity> const& root);

   // Times are in seconds since 1970. Paths begin below the root, as those of a TreeWatch.

   /// When the entity came, one of its attributes changed, or something directly below it came or
   /// went. Of a path at which nothing stands, that of the nearest entity above it.
   double of(std::string const& path) const;
   /// When something directly below the entity came or went, or it came itself.
   double ofMembers(std::string const& path) const;
   /// When the entity came or the attribute last changed.
   double of(std::string const& path, std::string const& attribute) const;
   /// When the key of a collection was last set; of one that is not there, when the entity came or
   /// any key of the collection last went.
   double of(std::string const& path, std::string const& attribute, std::string const& key) const;

   /// The path of an entity below the root, which it need not be.
   std::string pathOf(Fen::Entity const& entity) const;

 private:
   struct Node {
      /// The path of the entity that it stands below, which slashes in keys would hide.
      std::string owner;
      double came = 0.0;
      double changed = 0.0;
      double members = 0.0;
      /// By attribute, of one with keys when one of them last went.
      std::map<std::string, double> attributes;
      /// By attribute and key.
      std::map<std::pair<std::string, std::string>, double> keys;
   };

   void entityAdded(std::string const& path, Fen::Entity const& entity) override;
   void entityRemoved(std::string const& path) override;
   void valueChanged(std::string const& path, Fen::Entity const& entity,
                     Fen::AttrDesc const& attribute, void const* key) override;
   template <class Nodes>
   static auto& nearest(Nodes& nodes, std::string path);

   std::string const above_;
   std::unordered_map<std::string, Node> nodes_;
   TreeWatch const watch_;
};

} // namespace Host
