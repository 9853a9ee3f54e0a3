/// What configures the activity that everything here runs on: an entity of which a process has one,
/// made by whoever asks first and kept until the process ends. On the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/Clock.h>
#include <gantry/runtime/fen/Entity.h>

namespace Fen {

class GANTRY_EXPORT ActivityManagerConfig : public Entity {
 public:
   static constexpr char const* fenFullTypeName = "Fen::ActivityManagerConfig";

   explicit ActivityManagerConfig(Name name);

   /// The one of this process, made when it is not there yet. Never null.
   static Ptr<ActivityManagerConfig> instance();

   /// The clock of the activity: the one that ActivityFacility gives.
   Ptr<Clock> clock() const;

   static FenType* _fwkType();
   FenType* fwkType() const override;

 protected:
   ~ActivityManagerConfig() override;
};

} // namespace Fen
