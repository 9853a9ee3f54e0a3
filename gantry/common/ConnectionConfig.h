/// Where a peer can be reached. Owned by whoever configures the connection; its readers hold it by
/// pointer and watch it. Lives on the activity loop's thread.
#pragma once

#include <gantry/runtime/fen/Attribute.h>
#include <gantry/runtime/fen/Dir.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/nimet/IpAddr.h>

namespace Controller {

class GANTRY_EXPORT ConnectionConfig : public Fen::Entity {
 public:
   static constexpr char const* fenFullTypeName = "Controller::ConnectionConfig";
   class NotifieeConst;
   class Notifiee;

   explicit ConnectionConfig(Fen::Name const& name);

   Nimet::IpAddr ip() const { return ip_; }
   void ipIs(Nimet::IpAddr const& ip);

   std::uint16_t port() const { return port_; }
   void portIs(std::uint16_t port);

   Fen::String8 sockname() const { return sockname_; }
   void socknameIs(Fen::String8 const& sockname);

   Fen::String8 sysname() const { return sysname_; }
   void sysnameIs(Fen::String8 const& sysname);

   Nimet::IpAddr srcIp() const { return srcIp_; }
   void srcIpIs(Nimet::IpAddr const& srcIp);

   /// Whether the fields can be used to reach the peer: it has an address and a port.
   bool isValid() const;

   static Fen::FenType* _fwkType();
   Fen::FenType* fwkType() const override;
   Fen::String8 attributeString(Fen::AttributeId id) const override;

   void fenParametersMatch() const {}

   struct FenIpAttr {
      using Owner = ConnectionConfig;
      using Value = Nimet::IpAddr;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
      static constexpr Fen::AttributeId id = 259;
      static constexpr char const* name = "ip";
      static Value& field(Owner& owner) { return owner.ip_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };
   struct FenPortAttr {
      using Owner = ConnectionConfig;
      using Value = std::uint16_t;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
      static constexpr Fen::AttributeId id = 260;
      static constexpr char const* name = "port";
      static Value& field(Owner& owner) { return owner.port_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };
   struct FenSocknameAttr {
      using Owner = ConnectionConfig;
      using Value = Fen::String8;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
      static constexpr Fen::AttributeId id = 261;
      static constexpr char const* name = "sockname";
      static Value& field(Owner& owner) { return owner.sockname_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };
   struct FenSysnameAttr {
      using Owner = ConnectionConfig;
      using Value = Fen::String8;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
      static constexpr Fen::AttributeId id = 262;
      static constexpr char const* name = "sysname";
      static Value& field(Owner& owner) { return owner.sysname_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };
   struct FenSrcIpAttr {
      using Owner = ConnectionConfig;
      using Value = Nimet::IpAddr;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
      static constexpr Fen::AttributeId id = 263;
      static constexpr char const* name = "srcIp";
      static Value& field(Owner& owner) { return owner.srcIp_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };

 protected:
   ~ConnectionConfig() override;

 private:
   Nimet::IpAddr ip_{};
   std::uint16_t port_{};
   Fen::String8 sockname_{};
   Fen::String8 sysname_{};
   Nimet::IpAddr srcIp_{};
};

class GANTRY_EXPORT ConnectionConfig::NotifieeConst : public Fen::Entity::NotifieeConst {
 public:
   using NotifierType = ConnectionConfig const;

   virtual void onIp();
   virtual void onPort();
   virtual void onSockname();
   virtual void onSysname();
   virtual void onSrcIp();

   Fen::Ptr<ConnectionConfig const> notifier() const;

 protected:
   NotifieeConst();
   explicit NotifieeConst(Fen::Ptr<ConnectionConfig const> const& notifier);
   ~NotifieeConst() override;
};

class GANTRY_EXPORT ConnectionConfig::Notifiee : public ConnectionConfig::NotifieeConst {
 public:
   using NotifierType = ConnectionConfig;

   Fen::Ptr<ConnectionConfig> notifier() const;

 protected:
   Notifiee();
   explicit Notifiee(Fen::Ptr<ConnectionConfig> const& notifier);
   ~Notifiee() override;
};

GANTRY_EXPORT Fen::Ptr<ConnectionConfig> connectionConfigFactory(Fen::Name const& name);

} // namespace Controller
