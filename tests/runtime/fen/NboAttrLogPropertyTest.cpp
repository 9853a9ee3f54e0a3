// Two trees over a link in memory: whatever is changed, however slow the reader and however often
// the link is cut, they are equal once it is quiet. Random with a fixed seed for each run;
// GANTRY_TEST_LONG multiplies the number of runs.
#include "HandWrittenEntity.h"
#include "NboAttrLogSample.h"

#include <tests/support/NboAttrLogLink.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <random>
#include <sstream>

using namespace NboAttrLogTest;
using Sample::Chassis;
using Sample::Panel;
using Sample::Port;

namespace {

/// Everything that an observer can see of a tree, as text in a fixed order.
void describe(std::ostream& out, Fen::Ptr<Fen::Entity> const& entity, std::string const& path);

void describePort(std::ostream& out, Port const& port, std::string const& path) {
   out << path << " " << port.name() << " " << port.kind() << " " << port.slot() << " "
       << port.speed() << " " << port.label().length() << " " << port.label().hash() << "\n";
}

void describeChassis(std::ostream& out, Chassis& chassis, std::string const& path) {
   out << path << " up " << chassis.up() << " primary "
       << (chassis.primary() ? chassis.primary()->name() : Fen::Name("none")) << "\n";
   if (chassis.console()) {
      describePort(out, *chassis.console(), path + "/console");
   }
   for (auto i = chassis.portIterator(); i; ++i) {
      describePort(out, *i, path + "/port");
   }
   for (auto i = chassis.allowedIterator(); i; ++i) {
      out << path << " allowed " << i->key() << " " << i->value() << "\n";
   }
   for (std::uint32_t key = 0; key < 8; ++key) {
      if (chassis.peer(key)) {
         out << path << " peer " << key << " " << chassis.peer(key)->name() << "\n";
      }
   }
}

void describe(std::ostream& out, Fen::Ptr<Fen::Entity> const& entity, std::string const& path) {
   out << path << " " << entity->fwkType()->fullTypeName() << "\n";
   if (auto* const chassis = dynamic_cast<Chassis*>(entity.ptr())) {
      describeChassis(out, *chassis, path);
   } else if (auto* const panel = dynamic_cast<Panel*>(entity.ptr())) {
      out << path << " panel " << panel->u64 << " " << panel->alias << " " << panel->sensors()
          << " " << panel->versions() << "\n";
      for (auto i = panel->partIterator(); i; ++i) {
         out << path << " part " << i->key() << "\n";
         if (i->part()) {
            describeChassis(out, *i->part(), path + "/" + i->part()->name().str());
         }
      }
   } else if (auto* const directory = dynamic_cast<Fen::Dir*>(entity.ptr())) {
      for (Fen::Dir::Members::IteratorConst i(&directory->entityPtrs()); i; ++i) {
         describe(out, directory->entityPtr(i->name()), path + "/" + i->name().str());
      }
   }
}

std::string described(Fen::Ptr<Fen::Entity> const& root) {
   std::ostringstream out;
   if (root) {
      describe(out, root, "");
   }
   return out.str();
}

class Story {
 public:
   explicit Story(unsigned seed) : random_(seed), root_(Fen::dirFactory("root")) {
      Link::Settings settings;
      settings.sendCap = below(2) ? 1024 * 1024 : 48 * 1024 + below(4000);
      link_ = std::make_unique<Link>(settings);
      link_->mount(root_);
   }

   void steps(int count) {
      for (int i = 0; i < count; ++i) {
         change(root_, 0);
         switch (below(8)) {
         case 0:
            link_->move(below(20), 1 + below(400));
            break;
         case 1:
            link_->move(below(5), 1 << 20);
            break;
         case 2:
            if (below(20) == 0) {
               link_->cut();
               link_->mount(root_);
            }
            break;
         default:
            break;
         }
      }
   }
   void expectEqual() {
      link_->settle();
      EXPECT_EQ(link_->targetUser.synchronised > 0, true);
      ASSERT_TRUE(link_->copy<Fen::Dir>());
      EXPECT_EQ(described(root_), described(link_->copy<Fen::Dir>()));
      EXPECT_FALSE(link_->source->flushWanted());
      EXPECT_EQ(link_->source->entities(), link_->target->entities());
   }

