/// Entities written by hand in exactly the shape that the schema compiler emits, for the tests of
/// the runtime's rules. Schema:
///
///    namespace Sample;
///    entity Port( portName: Name key, kind: String8, slot: String8 ) {
///       speed: u32;
///       label: String8;
///    }
///    entity Chassis( chassisName: Name key ) {
///       up:       bool;
///       primary:  ref Port;
///       console:  owns Port2;               // a single owned child
///       port:     owns Port[ portName ];
///       allowed:  bool[ String8 ];
///       peer:     ref Port const[ u32 ];
///    }
#pragma once

#include <gantry/runtime/fen/Attribute.h>
#include <gantry/runtime/fen/Dir.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/MemberIterator.h>

namespace Sample {

class Port : public Fen::Entity {
 public:
   static constexpr char const* fenFullTypeName = "Sample::Port";
   class NotifieeConst;
   class Notifiee;
   class FenNboAttrLogSa;

   Port(Fen::Name const& portName, Fen::String8 const& kind, Fen::String8 const& slot);

   Fen::Name portName() const { return name(); }
   Fen::String8 kind() const { return kind_; }
   Fen::String8 slot() const { return slot_; }

   std::uint32_t speed() const { return speed_; }
   void speedIs(std::uint32_t speed);

   Fen::String8 label() const { return label_; }
   void labelIs(Fen::String8 const& label);

   static Fen::FenType* _fwkType();
   Fen::FenType* fwkType() const override;
   Fen::String8 attributeString(Fen::AttributeId id) const override;

   void fenParametersMatch(Fen::String8 const& kind, Fen::String8 const& slot) const;
   auto fenParameters() const { return std::make_tuple(portName(), kind(), slot()); }

   struct FenSpeedAttr {
      using Owner = Port;
      using Value = std::uint32_t;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
      static constexpr Fen::AttributeId id = 261;
      static constexpr char const* name = "speed";
      static Value& field(Owner& owner) { return owner.speed_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };
   struct FenLabelAttr {
      using Owner = Port;
      using Value = Fen::String8;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
      static constexpr Fen::AttributeId id = 262;
      static constexpr char const* name = "label";
      static Value& field(Owner& owner) { return owner.label_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };

 protected:
   ~Port() override;

 private:
   Fen::String8 kind_;
   Fen::String8 slot_;
   std::uint32_t speed_{};
   Fen::String8 label_{};
};

class Port::NotifieeConst : public Fen::Entity::NotifieeConst {
 public:
   using NotifierType = Port const;

   virtual void onSpeed();
   virtual void onLabel();

   Fen::Ptr<Port const> notifier() const;

 protected:
   NotifieeConst();
   explicit NotifieeConst(Fen::Ptr<Port const> const& notifier);
   ~NotifieeConst() override;
};

class Port::Notifiee : public Port::NotifieeConst {
 public:
   using NotifierType = Port;

   Fen::Ptr<Port> notifier() const;

 protected:
   Notifiee();
   explicit Notifiee(Fen::Ptr<Port> const& notifier);
   ~Notifiee() override;
};

class Chassis : public Fen::Entity {
 public:
   static constexpr char const* fenFullTypeName = "Sample::Chassis";
   class NotifieeConst;
   class Notifiee;
   class FenNboAttrLogSa;

   explicit Chassis(Fen::Name const& chassisName);

   Fen::Name chassisName() const { return name(); }

   bool up() const { return up_; }
   void upIs(bool up);

   Fen::Ptr<Port> primary() const { return primary_; }
   void primaryIs(Fen::Ptr<Port> const& primary);

   Fen::Ptr<Port> console() const { return console_; }
   Fen::Ptr<Port> consoleIs(Fen::Name const& portName, Fen::String8 const& kind,
                            Fen::String8 const& slot);
   Fen::Ptr<Port> consoleDel();

   using PortMap = Fen::HashMap<Port, Fen::Name>;
   struct FenPortAttr;
   using PortIterator = Fen::MemberIterator<FenPortAttr>;
   using PortIteratorConst = Fen::MemberIteratorConst<FenPortAttr>;
   Fen::Ptr<Port> port(Fen::Name const& portName) const;
   Fen::Ptr<Port> portIs(Fen::Name const& portName, Fen::String8 const& kind,
                         Fen::String8 const& slot);
   Fen::Ptr<Port> newPort(Fen::Name const& portName, Fen::String8 const& kind,
                          Fen::String8 const& slot);
   Fen::Ptr<Port> portDel(Fen::Name const& portName);
   void portDelAll();
   void portNotify(Fen::Name const& portName, Fen::Ptr<Port> const& member);
   std::uint32_t ports() const { return static_cast<std::uint32_t>(port_.size()); }
   PortIterator portIterator();
   PortIteratorConst portIteratorConst() const;

