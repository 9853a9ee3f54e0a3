// The announcement, and what is published.

#include <hosts/gantry-controller/Access.h>

#include <hosts/support/Agent.fen.h>

namespace Host {

namespace {

/// Good for as long as the mount lives: the announcement is never taken back.
class AnnouncementPermit : public Cairn::Permit {};

} // namespace

Fen::Ptr<Cairn::Permit> ControllerAccess::permit(Cairn::AccessRequest const& request,
                                                 Cairn::MountStatus& refusal,
                                                 Fen::String8& reason) {
   if (request.path == "agent" && request.typeName == Agent::Announcement::fenFullTypeName) {
      return Fen::makePtr<AnnouncementPermit>();
   }
   return published_->permit(request, refusal, reason);
}

} // namespace Host
