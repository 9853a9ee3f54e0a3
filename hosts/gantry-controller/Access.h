/// What the controller serves to its peers: its announcement to everybody, and to each system
/// exactly what is published to it.
///
/// Owned by the server; on the activity loop's thread.
#pragma once

#include <gantry/access/PublishedAccess.h>

namespace Host {

class ControllerAccess : public Cairn::AccessPolicy {
 public:
   explicit ControllerAccess(Fen::Ptr<Controller::PublishedAccess> const& published)
      : published_(published) {}

   Fen::Ptr<Cairn::Permit> permit(Cairn::AccessRequest const& request, Cairn::MountStatus& refusal,
                                  Fen::String8& reason) override;

 private:
   Fen::Ptr<Controller::PublishedAccess> published_;
};

} // namespace Host
