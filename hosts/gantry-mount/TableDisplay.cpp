// Tables of what is mounted.

#include <hosts/gantry-mount/Display.h>
#include <hosts/support/TextTable.h>
#include <hosts/support/ValueText.h>

#include <algorithm>
#include <map>

namespace Host {

namespace {

using Row = TextRow;
/// Peer and name are always there; attributes as far as they fit.
constexpr std::size_t leastColumns = 2;

/// All entities of one type, in rows of peer, name and attributes.
struct Table {
   std::vector<Fen::AttrDesc const*> attributes;
   std::vector<Row> rows;
};
using Tables = std::map<std::string, Table>;

bool isShown(Fen::AttrDesc const& attribute, std::vector<std::string> const& columns) {
   return attribute.view != nullptr &&
          (columns.empty() ||
           std::find(columns.begin(), columns.end(), attribute.name) != columns.end());
}

void addRow(Tables& tables, std::string const& peer, Fen::Entity const& entity,
            std::vector<std::string> const& columns) {
   Table& table = tables[std::string(entity.fwkType()->fullTypeName().view())];
   if (table.attributes.empty()) {
      for (Fen::AttrDesc const& each : entity.fwkType()->attributes()) {
         if (isShown(each, columns)) {
            table.attributes.push_back(&each);
         }
      }
   }
   Row row{peer, plainText(entity.name().view())};
   for (Fen::AttrDesc const* each : table.attributes) {
      row.push_back(valueText(entity, *each, false));
   }
   table.rows.push_back(std::move(row));
}

/// The members of the root's collections, in the order of their names, for people.
class Members : public Fen::AttrMemberReader {
 public:
   void entity(Fen::String8 const&, Fen::Ptr<Fen::Entity> const& member) override {
      found.push_back(member);
   }
   void value(Fen::String8 const&, void const*) override {}

   std::vector<Fen::Ptr<Fen::Entity>> found;
};

bool isBefore(Fen::Ptr<Fen::Entity> const& left, Fen::Ptr<Fen::Entity> const& right) {
   return left->name().view() < right->name().view();
}

/// A directory, or an entity that only holds others, is shown by what is in it; any other has a row
/// of its own too. What a row's entity holds in turn stands in its row, by name.
void addEntity(Tables& tables, std::string const& peer, Fen::Entity const& entity,
               std::vector<std::string> const& columns) {
   Members members;
   if (auto const* const directory = dynamic_cast<Fen::Dir const*>(&entity)) {
      directory->entityPtrs().forEachMember(
         [&](Fen::Entity* member) { members.found.emplace_back(member); });
      std::sort(members.found.begin(), members.found.end(), isBefore);
      for (auto const& member : members.found) {
         addEntity(tables, peer, *member, columns);
      }
      return;
   }
   bool hasValues = false;
   for (Fen::AttrDesc const& each : entity.fwkType()->attributes()) {
      if (each.view != nullptr && each.view->member != nullptr) {
         each.view->members(entity, members);
      } else {
         hasValues = hasValues || each.view != nullptr;
      }
   }
   if (hasValues) {
      addRow(tables, peer, entity, columns);
   }
   std::sort(members.found.begin(), members.found.end(), isBefore);
   for (auto const& member : members.found) {
      addRow(tables, peer, *member, columns);
   }
}

class TableDisplay : public Display {
 public:
   TableDisplay(PeerViews const& views, std::vector<std::string> const& columns)
      : screen_([views, columns] { return tables(views(), columns, terminalWidth()); }) {}

   void mountState(std::string const&, std::string const&, std::string const&) override {
      screen_.changed();
   }
   void entityAdded(std::string const&, std::string const&, Fen::Entity const&) override {
      screen_.changed();
   }
   void entityRemoved(std::string const&, std::string const&) override { screen_.changed(); }
   void valueChanged(std::string const&, std::string const&, Fen::Entity const&,
                     Fen::AttrDesc const&, void const*) override {
      screen_.changed();
   }

 private:
   ScreenText screen_;
};

} // namespace

std::string tables(std::vector<PeerView> const& views, std::vector<std::string> const& columns,
                   std::size_t width) {
   std::vector<Row> peers{{"PEER", "STATE", "REASON"}};
   Tables byType;
   for (PeerView const& view : views) {
      peers.push_back({view.peer, view.state, plainText(view.reason)});
      if (view.root) {
         addEntity(byType, view.peer, *view.root, columns);
      }
   }
   std::string out = textTable(peers, width, leastColumns);
   for (auto& [type, table] : byType) {
      Row head{"PEER", "NAME"};
      for (Fen::AttrDesc const* each : table.attributes) {
         head.emplace_back(each->name);
      }
      table.rows.insert(table.rows.begin(), head);
      out += "\n" + type + "\n";
      out += textTable(table.rows, width, leastColumns);
   }
   return out;
}

std::unique_ptr<Display> tableDisplay(PeerViews views, std::vector<std::string> columns) {
   return std::make_unique<TableDisplay>(views, columns);
}

} // namespace Host
