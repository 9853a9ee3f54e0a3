/// What the tests of the publish side share: a host in small that publishes paths. On the test's
/// one thread.
#pragma once

#include "../support/Traces.h"
#include "RegistryFixture.h"

namespace RegistryTest {

using Fen::Ptr;
using TestSupport::RingTraces;
using Texts = std::vector<std::string>;

/// A host whose services publish into the registry. All paths are those of the service "s", unless
/// a test says otherwise.
class PublishHost : public Host {
 protected:
   Ptr<Controller::PublishRegistryEntry>
   publish(char const* path,
           Ptr<Controller::MountFilterServiceVersion> const& versionFilter = nullptr,
           Ptr<Controller::MountFilterSystem> const& systemFilter = nullptr,
           char const* serviceName = "s") {
      auto const entry = registry->publishEntryIs(path, "remote", "Fen::Dir", false, serviceName,
                                                  versionFilter, systemFilter);
      entry->readyToPublishIs(true);
      return entry;
   }
   /// A published directory, which is made below the root; not ready.
   Ptr<Controller::PublishRegistryEntry> publishDir(char const* path) {
      rootDir->entityIs(path, "Fen::Dir");
      return registry->publishEntryIs(path, "remote", "Fen::Dir", true, "s", nullptr, nullptr);
   }
   Ptr<Controller::PublishRegistryEntrySm> publishSm(char const* path) const {
      return machine->publishRegistryEntrySm(path);
   }
   /// What the switch is published at the path; the null description when nothing is.
   Controller::MountDesc published(unsigned number, Fen::String8 const& path) const {
      auto const record = publishedMountsTable->system(id(number));
      return record ? record->publishedMount(path) : Controller::MountDesc();
   }
   bool isPublished(unsigned number, Fen::String8 const& path) const {
      return !!published(number, path);
   }
   static Fen::String8 partOf(char const* path, unsigned number) {
      return Fen::String8(path) + "/" + text(number);
   }
   /// How many decisions a trace tells of, for the path and one system.
   static std::size_t decisions(Traces const& traces, char const* path, unsigned number) {
      return traces.count(std::string("PublishRegistryEntrySm::handleSwitchConnection ") + path +
                          " " + text(number).str() + "\n");
   }

   Ptr<Controller::MountFilterSystem> systems = Controller::mountFilterSystemFactory("systems");
   Ptr<Controller::MountFilterServiceVersion> versions =
      Controller::mountFilterServiceVersionFactory("versions");
};

class Publish : public testing::Test, protected PublishHost {
 protected:
   Publish() { create(); }
};

} // namespace RegistryTest
