/// How the text of a tree is written: one function for each type, over its typed accessors.
#include "TreeText.h"

#include <gantry/common/HeartbeatConfig.fen.h>
#include <gantry/common/PeerTable.fen.h>
#include <gantry/common/PublishedMountsTable.fen.h>
#include <gantry/model/Registration.fen.h>
#include <gantry/model/ServiceMountConfig.fen.h>
#include <gantry/model/ServiceMountStatus.fen.h>
#include <gantry/model/ServicePublishConfig.fen.h>
#include <gantry/model/ServicePublishStatus.fen.h>

#include <gtest/gtest.h>

namespace ModelTest {

using namespace Controller;
using namespace ControllerRegistration;

namespace {

class Text {
 public:
   template <class Value>
   Text& one(char const* attribute, Value const& value) {
      line(attribute, textOf(value));
      return *this;
   }
   /// Values or references by key.
   template <class Iterator>
   Text& values(char const* attribute, Iterator at) {
      for (; at; ++at) {
         line(attribute, textOf(at->key()) + " = " + textOf(at->value()));
      }
      return *this;
   }
   /// Owned entities.
   template <class Iterator>
   Text& owned(char const* attribute, Iterator at) {
      for (; at; ++at) {
         line(attribute, "");
         below(*at);
      }
      return *this;
   }
   template <class Member>
   void below(Member const& member) {
      indent_ += 3;
      one("type", member.fwkType()->fullTypeName()).one("name", member.name());
      write(*this, member);
      indent_ -= 3;
   }
   void line(std::string const& attribute, std::string const& value) {
      text_ += std::string(indent_, ' ') + attribute + " " + value + "\n";
   }
   std::string const& text() const { return text_; }

 private:
   template <class Value>
   static std::string textOf(Value const& value) {
      if constexpr (requires { value->fullName(); }) {
         // A reference leads to an entity of the same tree, whose path begins elsewhere there.
         return value ? value->fwkType()->fullTypeName().str() + " " + value->name().str() : "none";
      } else {
         using Fen::valueToStrep;
         return valueToStrep(value).str();
      }
   }