   using FenAllowed = Fen::ValueMember<Fen::String8, bool>;
   using AllowedMap = Fen::HashMap<FenAllowed, Fen::String8>;
   struct FenAllowedAttr;
   using AllowedIterator = Fen::MemberIterator<FenAllowedAttr>;
   bool allowed(Fen::String8 const& key) const;
   void allowedIs(Fen::String8 const& key, bool value);
   Fen::Ptr<FenAllowed> newAllowed(Fen::String8 const& key, bool value);
   Fen::Ptr<FenAllowed> allowedDel(Fen::String8 const& key);
   void allowedDelAll();
   void allowedNotify(Fen::String8 const& key, Fen::Ptr<FenAllowed> const& member);
   AllowedIterator allowedIterator();

   using FenPeer = Fen::ValueMember<std::uint32_t, Fen::Ptr<Port const>>;
   using PeerMap = Fen::HashMap<FenPeer, std::uint32_t>;
   struct FenPeerAttr;
   Fen::Ptr<Port const> peer(std::uint32_t key) const;
   Fen::Ptr<FenPeer> fenPeer(std::uint32_t key) const;
   void peerIs(std::uint32_t key, Fen::Ptr<Port const> const& value);
   Fen::Ptr<FenPeer> newPeer(std::uint32_t key, Fen::Ptr<Port const> const& value);
   Fen::Ptr<FenPeer> peerDel(std::uint32_t key);

   static Fen::FenType* _fwkType();
   Fen::FenType* fwkType() const override;
   Fen::String8 attributeString(Fen::AttributeId id) const override;

   void fenParametersMatch() const {}
   auto fenParameters() const { return std::make_tuple(chassisName()); }

   struct FenUpAttr {
      using Owner = Chassis;
      using Value = bool;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
      static constexpr Fen::AttributeId id = 259;
      static constexpr char const* name = "up";
      static Value& field(Owner& owner) { return owner.up_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };
   struct FenPrimaryAttr {
      using Owner = Chassis;
      using Value = Fen::Ptr<Port>;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::reference;
      static constexpr Fen::AttributeId id = 260;
      static constexpr char const* name = "primary";
      static Value& field(Owner& owner) { return owner.primary_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };
   struct FenConsoleAttr {
      using Owner = Chassis;
      using Member = Port;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::child;
      static constexpr Fen::AttributeId id = 261;
      static constexpr char const* name = "console";
      static Fen::Ptr<Port>& field(Owner& owner) { return owner.console_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee);
   };
   struct FenPortAttr {
      using Owner = Chassis;
      using Key = Fen::Name;
      using Member = Port;
      using Map = PortMap;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::ownedCollection;
      static constexpr Fen::AttributeId id = 262;
      static constexpr char const* name = "port";
      static Map& field(Owner& owner) { return owner.port_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee, Key const& key);
   };
   struct FenAllowedAttr {
      using Owner = Chassis;
      using Key = Fen::String8;
      using Member = FenAllowed;
      using Map = AllowedMap;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::valueCollection;
      static constexpr Fen::AttributeId id = 263;
      static constexpr char const* name = "allowed";
      static Map& field(Owner& owner) { return owner.allowed_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee, Key const& key);
   };
   struct FenPeerAttr {
      using Owner = Chassis;
      using Key = std::uint32_t;
      using Member = FenPeer;
      using Map = PeerMap;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::referenceCollection;
      static constexpr Fen::AttributeId id = 264;
      static constexpr char const* name = "peer";
      static Map& field(Owner& owner) { return owner.peer_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee, Key const& key);
   };

 protected:
   ~Chassis() override;

 private:
   bool up_{};
   Fen::Ptr<Port> primary_{};
   Fen::Ptr<Port> console_{};
   PortMap port_;
   AllowedMap allowed_;
   PeerMap peer_;
};

class Chassis::NotifieeConst : public Fen::Entity::NotifieeConst {
 public:
   using NotifierType = Chassis const;

   virtual void onUp();
   virtual void onPrimary();
   virtual void onConsole();
   virtual void onPort(Fen::Name key);
   virtual void onPortfenImmediate();
   virtual void onPort();
   virtual void onAllowed(Fen::String8 key);
   virtual void onAllowedfenImmediate();
   virtual void onAllowed();
   virtual void onPeer(std::uint32_t key);
   virtual void onPeerfenImmediate();
   virtual void onPeer();

   Fen::Ptr<Chassis const> notifier() const;

 protected:
   NotifieeConst();
   explicit NotifieeConst(Fen::Ptr<Chassis const> const& notifier);
   ~NotifieeConst() override;
};

class Chassis::Notifiee : public Chassis::NotifieeConst {
 public:
   using NotifierType = Chassis;

   Fen::Ptr<Chassis> notifier() const;

 protected:
   Notifiee();
   explicit Notifiee(Fen::Ptr<Chassis> const& notifier);
   ~Notifiee() override;
};

/// Streams a Port over the attribute log; the base does it all by the table of attributes.
class Port::FenNboAttrLogSa : public Fen::Entity::FenNboAttrLogSa {
 public:
   using Fen::Entity::FenNboAttrLogSa::FenNboAttrLogSa;