 private:
   unsigned below(unsigned limit) { return static_cast<unsigned>(random_()) % limit; }
   std::string name() { return "n" + std::to_string(below(6)); }
   Fen::String8 text() {
      return std::string(below(6) == 0 ? below(150'000) : below(20),
                         static_cast<char>('a' + below(26)));
   }

   void change(Fen::Ptr<Fen::Dir> const& directory, int depth) {
      auto const member = directory->entityPtr(name());
      if (!member) {
         add(directory, depth);
      } else if (below(12) == 0) {
         directory->entityPtrDel(member->name());
      } else if (auto const below = Fen::ptrCast<Fen::Dir>(member)) {
         change(below, depth + 1);
      } else if (auto const chassis = Fen::ptrCast<Chassis>(member)) {
         change(*chassis);
      } else if (auto const panel = Fen::ptrCast<Panel>(member)) {
         change(*panel);
      }
   }
   void add(Fen::Ptr<Fen::Dir> const& directory, int depth) {
      std::string const fresh = name();
      if (directory->entityPtr(fresh)) {
         return;
      }
      if (below(4) == 0 && depth < 4) {
         auto const made = Fen::dirFactory(fresh);
         made->entityPtrIs(Fen::makePtr<Chassis>("n1"));
         directory->entityPtrIs(made);
      } else if (below(3) == 0) {
         directory->entityPtrIs(Fen::makePtr<Panel>(fresh));
      } else {
         directory->entityPtrIs(Fen::makePtr<Chassis>(fresh));
      }
   }
   void changeParts(Panel& panel) {
      std::string const key = name();
      auto const record = panel.part(key);
      switch (below(8)) {
      case 0:
         panel.partDel(key);
         break;
      case 1:
         if (below(6) == 0) {
            panel.partDelAll();
         }
         break;
      case 2:
         if (record) {
            record->partDel();
         }
         break;
      case 3:
      case 4:
         panel.partIs(key)->partIs(name());
         break;
      default:
         if (record && record->part()) {
            change(*record->part());
         } else {
            panel.partIs(key);
         }
      }
   }
   void change(Panel& panel) {
      switch (below(6)) {
      case 0:
         panel.set<Panel::U64Attr>(random_());
         break;
      case 1:
         panel.set<Panel::AliasAttr>(text());
         break;
      case 2:
         below(2) ? panel.sensorIs(Sample::Reading(name(), below(9))) : panel.sensorDel(name());
         break;
      case 3:
      case 4:
         changeParts(panel);
         break;
      default:
         below(2) ? panel.versionIs(below(50), below(2)) : panel.versionDel(below(50));
      }
   }
   void change(Chassis& chassis) {
      std::string const key = name();
      auto const port = chassis.port(key);
      switch (below(9)) {
      case 0:
         chassis.upIs(below(2));
         break;
      case 1:
         chassis.primaryIs(below(3) ? port : Fen::Ptr<Port>());
         break;
      case 2:
         if (chassis.console() && below(2)) {
            chassis.console()->speedIs(static_cast<std::uint32_t>(random_()));
         } else {
            below(3) ? chassis.consoleIs(key, "k", "s") : chassis.consoleDel();
         }
         break;
      case 3:
         // The same name comes back with other constructor parameters.
         if (port && below(2)) {
            removePort(chassis, port);
         }
         if (!chassis.port(key)) {
            chassis.portIs(key, below(2) ? "fiber" : "copper", "1");
         }
         break;
      case 4:
         if (port) {
            removePort(chassis, port);
         }
         break;
      case 5:
         below(2) ? chassis.allowedIs(std::to_string(below(60)), below(2))
                  : static_cast<void>(chassis.allowedDel(std::to_string(below(60))));
         break;
      case 6:
         chassis.peerIs(below(8), port);
         break;
      case 7:
         if (below(6) == 0) {
            chassis.allowedDelAll();
         }
         break;
      default:
         if (port) {
            port->speedIs(static_cast<std::uint32_t>(random_()));
            port->labelIs(text());
         }
      }
   }
   /// References into what has left the tree never arrive, so that none are kept.
   void removePort(Chassis& chassis, Fen::Ptr<Port> const& port) {
      if (chassis.primary() == port) {
         chassis.primaryIs(nullptr);
      }
      for (std::uint32_t key = 0; key < 8; ++key) {
         if (chassis.peer(key) == port) {
            chassis.peerDel(key);
         }
      }
      chassis.portDel(port->name());
   }

   std::mt19937 random_;
   Fen::Ptr<Fen::Dir> root_;
   std::unique_ptr<Link> link_;
};

int longFactor() {
   char const* const text = std::getenv("GANTRY_TEST_LONG");
   return text != nullptr ? std::max(1, std::atoi(text)) : 1;
}

TEST(NboAttrLogProperty, treesAreEqualOnceQuiet) {
   for (unsigned seed = 1; seed <= 25u * static_cast<unsigned>(longFactor()); ++seed) {
      SCOPED_TRACE(seed);
      Story story(seed);
      for (int round = 0; round < 3; ++round) {
         story.steps(200);
         story.expectEqual();
         if (testing::Test::HasFailure()) {
            return;
         }
      }
   }
}

} // namespace
