/// Lets each system mount exactly what is published to it, and nothing else.
///
/// What is published stands in the PublishedMountsTable. A peer asks by the path in the
/// controller's tree. The one thing that an identified peer may read besides is its own
/// SystemPublishedMount, from which it learns its paths. A mount that lives ends at once when its
/// description goes. Made by the host and given to its server; on the activity loop's thread.
#pragma once

#include <gantry/access/PeerIdentifier.h>
#include <gantry/common/PublishedMountsTable.fen.h>
#include <gantry/runtime/cairn/AccessPolicy.h>

#include <unordered_set>

namespace Controller {

class GANTRY_EXPORT PublishedAccess : public Cairn::AccessPolicy {
 public:
   enum class Verdict {
      granted,
      /// The peer is no registered system, or comes from elsewhere than that system.
      unknownPeer,
      /// Nothing is published to this system at this path, whatever there may be.
      notPublished,
      /// What is published there is of another type than the one asked for.
      anotherType,
   };

   /// `tablePath` is where the table stands below the root of the server.
   PublishedAccess(Fen::Ptr<PublishedMountsTable> const& table,
                   Fen::Ptr<PeerIdentifier const> const& identifier, Fen::String8 tablePath);

   /// The decision alone, for a peer that has been identified or, with zero, has not. The path has
   /// no empty component.
   Verdict verdict(SystemId const& peer, Fen::String8 const& path,
                   Fen::String8 const& typeName) const;
   /// Where the SystemPublishedMount of a system stands below the root of the server.
   Fen::String8 recordPath(SystemId const& system) const;

   /// A refusal is counted as "access.refused." and the verdict's name.
   Fen::Ptr<Cairn::Permit> permit(Cairn::AccessRequest const& request, Cairn::MountStatus& refusal,
                                  Fen::String8& reason) override;

 protected:
   ~PublishedAccess() override;

 private:
   class Watch;

   Fen::Ptr<PublishedMountsTable> table_;
   Fen::Ptr<PeerIdentifier const> identifier_;
   Fen::String8 tablePath_;
};

} // namespace Controller