   void onSpeed() { attributeChanged(FenSpeedAttr::id); }
   void onLabel() { attributeChanged(FenLabelAttr::id); }
   bool fenHandleLabelSerialize() { return fenAttributeSerialize(FenLabelAttr::id); }

   /// What a flow of this type holds back, by name.
   class FlowOut : public Fen::NboAttrLog::FlowOutView {
    public:
      using Fen::NboAttrLog::FlowOutView::FlowOutView;
      bool fenIsSpeedDirty() const { return isDirty(FenSpeedAttr::id); }
      void fenIsSpeedDirtyIs(bool dirty) { dirtyIs(FenSpeedAttr::id, dirty); }
      bool fenIsLabelDirty() const { return isDirty(FenLabelAttr::id); }
      void fenIsLabelDirtyIs(bool dirty) { dirtyIs(FenLabelAttr::id, dirty); }
   };

 protected:
   ~FenNboAttrLogSa() override;
};

class Chassis::FenNboAttrLogSa : public Fen::Entity::FenNboAttrLogSa {
 public:
   using Fen::Entity::FenNboAttrLogSa::FenNboAttrLogSa;

   void onUp() { attributeChanged(FenUpAttr::id); }
   void onPrimary() { attributeChanged(FenPrimaryAttr::id); }
   void onConsole() { attributeChanged(FenConsoleAttr::id); }
   Fen::Ptr<Fen::Entity::FenNboAttrLogSa>
   consoleNboAttrLogAdapter(Fen::Ptr<Port> const& member) const {
      return fenMemberAdapter(member);
   }
   void onPort(Fen::Name key) { attributeChanged(FenPortAttr::id, &key); }
   bool fenHandlePortSerializeColl() { return fenAttributeSerialize(FenPortAttr::id); }
   void fenHandlePortSerializeSing(Fen::Name key, Fen::Ptr<Port> const&, bool) { onPort(key); }
   Fen::Ptr<Fen::Entity::FenNboAttrLogSa>
   portNboAttrLogAdapter(Fen::Ptr<Port> const& member) const {
      return fenMemberAdapter(member);
   }
   Fen::Ptr<Fen::Entity::FenNboAttrLogSa> portNboAttrLogAdapterIs(Fen::Ptr<Port> const& member) {
      Fen::Name const key(member->fwkKey());
      return fenMemberAdapterIs(FenPortAttr::id, member, &key);
   }
   void portNboAttrLogAdapterDel(Fen::Ptr<Port> const& member) { fenMemberAdapterDel(member); }
   void onAllowed(Fen::String8 key) { attributeChanged(FenAllowedAttr::id, &key); }
   bool fenHandleAllowedSerializeColl() { return fenAttributeSerialize(FenAllowedAttr::id); }
   void fenHandleAllowedSerializeSing(Fen::String8 key, bool, bool) { onAllowed(key); }
   void onPeer(std::uint32_t key) { attributeChanged(FenPeerAttr::id, &key); }
   bool fenHandlePeerSerializeColl() { return fenAttributeSerialize(FenPeerAttr::id); }
   void fenHandlePeerSerializeSing(std::uint32_t key, Fen::Ptr<Port const> const&, bool) {
      onPeer(key);
   }

   class FlowOut : public Fen::NboAttrLog::FlowOutView {
    public:
      using Fen::NboAttrLog::FlowOutView::FlowOutView;
      bool fenIsUpDirty() const { return isDirty(FenUpAttr::id); }
      void fenIsUpDirtyIs(bool dirty) { dirtyIs(FenUpAttr::id, dirty); }
      bool fenIsPrimaryDirty() const { return isDirty(FenPrimaryAttr::id); }
      void fenIsPrimaryDirtyIs(bool dirty) { dirtyIs(FenPrimaryAttr::id, dirty); }
      bool fenIsConsoleDirty() const { return isDirty(FenConsoleAttr::id); }
      void fenIsConsoleDirtyIs(bool dirty) { dirtyIs(FenConsoleAttr::id, dirty); }
      bool fenPortHasSynced() const { return hasSynced(FenPortAttr::id); }
      bool fenIsPortDirty(Fen::Name key) const {
         return isKeyDirty<Fen::Name>(FenPortAttr::id, key);
      }
      bool fenAllowedHasSynced() const { return hasSynced(FenAllowedAttr::id); }
      bool fenIsAllowedDirty(Fen::String8 key) const {
         return isKeyDirty<Fen::String8>(FenAllowedAttr::id, key);
      }
      bool fenPeerHasSynced() const { return hasSynced(FenPeerAttr::id); }
      bool fenIsPeerDirty(std::uint32_t key) const {
         return isKeyDirty<std::uint32_t>(FenPeerAttr::id, key);
      }
   };

 protected:
   ~FenNboAttrLogSa() override;
};

} // namespace Sample
