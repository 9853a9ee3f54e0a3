/// The whole state of a Linux host as a tree of entities, kept equal to the kernel's records.
///
///    ROOT/linux/interface   Linux::InterfaceDir
///    ROOT/linux/route       Linux::RouteDir
///    ROOT/linux/neighbour   Linux::NeighbourDir
///    ROOT/linux/host        Linux::Host
///
/// Owned by the program; lives on the activity loop's thread. It is given records and asks for
/// nothing by itself: which tables must be read again it says through againDel().
#pragma once

#include <hosts/linux/Host.fen.h>
#include <hosts/linux/InterfaceModel.h>
#include <hosts/linux/KernelRecord.h>
#include <hosts/linux/NeighbourModel.h>
#include <hosts/linux/RouteModel.h>
#include <hosts/linux/Tables.h>

#include <gantry/runtime/fen/Dir.h>

namespace Linux {

class HostModel : public KernelSink {
 public:
   /// Puts the tree below `root`. See InterfaceModel for the other two.
   HostModel(Fen::Ptr<Fen::Dir> const& root, std::set<std::string> wantedInterfaces,
             SpeedSource speedSource);
   HostModel(HostModel const&) = delete;
   HostModel& operator=(HostModel const&) = delete;

   void linkIs(LinkRecord const& record) override;
   void linkDel(std::uint32_t index) override;
   void addressIs(AddressRecord const& record) override;
   void addressDel(AddressRecord const& record) override;
   void routeIs(RouteRecord const& record) override;
   void routeDel(RouteRecord const& record) override;
   void neighbourIs(NeighbourRecord const& record) override;
   void neighbourDel(NeighbourRecord const& record) override;
   void statisticsIs(StatisticsRecord const& record) override;

   /// The kernel begins to tell all that there is of a table.
   void dumpBegin(Table table);
   /// It has told all, or not: only a complete dump takes away what it did not name.
   void dumpEnd(Table table, bool complete);

   /// The tables that must be read again because of changes that the kernel does not tell of.
   /// Taking them empties the set.
   TableSet againDel();

   /// Reads what the host says of itself: names, kernel, uptime.
   void hostSample();

   /// The directory "linux", in which all of the state stands.
   Fen::Ptr<Fen::Dir> const& directory() const { return directory_; }
   Fen::Ptr<InterfaceDir> const& interfaces() const { return interfaceDir_; }
   Fen::Ptr<RouteDir> const& routes() const { return routeDir_; }
   Fen::Ptr<NeighbourDir> const& neighbours() const { return neighbourDir_; }
   Fen::Ptr<Host> const& host() const { return host_; }

 private:
   Fen::Ptr<Fen::Dir> const directory_;
   Fen::Ptr<InterfaceDir> const interfaceDir_;
   Fen::Ptr<RouteDir> const routeDir_;
   Fen::Ptr<NeighbourDir> const neighbourDir_;
   Fen::Ptr<Host> const host_;
   InterfaceModel interfaceModel_;
   RouteModel routeModel_;
   NeighbourModel neighbourModel_;
   TableSet again_;
};

} // namespace Linux
