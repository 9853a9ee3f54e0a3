/// Watches a mounted tree of entities whose types it does not know, and says what changes in it.
///
/// Owned by whoever shows the tree; lives on the activity loop's thread. Attributes are read
/// through the descriptions of their types.
#pragma once

#include <gantry/runtime/fen/ActivityLoop.h>
#include <gantry/runtime/fen/AttrView.h>
#include <gantry/runtime/fen/Dir.h>
#include <gantry/runtime/fen/FenType.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Host {

/// Told of what changes. Paths begin below the mounted entity, which itself has the empty path; a
/// member's path is its owner's, the attribute and the key, with slashes between.
class TreeListener {
 public:
   /// At the end of the turn in which it came, with the values that it has by then.
   virtual void entityAdded(std::string const& path, Fen::Entity const& entity) = 0;
   virtual void entityRemoved(std::string const& path) = 0;
   /// A value has changed, in a collection the one at `key`, which may be gone.
   virtual void valueChanged(std::string const& path, Fen::Entity const& entity,
                             Fen::AttrDesc const& attribute, void const* key) = 0;
   /// The watched entity has left its place, by itself or with what it stood below. At the end of
   /// the turn; the watch may be dropped from inside.
   virtual void rootGone() {}

 protected:
   ~TreeListener() = default;
};

class TreeWatch : private Fen::TurnEndWork {
 public:
   /// Watches `root` and all below it; the listener hears of all of them first.
   TreeWatch(Fen::Ptr<Fen::Entity> const& root, TreeListener& listener);
   ~TreeWatch() override;

 private:
   class Node;
   class Ancestor;

   void handleTurnEnd() override;
   void added(Node* node);
   void placeLost();

   TreeListener& listener_;
   Fen::Ptr<Node> root_;
   /// The watched entity and those above it, as they stood at first.
   std::vector<Fen::Ptr<Ancestor>> ancestors_;
   bool isPlaceLost_ = false;
   /// Nodes that have come in this turn; null where one has gone again.
   std::vector<Fen::Ptr<Node>> fresh_;
};

} // namespace Host
