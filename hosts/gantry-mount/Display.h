/// How what is mounted is shown: as JSON lines, as lines for people, or as a live table.
///
/// Owned by the program; lives on the activity loop's thread. Everything goes to standard output.
#pragma once

#include <hosts/support/TreeWatch.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Host {

class Display {
 public:
   virtual ~Display() = default;

   /// `state` is the name of a Controller::MountState, `reason` says why it failed.
   virtual void mountState(std::string const& peer, std::string const& state,
                           std::string const& reason) = 0;
   virtual void entityAdded(std::string const& peer, std::string const& path,
                            Fen::Entity const& entity) = 0;
   virtual void entityRemoved(std::string const& peer, std::string const& path) = 0;
   virtual void valueChanged(std::string const& peer, std::string const& path,
                             Fen::Entity const& entity, Fen::AttrDesc const& attribute,
                             void const* key) = 0;
};

/// One line of JSON for each change: "time" in seconds since 1970, "peer", "event" and what belongs
/// to it.
std::unique_ptr<Display> jsonDisplay();

/// One line for people for each change.
std::unique_ptr<Display> lineDisplay();

/// A peer's row in the head of a table, and its tree, null while there is none.
struct PeerView {
   std::string peer;
   std::string state;
   std::string reason;
   Fen::Ptr<Fen::Entity> root;
};
using PeerViews = std::function<std::vector<PeerView>()>;

/// Tables that are drawn again in place some time after a change, at most a few times a second.
std::unique_ptr<Display> tableDisplay(PeerViews views, std::vector<std::string> columns);

/// The tables as text: one for each type of entity, a row for each entity, cut to `width` columns
/// (0 for no limit) by leaving out the last attributes. With `columns`, only those attributes.
std::string tables(std::vector<PeerView> const& views, std::vector<std::string> const& columns,
                   std::size_t width);

} // namespace Host
