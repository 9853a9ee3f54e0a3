/// A host that does everything twice: to live entities, which the library's machines follow over a
/// scripted client on virtual time, and to the naive model. Each event is one operation of a host;
/// afterwards all that can be seen of both must be the same. Owns both worlds, on the test's
/// thread; one at a time, since it puts its directory under the process's root.
#pragma once

#include "../support/ScriptedBackend.h"
#include "HostEvents.h"
#include "NaiveModel.h"

#include <gantry/registry/MountsRegistrySm.fen.h>
#include <gantry/runtime/fen/VirtualTime.h>
#include <gantry/service/ServiceConfigDirSm.fen.h>

#include <optional>
#include <string>
#include <vector>

namespace RegistryTest {

/// An entity and what stands for it in the model.
template <class Live, class Model>
struct Twin {
   Fen::Ptr<Live> live;
   std::shared_ptr<Model> model;

   explicit operator bool() const { return static_cast<bool>(model); }
};

class Twins {
 public:
   /// The settings of the registry, and whether a path's target differs by who declares it, are the
   /// seed's.
   explicit Twins(std::uint32_t seed);
   ~Twins();
   Twins(Twins const&) = delete;
   Twins& operator=(Twins const&) = delete;

   void apply(Event const& event);
   /// The first lines that are not the same in both worlds; empty when all are.
   std::string difference();
   /// Drops the machines of both worlds while everything else is as it is.
   void dropMachines();

   /// How many mounts have been seen in each state, for a test that wants to know that they were.
   using Seen = std::array<unsigned, 6>;
   Seen const& seen() const { return seen_; }

   static constexpr unsigned serviceCount = 3;
   static constexpr unsigned groupCount = 2;
   static constexpr unsigned pathCount = 4;
   static constexpr unsigned systemCount = 4;
   static constexpr unsigned versionCount = 3;

 private:
   using Numbers = std::array<unsigned, 4>;
   using Group = Twin<Controller::ServiceMountGroupConfig, Naive::Group>;
   using SystemFilter = Twin<Controller::MountFilterSystem, Naive::SystemFilter>;
   using VersionFilter = Twin<Controller::MountFilterServiceVersion, Naive::VersionFilter>;
   using Status = Twin<Controller::ServiceMountStatus, Naive::ServiceStatus>;

   struct Service {
      std::string name;
      Twin<Controller::ServiceMountConfig, Naive::ServiceConfig> config;
      Status status;
      std::vector<Group> group;
      /// The service's own filters of now, and those that it has given up, which groups may have.
      std::vector<SystemFilter> systemFilter;
      std::vector<VersionFilter> versionFilter;
      int renewals = 0;
   };

   struct Client {
      Twin<Controller::ServiceStatusDir, Naive::Client> dir;
      /// By service: the status and its version status.
      std::map<std::string, Twin<Controller::ServiceStatusV1, Naive::ServiceVersion>> service;
   };

   // Declarations.
   void configPlace(Numbers const& n);
   void statusPlace(Numbers const& n);
   void groupIs(Numbers const& n);
   void groupDel(Numbers const& n);
   void mountIs(Numbers const& n);
   void mountDel(Numbers const& n);
   void mountDelAll(Numbers const& n);
   void systemFilterRenew(Numbers const& n);
   void versionFilterRenew(Numbers const& n);
   void groupSystemFilter(Numbers const& n);
   void groupVersionFilter(Numbers const& n);
   void groupPreserve(Numbers const& n);
   void systemKey(Numbers const& n);
   void systemKeyDel(Numbers const& n);
   void systemKeyDelAll(Numbers const& n);
   void versionKey(Numbers const& n);
   void versionKeyDel(Numbers const& n);
   void versionKeyDelAll(Numbers const& n);
   // Switches and clients.
   void switchConfigRenew(Numbers const& n);
   void connectionConfig(Numbers const& n);
   void connectionPort(Numbers const& n);
   void registered(Numbers const& n);
   void registeredDel(Numbers const& n);
   void client(Numbers const& n);
   void clientService(Numbers const& n);
   void versionStatus(Numbers const& n);
   void negotiate(Numbers const& n);
   void negotiationComplete(Numbers const& n);
   void compatible(Numbers const& n);
   void enabled(Numbers const& n);
   // The client's answers, time, and the machines.
   void answerMount(Numbers const& n);
   void answerUnmount(Numbers const& n);
   void answerAll(Numbers const& n);
   void turn(Numbers const&);
   void quiet(Numbers const&);
   void advance(Numbers const& n);
   void entryDel(Numbers const& n);
   void serviceMachines(Numbers const& n);
   void registryMachine(Numbers const& n);

