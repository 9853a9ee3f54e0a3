// The one place that names every type of this folder, and the directory that holds them.

#include <hosts/linux/Types.h>

#include <hosts/linux/Host.fen.h>
#include <hosts/linux/Interface.fen.h>
#include <hosts/linux/InterfaceConfig.fen.h>
#include <hosts/linux/Neighbour.fen.h>
#include <hosts/linux/Route.fen.h>

#include <gantry/runtime/fen/Dir.h>

namespace Linux {

void typesRegister() {
   Fen::Dir::_fwkType();
   Address::_fwkType();
   Interface::_fwkType();
   InterfaceDir::_fwkType();
   InterfaceConfig::_fwkType();
   InterfaceApplied::_fwkType();
   NextHop::_fwkType();
   Route::_fwkType();
   RouteDir::_fwkType();
   Neighbour::_fwkType();
   NeighbourDir::_fwkType();
   Host::_fwkType();
}

} // namespace Linux
