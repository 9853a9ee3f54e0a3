// One generic reactor per entity of the tree, each owning those of the entities below it.

#include <hosts/support/TreeWatch.h>

namespace Host {

class TreeWatch::Node : public Fen::Entity::NotifieeConst {
 public:
   Node(TreeWatch* watch, Fen::Ptr<Fen::Entity> const& entity, std::string path)
      : NotifieeConst(Kind::generic), watch_(watch), path_(std::move(path)) {
      fenNotifierStore(entity.ptr());
      isRegisteredNotifieeIs(true);
   }

   /// Takes in what is already below.
   void start() {
      watch_->added(this);
      if (auto const* const directory = dynamic_cast<Fen::Dir const*>(&entity())) {
         directory->entityPtrs().forEachMember([this](Fen::Entity* member) {
            memberIs(Fen::Dir::entityPtrAttributeId, directoryPath(member->name()),
                     std::string(member->name().view()), Fen::Ptr<Fen::Entity>(member));
         });
         return;
      }
      Members members(*this);
      for (Fen::AttrDesc const& each : entity().fwkType()->attributes()) {
         if (each.view != nullptr && each.view->member != nullptr) {
            members.attribute = &each;
            each.view->members(entity(), members);
         }
      }
   }

   void doNotification(Fen::AttributeId id, void const* key) override {
      if (watch_ == nullptr) {
         return;
      }
      Fen::Ptr<Node> const self(this);
      if (auto const* const directory = dynamic_cast<Fen::Dir const*>(&entity())) {
         if (id == Fen::Dir::entityPtrAttributeId && key != nullptr) {
            auto const& name = *static_cast<Fen::Name const*>(key);
            memberIs(id, directoryPath(name), std::string(name.view()), directory->entityPtr(name));
         }
         return;
      }
      Fen::AttrDesc const* const attribute = entity().fwkType()->attribute(id);
      if (attribute == nullptr || attribute->view == nullptr) {
         return;
      }
      if (attribute->view->member != nullptr) {
         std::string const text(attribute->view->keyText(key).view());
         memberIs(id, memberPath(*attribute, text), text, attribute->view->member(entity(), key));
      } else if (!isFresh) {
         watch_->listener_.valueChanged(path_, entity(), *attribute, key);
      }
   }

   /// The entity is no longer there, or nobody watches any more.
   void leave(bool tells) {
      for (auto const& [place, node] : members_) {
         node->leave(tells);
      }
      members_.clear();
      if (tells && !isFresh) {
         watch_->listener_.entityRemoved(path_);
      }
      watch_ = nullptr;
      isRegisteredNotifieeIs(false);
   }

   bool isWatching() const { return watch_ != nullptr; }
   std::string const& path() const { return path_; }
   Fen::Entity const& entity() const { return static_cast<Fen::Entity const&>(*fenNotifier()); }

   /// Nobody has been told of it yet.
   bool isFresh = true;

 private:
   struct Members : Fen::AttrMemberReader {
      explicit Members(Node& owner) : node(owner) {}
      void entity(Fen::String8 const& key, Fen::Ptr<Fen::Entity> const& member) override {
         std::string const text(key.view());
         node.memberIs(attribute->id, node.memberPath(*attribute, text), text, member);
      }
      void value(Fen::String8 const&, void const*) override {}

      Node& node;
      Fen::AttrDesc const* attribute = nullptr;
   };

   std::string below(std::string const& step) const {
      return path_.empty() ? step : path_ + "/" + step;
   }
   std::string directoryPath(Fen::Name const& name) const {
      return below(std::string(name.view()));
   }
   std::string memberPath(Fen::AttrDesc const& attribute, std::string const& key) const {
      return below(attribute.name + (key.empty() ? "" : "/" + key));
   }

   /// What stands at a place now; null for nothing.
   void memberIs(Fen::AttributeId id, std::string const& path, std::string const& key,
                 Fen::Ptr<Fen::Entity> const& member) {
      std::pair<Fen::AttributeId, std::string> const place(id, key);
      auto const found = members_.find(place);
      if (found != members_.end()) {
         if (&found->second->entity() == member.ptr()) {
            return;
         }
         Fen::Ptr<Node> const going = found->second;
         members_.erase(found);
         going->leave(true);
      }
      if (member) {
         auto const node = Fen::makePtr<Node>(watch_, member, path);
         members_.emplace(place, node);
         node->start();
      }
   }

   TreeWatch* watch_;
   std::string const path_;
   std::map<std::pair<Fen::AttributeId, std::string>, Fen::Ptr<Node>> members_;
};

/// Hears when an entity gets another parent, or none. Generic, since it does not know the type.
class TreeWatch::Ancestor : public Fen::Entity::NotifieeConst {
 public:
   Ancestor(TreeWatch* watch, Fen::Ptr<Fen::Entity> const& entity)
      : NotifieeConst(Kind::generic), watch_(watch) {
      fenNotifierStore(entity.ptr());
      isRegisteredNotifieeIs(true);
   }
   void doNotification(Fen::AttributeId id, void const*) override {
      if (watch_ != nullptr && id == Fen::parentAttributeId) {
         watch_->placeLost();
      }
   }
   void leave() {
      watch_ = nullptr;
      isRegisteredNotifieeIs(false);
   }

 private:
   TreeWatch* watch_;
};

TreeWatch::TreeWatch(Fen::Ptr<Fen::Entity> const& root, TreeListener& listener)
   : listener_(listener), root_(Fen::makePtr<Node>(this, root, "")) {
   for (Fen::Ptr<Fen::Entity> each = root; each; each = each->parent()) {
      ancestors_.push_back(Fen::makePtr<Ancestor>(this, each));
   }
   root_->start();
}

TreeWatch::~TreeWatch() {
   for (auto const& each : ancestors_) {
      each->leave();
   }
   root_->leave(false);
}

void TreeWatch::placeLost() {
   isPlaceLost_ = true;
   pendingIs(true);
}

void TreeWatch::added(Node* node) {
   fresh_.emplace_back(node);
   pendingIs(true);
}

void TreeWatch::handleTurnEnd() {
   std::vector<Fen::Ptr<Node>> const fresh = std::move(fresh_);
   fresh_.clear();
   for (Fen::Ptr<Node> const& node : fresh) {
      if (node->isWatching()) {
         node->isFresh = false;
         listener_.entityAdded(node->path(), node->entity());
      }
   }
   if (std::exchange(isPlaceLost_, false)) {
      // The last word: the listener may drop the watch.
      listener_.rootGone();
   }
}

} // namespace Host
