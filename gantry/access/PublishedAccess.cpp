/// The decision about one mount, and the watch over each permission that was given.
#include <gantry/access/PublishedAccess.h>
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/FenType.h>

#include <array>
#include <string>

namespace Controller {

namespace {

constexpr std::array verdictNames = {"granted", "unknown_peer", "not_published", "another_type"};

} // namespace

/// The permission for one published path: it watches the description that it rests on. The mount
/// holds it.
class PublishedAccess::Watch : public Cairn::Permit {
 public:
   Watch(Fen::Ptr<SystemPublishedMount const> const& record, Fen::String8 const& path)
      : reactor_(Fen::makePtr<Reactor>(record, path, this)) {}

 protected:
   ~Watch() override { reactor_->permitDel(); }

 private:
   class Reactor : public SystemPublishedMount::NotifieeConst {
    public:
      Reactor(Fen::Ptr<SystemPublishedMount const> const& record, Fen::String8 const& path,
              Watch* permit)
         : SystemPublishedMount::NotifieeConst(record), path_(path),
           type_(record->publishedMount(path).fenType()), permit_(permit) {
         isRegisteredNotifieeIs(true);
      }
      void permitDel() {
         permit_ = nullptr;
         isRegisteredNotifieeIs(false);
      }

    protected:
      void onPublishedMount(Fen::String8 key) override {
         if (key == path_) {
            handlePublishedMount();
         }
      }
      // The record of a system goes when its last description has gone; one that is taken out
      // whole says so by losing its parent.
      void onParent() override { handlePublishedMount(); }

    private:
      void handlePublishedMount() {
         Fen::Ptr<SystemPublishedMount const> const record = notifier();
         bool const published = record->parent() != nullptr && !!record->publishedMount(path_) &&
                                record->publishedMount(path_).fenType() == type_;
         if (!published && permit_ != nullptr) {
            Fen::Ptr<Watch> const permit(permit_);
            permit->withdraw(Fen::valueToStrep(path_) + " is no longer published to this system");
         }
      }

      Fen::String8 path_;
      Fen::String8 type_;
      Watch* permit_;
   };

   Fen::Ptr<Reactor> reactor_;
};

namespace {

/// The permission for a system's own record, which ends with the record itself.
class RecordPermit : public Cairn::Permit {};

} // namespace

PublishedAccess::PublishedAccess(Fen::Ptr<PublishedMountsTable> const& table,
                                 Fen::Ptr<PeerIdentifier const> const& identifier,
                                 Fen::String8 tablePath)
   : table_(table), identifier_(identifier), tablePath_(tablePath) {}
PublishedAccess::~PublishedAccess() = default;

Fen::String8 PublishedAccess::recordPath(SystemId const& system) const {
   return tablePath_ + "/system/" + system.stringValue();
}

PublishedAccess::Verdict PublishedAccess::verdict(SystemId const& peer, Fen::String8 const& path,
                                                  Fen::String8 const& typeName) const {
   if (peer == SystemId()) {
      return Verdict::unknownPeer;
   }
   if (path == recordPath(peer)) {
      return typeName == SystemPublishedMount::_fwkType()->fullTypeName() ? Verdict::granted
                                                                          : Verdict::anotherType;
   }
   Fen::Ptr<SystemPublishedMount const> const record = table_->system(peer);
   MountDesc const published = record ? record->publishedMount(path) : MountDesc();
   if (!published) {
      return Verdict::notPublished;
   }
   return published.fenType() == typeName ? Verdict::granted : Verdict::anotherType;
}

Fen::Ptr<Cairn::Permit> PublishedAccess::permit(Cairn::AccessRequest const& request,
                                                Cairn::MountStatus& refusal, Fen::String8& reason) {
   SystemId const peer = identifier_->identified(request.peer);
   Verdict const decided = verdict(peer, request.path, request.typeName);
   if (decided == Verdict::granted) {
      if (request.path == recordPath(peer)) {
         return Fen::makePtr<RecordPermit>();
      }
      return Fen::makePtr<Watch>(table_->system(peer), request.path);
   }
   Fen::Counters::counter(std::string("access.refused.") +
                          verdictNames[static_cast<std::size_t>(decided)])
      .increment();
   refusal =
      decided == Verdict::anotherType ? Cairn::mountStatusAnotherType : Cairn::mountStatusRefused;
   switch (decided) {
   case Verdict::unknownPeer:
      reason = request.peer.systemId.stringValue() + " at " + request.peer.address.stringValue() +
               " is not registered here";
      break;
   case Verdict::anotherType:
      reason = Fen::valueToStrep(request.path) + " is not a " + request.typeName;
      break;
   default:
      reason = Fen::valueToStrep(request.path) + " is not published to this system";
   }
   return nullptr;
}

} // namespace Controller
