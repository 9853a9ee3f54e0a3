// The tree of a host, and which model each record goes to.

#include <hosts/linux/HostModel.h>

#include <sys/utsname.h>

#include <ctime>
#include <utility>

namespace Linux {

HostModel::HostModel(Fen::Ptr<Fen::Dir> const& root, std::set<std::string> wantedInterfaces,
                     SpeedSource speedSource)
   : directory_(Fen::dirFactory(Fen::Name("linux"))),
     interfaceDir_(Fen::makePtr<InterfaceDir>(Fen::Name("interface"))),
     routeDir_(Fen::makePtr<RouteDir>(Fen::Name("route"))),
     neighbourDir_(Fen::makePtr<NeighbourDir>(Fen::Name("neighbour"))),
     host_(Fen::makePtr<Host>(Fen::Name("host"))),
     interfaceModel_(interfaceDir_, std::move(wantedInterfaces), std::move(speedSource)),
     routeModel_(routeDir_, interfaceModel_), neighbourModel_(neighbourDir_, interfaceModel_) {
   directory_->entityPtrIs(interfaceDir_);
   directory_->entityPtrIs(routeDir_);
   directory_->entityPtrIs(neighbourDir_);
   directory_->entityPtrIs(host_);
   root->entityPtrIs(directory_);
}

void HostModel::linkIs(LinkRecord const& record) { again_.add(interfaceModel_.linkIs(record)); }

void HostModel::linkDel(std::uint32_t index) { again_.add(interfaceModel_.linkDel(index)); }

void HostModel::addressIs(AddressRecord const& record) {
   again_.add(interfaceModel_.addressIs(record));
}

void HostModel::addressDel(AddressRecord const& record) {
   again_.add(interfaceModel_.addressDel(record));
}

void HostModel::routeIs(RouteRecord const& record) { again_.add(routeModel_.routeIs(record)); }

void HostModel::routeDel(RouteRecord const& record) { again_.add(routeModel_.routeDel(record)); }

void HostModel::neighbourIs(NeighbourRecord const& record) { neighbourModel_.neighbourIs(record); }

void HostModel::neighbourDel(NeighbourRecord const& record) {
   neighbourModel_.neighbourDel(record);
}

void HostModel::statisticsIs(StatisticsRecord const& record) {
   interfaceModel_.statisticsIs(record);
}

void HostModel::dumpBegin(Table table) {
   switch (table) {
   case Table::links:
      interfaceModel_.linksMark();
      break;
   case Table::addresses:
      interfaceModel_.addressesMark();
      break;
   case Table::routes:
      routeModel_.mark();
      break;
   case Table::neighbours:
      neighbourModel_.mark();
      break;
   case Table::statistics:
      break;
   }
}

void HostModel::dumpEnd(Table table, bool complete) {
   if (table == Table::routes) {
      routeModel_.sweep(complete);
   } else if (complete && table == Table::links) {
      again_.add(interfaceModel_.linksSweep());
   } else if (complete && table == Table::addresses) {
      interfaceModel_.addressesSweep();
   } else if (complete && table == Table::neighbours) {
      neighbourModel_.sweep();
   }
}

TableSet HostModel::againDel() { return std::exchange(again_, TableSet()); }

void HostModel::hostSample() {
   utsname names{};
   if (uname(&names) == 0) {
      host_->hostNameIs(Fen::String8(std::string_view(names.nodename)));
      host_->systemIs(Fen::String8(std::string_view(names.sysname)));
      host_->kernelIs(Fen::String8(std::string_view(names.release)));
      host_->machineIs(Fen::String8(std::string_view(names.machine)));
   }
   timespec sinceStart{};
   if (clock_gettime(CLOCK_BOOTTIME, &sinceStart) == 0) {
      host_->uptimeIs(static_cast<std::uint64_t>(sinceStart.tv_sec));
   }
}

} // namespace Linux