   using Operation = void (Twins::*)(Numbers const&);
   static Operation operationOf(EventKind kind);

   Service& serviceAt(unsigned number) { return service_[number % serviceCount]; }
   Group* groupAt(Numbers const& n);
   void newConfig(Service& service);
   void newStatus(Service& service);
   void configPlaceRenew(Service& service);
   void statusPlaceRenew(Service& service);
   void newSwitchConfig(std::string const& system);
   void answerMountAt(std::size_t at, bool success);
   void answerUnmountAt(std::size_t at);
   std::string pathOf(unsigned number) const;
   std::string systemOf(unsigned number) const;
   std::string filterKeyOf(unsigned number) const;

   // What can be seen, one line for each fact.
   using Lines = std::vector<std::string>;
   Lines liveLines();
   Lines modelLines();
   void liveStatusLines(Lines& lines) const;
   void modelStatusLines(Lines& lines) const;
   void liveRegistryLines(Lines& lines) const;
   void modelRegistryLines(Lines& lines) const;
   void liveEntryLines(Lines& lines, Controller::MountsRegistryEntrySm const& machine) const;
   void modelEntryLines(Lines& lines, Naive::EntryMachine const& machine) const;
   void liveMountLines(Lines& lines, Controller::MountsRegistryEntrySm const& machine) const;
   void modelMountLines(Lines& lines, Naive::EntryMachine const& machine) const;
   void liveMachineLines(Lines& lines) const;
   void modelMachineLines(Lines& lines) const;
   void livePlaceLines(Lines& lines) const;
   void modelPlaceLines(Lines& lines) const;

   bool const variesTargets_;
   Fen::VirtualTime time_{1000.0};
   TestSupport::ScriptedBackendScope backend_;
   Naive::Model model_;

   Fen::Ptr<Fen::Dir> rootDir_ = Fen::dirFactory("state");
   Fen::Ptr<Fen::Dir> registryDir_ = Fen::dirFactory("registry");
   Fen::Ptr<Fen::Dir> mountConfigDir_ = Fen::dirFactory("mountConfig");
   Fen::Ptr<Fen::Dir> mountStatusDir_ = Fen::dirFactory("mountStatus");
   Fen::Ptr<Fen::Dir> publishConfigDir_ = Fen::dirFactory("publishConfig");
   Fen::Ptr<Fen::Dir> publishStatusDir_ = Fen::dirFactory("publishStatus");
   Fen::Ptr<Fen::Dir> clientsDir_ = Fen::dirFactory("clients");
   Fen::Ptr<Controller::PublishedMountsTable> publishedMountsTable_ =
      Controller::publishedMountsTableFactory("published");
   Fen::Ptr<Controller::RegisteredSwitchTable> registeredSwitchTable_ =
      Controller::registeredSwitchTableFactory();
   Fen::Ptr<ControllerRegistration::ControllerStatus> controllerStatus_ =
      ControllerRegistration::controllerStatusFactory("controller");
   Fen::Ptr<Controller::MountsRegistry> mountsRegistry_;
   Fen::Ptr<Controller::ServiceConfigDirSm> serviceConfigDirSm_;
   Fen::Ptr<Controller::MountsRegistrySm> mountsRegistrySm_;

   std::vector<Service> service_;
   std::vector<Status> everyStatus_;
   std::map<std::string, Fen::Ptr<ControllerRegistration::SwitchConfig>> switchConfig_;
   std::map<std::string, Client> client_;
   Seen seen_{};
};

} // namespace RegistryTest