   std::string text_;
   std::size_t indent_ = 0;
};

void write(Text& text, MountConfig const& e) {
   text.one("fencType", e.fencType())
      .one("mountFlags", e.mountFlags())
      .one("targetMountPath", e.targetMountPath());
}
void write(Text& text, MountFilterSystem const& e) {
   text.values("includedSystem", e.includedSystemIterator());
}
void write(Text& text, MountFilterServiceVersion const& e) {
   text.values("includedServiceVersion", e.includedServiceVersionIterator());
}
void write(Text& text, ServiceMountGroupConfig const& e) {
   text.one("versionFilter", e.versionFilter())
      .one("systemFilter", e.systemFilter())
      .one("preserveMountsOnDisconnect", e.preserveMountsOnDisconnect())
      .owned("mountConfig", e.mountConfigIterator());
}
void write(Text& text, ServiceMountConfig const& e) {
   text.owned("mountGroupConfig", e.mountGroupConfigIterator())
      .owned("versionFilter", e.versionFilterIterator())
      .owned("systemFilter", e.systemFilterIterator());
}

void write(Text& text, MountStatus const& e) {
   text.one("mountState", e.mountState()).one("mountedPath", e.mountedPath());
}
void write(Text& text, ServiceMountGroupStatus const& e) {
   text.one("mountState", e.mountState()).owned("mountStatus", e.mountStatusIterator());
}
void write(Text& text, SystemStatus const& e) {
   text.owned("serviceMountGroupStatus", e.serviceMountGroupStatusIterator());
}
void write(Text& text, MountedPathPrefix const& e) { text.one("pathPrefix", e.pathPrefix()); }
void write(Text& text, ServiceMountStatus const& e) {
   text.owned("mountedPathPrefix", e.mountedPathPrefixIterator())
      .owned("systemStatus", e.systemStatusIterator())
      .values("initialMountsComplete", e.initialMountsCompleteIterator());
}

void write(Text& text, PublishConfig const& e) {
   text.one("remotePath", e.remotePath())
      .one("fencType", e.fencType())
      .one("readyToPublish", e.readyToPublish());
}
void write(Text& text, PublishDir const& e) {
   text.one("fenType", e.fenType())
      .one("remoteTargetPath", e.remoteTargetPath())
      .one("readyToPublish", e.readyToPublish());
}
void write(Text& text, ServicePublishGroupConfig const& e) {
   text.one("versionFilter", e.versionFilter())
      .one("systemFilter", e.systemFilter())
      .owned("publishConfig", e.publishConfigIterator())
      .owned("publishDir", e.publishDirIterator());
}
void write(Text& text, ServicePublishConfig const& e) {
   text.owned("publishGroupConfig", e.publishGroupConfigIterator())
      .owned("versionFilter", e.versionFilterIterator())
      .owned("systemFilter", e.systemFilterIterator())
      .one("ready", e.ready());
}
void write(Text& text, PublishStatus const& e) { text.one("publishState", e.publishState()); }
void write(Text& text, ServicePublishGroupStatus const& e) {
   text.one("publishState", e.publishState()).owned("publishStatus", e.publishStatusIterator());
}
void write(Text& text, ServicePublishStatus const& e) {
   text.owned("servicePublishGroupStatus", e.servicePublishGroupStatusIterator());
}

void write(Text& text, ConnectionConfig const& e) {
   text.one("ip", e.ip())
      .one("port", e.port())
      .one("sockname", e.sockname())
      .one("sysname", e.sysname())
      .one("srcIp", e.srcIp());
}
void write(Text& text, ServiceConfigV1 const& e) { text.one("enabled", e.enabled()); }
void write(Text& text, ServiceVersionStatusV1 const& e) {
   text.one("versionNegotiationComplete", e.versionNegotiationComplete())
      .one("versionCompatible", e.versionCompatible())
      .one("negotiatedVersion", e.negotiatedVersion());
}
void write(Text& text, ServiceStatusV1 const& e) {
   text.one("enabled", e.enabled()).one("versionStatus", e.versionStatus());
}
void write(Text& text, ServiceStatusDir const& e) { text.owned("service", e.serviceIterator()); }

void write(Text&, ControllerConfig const&) {}
void write(Text& text, ControllerStatus const& e) {
   text.values("switchConfig", e.switchConfigIterator())
      .values("switchStatus", e.switchStatusIterator())
      .values("registeredSwitch", e.registeredSwitchIterator());
}
void write(Text& text, ServicePublishedInfo const& e) {
   text.values("publishedMount", e.publishedMountIterator())
      .one("serviceName", e.serviceName())
      .one("ready", e.ready());
}
void write(Text& text, SwitchConfig const& e) {
   text.one("systemId", e.systemId());
   if (auto const connection = e.connectionConfig()) {
      text.line("connectionConfig", "");
      text.below(*connection);
   }
   for (auto at = e.serviceConfigIterator(); at; ++at) {
      text.one("serviceConfig", at->key());
      if (auto const service = at->serviceConfig()) {
         text.below(*service);
      }
   }
   text.one("registrationGenId", e.registrationGenId()).one("enabled", e.enabled());
}
void write(Text& text, SwitchStatus const& e) {
   text.one("systemId", e.systemId())
      .one("controllerUUID", e.controllerUUID())
      .one("registrationGenId", e.registrationGenId());
   for (auto at = e.serviceStatusIterator(); at; ++at) {
      text.one("serviceStatus", at->key());
      if (auto const service = at->serviceStatus()) {
         text.below(*service);
      }
   }
   text.owned("servicePublishedInfo", e.servicePublishedInfoIterator())
      .one("clientShutdownAck", e.clientShutdownAck());
}

void write(Text& text, PeerTable const& e) { text.values("peer", e.peerIterator()); }
void write(Text& text, SystemPublishedMount const& e) {
   text.one("systemId", e.systemId()).values("publishedMount", e.publishedMountIterator());
}
void write(Text& text, PublishedMountsTable const& e) {
   text.owned("system", e.systemIterator())
      .values("servicePublishReady", e.servicePublishReadyIterator());
}
void write(Text& text, Heartbeat::Config const& e) { text.one("interval", e.interval()); }

/// Writes the entity when it is of one of these types.
template <class... Types>
bool writeAsOne(Text& text, Fen::Entity const& entity) {
   auto const as = [&](auto const* typed) {
      if (typed != nullptr) {
         text.below(*typed);
      }
      return typed != nullptr;
   };
   return (as(dynamic_cast<Types const*>(&entity)) || ...);
}

} // namespace

std::string treeText(Fen::Dir const& directory) {
   Text text;
   for (auto at = directory.entityPtrIterator(); at; ++at) {
      Fen::Entity const& member = *at;
      bool const known =
         writeAsOne<ServiceMountConfig, ServiceMountStatus, ServicePublishConfig,
                    ServicePublishStatus, ControllerConfig, ControllerStatus, SwitchConfig,
                    SwitchStatus, ServicePublishedInfo, ServiceStatusDir, ServiceVersionStatusV1,
                    PeerTable, SystemPublishedMount, PublishedMountsTable, Heartbeat::Config>(
            text, member);
      EXPECT_TRUE(known) << member.fwkType()->fullTypeName().str();
   }
   return text.text();
}

} // namespace ModelTest
