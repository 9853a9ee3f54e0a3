// Tables of what is mounted, and the terminal on which they are drawn again and again.

#include <hosts/gantry-mount/Display.h>
#include <hosts/support/ValueText.h>

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <map>

namespace Host {

namespace {

constexpr double secondsBetweenDrawings = 0.2;

using Row = std::vector<std::string>;

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

/// The characters of UTF-8 text, which stand for columns.
std::size_t widthOf(std::string const& text) {
   return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

void write(std::string& out, std::vector<Row> const& rows, std::size_t width) {
   std::vector<std::size_t> widths(rows.front().size(), 0);
   for (Row const& row : rows) {
      for (std::size_t i = 0; i < row.size(); ++i) {
         widths[i] = std::max(widths[i], widthOf(row[i]));
      }
   }
   // Peer and name are always there; attributes as far as they fit.
   std::size_t shown = 0;
   for (std::size_t used = 0; shown < widths.size(); ++shown) {
      used += widths[shown] + 2;
      if (shown >= 2 && width != 0 && used > width + 2) {
         break;
      }
   }
   for (Row const& row : rows) {
      std::string line;
      for (std::size_t i = 0; i < shown; ++i) {
         line += row[i] + std::string(widths[i] - widthOf(row[i]) + 2, ' ');
      }
      line.erase(line.find_last_not_of(' ') + 1);
      out += line + "\n";
   }
}

std::size_t terminalWidth() {
   winsize size{};
   return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

class TableDisplay : public Display {
 public:
   TableDisplay(PeerViews views, std::vector<std::string> columns)
      : views_(std::move(views)), columns_(std::move(columns)), timer_(Fen::makePtr<Timer>(this)) {}
   ~TableDisplay() override { timer_->displayDel(); }

   void mountState(std::string const&, std::string const&, std::string const&) override { soon(); }
   void entityAdded(std::string const&, std::string const&, Fen::Entity const&) override { soon(); }
   void entityRemoved(std::string const&, std::string const&) override { soon(); }
   void valueChanged(std::string const&, std::string const&, Fen::Entity const&,
                     Fen::AttrDesc const&, void const*) override {
      soon();
   }

 private:
   class Timer : public Fen::Clock::Notifiee {
    public:
      explicit Timer(TableDisplay* display)
         : Notifiee(Fen::ActivityLoop::instance().clock()), display_(display) {
         isRegisteredNotifieeIs(true);
      }
      void onTime() override {
         if (display_ != nullptr) {
            display_->draw();
         }
      }
      void displayDel() { display_ = nullptr; }

    private:
      TableDisplay* display_;
   };

   void soon() {
      if (!waiting_) {
         waiting_ = true;
         timer_->timeMinIs(std::max(Fen::now(), drawn_ + secondsBetweenDrawings));
      }
   }
   void draw() {
      waiting_ = false;
      drawn_ = Fen::now();
      // To the upper left corner, the text, and nothing of the last one behind it.
      std::string const text = tables(views_(), columns_, terminalWidth());
      std::string out = "\033[H";
      for (char const c : text) {
         out += c == '\n' ? std::string("\033[K\n") : std::string(1, c);
      }
      std::cout << out << "\033[J" << std::flush;
   }

   PeerViews const views_;
   std::vector<std::string> const columns_;
   Fen::Ptr<Timer> timer_;
   bool waiting_ = false;
   double drawn_ = 0.0;
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
   std::string out;
   write(out, peers, width);
   for (auto& [type, table] : byType) {
      Row head{"PEER", "NAME"};
      for (Fen::AttrDesc const* each : table.attributes) {
         head.emplace_back(each->name);
      }
      table.rows.insert(table.rows.begin(), head);
      out += "\n" + type + "\n";
      write(out, table.rows, width);
   }
   return out;
}

std::unique_ptr<Display> tableDisplay(PeerViews views, std::vector<std::string> columns) {
   return std::make_unique<TableDisplay>(std::move(views), std::move(columns));
}

} // namespace Host
