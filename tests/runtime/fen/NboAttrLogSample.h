/// An entity with the kinds of attributes that the other hand-written ones do not have, in the
/// shape that the schema compiler emits: numbers of every width, an enumeration, a value type,
/// values that carry their key, a collection keyed by number, and records. For the tests of the
/// log.
#pragma once

#include "HandWrittenEntity.h"

#include <gantry/runtime/fen/RecordMember.h>

namespace Sample {

enum Mood : std::uint32_t { moodCalm = 0, moodBusy = 3 };
Mood fenInstance(unsigned number, Mood const*);

/// A value with its own log form.
class Reading {
 public:
   Reading() = default;
   Reading(Fen::Name sensor, double degrees) : sensor_(sensor), degrees_(degrees) {}
   Fen::Name const& sensor() const { return sensor_; }
   double degrees() const { return degrees_; }
   bool operator==(Reading const&) const = default;

 private:
   Fen::Name sensor_;
   double degrees_ = 0;
};
void operator<<(Fen::NboAttrLog::Out& out, Reading const& value);
void operator>>(Fen::NboAttrLog::In& in, Reading& value);
Fen::String8 valueToStrep(Reading const& value);
Fen::String8 valueToStrep(Mood mood);

} // namespace Sample

template <>
struct Fen::TypeName<Sample::Mood> {
   static constexpr char const* name = "Sample::Mood";
};
template <>
struct Fen::TypeName<Sample::Reading> {
   static constexpr char const* name = "Sample::Reading";
};

namespace Sample {

/// One plain attribute: its traits in one line.
template <class OwnerType, class ValueType, Fen::AttributeId number, ValueType OwnerType::*member>
struct PlainAttr {
   using Owner = OwnerType;
   using Value = ValueType;
   static constexpr Fen::AttrKind kind = Fen::AttrKind::scalar;
   static constexpr Fen::AttributeId id = number;
   static constexpr char const* name = "plain";
   static Value& field(Owner& owner) { return owner.*member; }
   static void tell(Fen::PtrInterface::NotifieeConst&) {}
};

class Panel : public Fen::Entity {
 public:
   static constexpr char const* fenFullTypeName = "Sample::Panel";
   explicit Panel(Fen::Name const& panelName) : Fen::Entity(panelName) {}

   std::uint16_t u16 = 0;
   std::uint64_t u64 = 0;
   std::int32_t s32 = 0;
   std::int64_t s64 = 0;
   double ratio = 0;
   Mood mood = moodCalm;
   Reading reading;
   Fen::Name alias;

   using Owner = Panel;
   using U16Attr = PlainAttr<Panel, std::uint16_t, 259, &Panel::u16>;
   using U64Attr = PlainAttr<Panel, std::uint64_t, 260, &Panel::u64>;
   using S32Attr = PlainAttr<Panel, std::int32_t, 261, &Panel::s32>;
   using S64Attr = PlainAttr<Panel, std::int64_t, 262, &Panel::s64>;
   using RatioAttr = PlainAttr<Panel, double, 263, &Panel::ratio>;
   using MoodAttr = PlainAttr<Panel, Mood, 264, &Panel::mood>;
   using ReadingAttr = PlainAttr<Panel, Reading, 265, &Panel::reading>;
   using AliasAttr = PlainAttr<Panel, Fen::Name, 266, &Panel::alias>;

   /// Stores and notifies, as the setter of that attribute does.
   template <class Attr>
   void set(typename Attr::Value const& value) {
      Fen::scalarIs<Attr>(*this, value);
   }

   using FenSensor = Fen::ValueMember<Fen::Name, Reading>;
   struct SensorAttr {
      using Owner = Panel;
      using Key = Fen::Name;
      using Member = FenSensor;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::keyedValueCollection;
      static constexpr Fen::AttributeId id = 267;
      static constexpr char const* name = "sensor";
      static Fen::HashMap<FenSensor, Fen::Name>& field(Owner& owner) { return owner.sensor_; }
      static Fen::Name const& keyOf(Reading const& value) { return value.sensor(); }
      static void tell(Fen::PtrInterface::NotifieeConst&, Key const&) {}
   };
   void sensorIs(Reading const& value) {
      Fen::valueMemberIs<SensorAttr>(*this, value.sensor(), value);
   }
   void sensorDel(Fen::Name const& key) { Fen::valueMemberDel<SensorAttr>(*this, key); }
   int sensors() const { return sensor_.size(); }
   Reading sensor(Fen::Name const& key) const { return Fen::memberValue<SensorAttr>(*this, key); }

   using FenVersion = Fen::ValueMember<std::uint32_t, bool>;
   struct VersionAttr {
      using Owner = Panel;
      using Key = std::uint32_t;
      using Member = FenVersion;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::valueCollection;
      static constexpr Fen::AttributeId id = 268;
      static constexpr char const* name = "version";
      static Fen::HashMap<FenVersion, std::uint32_t>& field(Owner& owner) { return owner.version_; }
      static void tell(Fen::PtrInterface::NotifieeConst&, Key const&) {}
   };
   void versionIs(std::uint32_t key, bool value) {
      Fen::valueMemberIs<VersionAttr>(*this, key, value);
   }
   void versionDel(std::uint32_t key) { Fen::valueMemberDel<VersionAttr>(*this, key); }
   int versions() const { return version_.size(); }

   class FenPart : public Fen::RecordMember<Panel, Fen::Name, Chassis> {
    public:
      using RecordMember::RecordMember;
      Fen::Ptr<Chassis> part() const { return fenChild(); }
      Fen::Ptr<Chassis> partIs(Fen::Name const& name) { return fenChildIs(name); }
      void partDel() { fenChildDel(); }
   };
   struct PartAttr {
      using Owner = Panel;
      using Key = Fen::Name;
      using Member = FenPart;
      static constexpr Fen::AttrKind kind = Fen::AttrKind::recordCollection;
      static constexpr Fen::AttributeId id = 269;
      static constexpr char const* name = "part";
      static Fen::HashMap<FenPart, Fen::Name>& field(Owner& owner) { return owner.part_; }
      static void tell(Fen::PtrInterface::NotifieeConst& notifiee, Key const& key);
   };
   using PartIterator = Fen::MemberIterator<PartAttr>;
   Fen::Ptr<FenPart> part(Fen::Name const& key) const { return part_.find(key); }
   Fen::Ptr<FenPart> partIs(Fen::Name const& key) { return Fen::recordIs<PartAttr>(*this, key); }
   Fen::Ptr<FenPart> partDel(Fen::Name const& key) { return Fen::recordDel<PartAttr>(*this, key); }
   void partDelAll() { Fen::memberDelAll<PartAttr>(*this); }
   int parts() const { return part_.size(); }
   PartIterator partIterator() { return PartIterator(*this); }

   /// Is told of the parts alone.
   class Notifiee : public Fen::Entity::Notifiee {
    public:
      using NotifierType = Panel;
      virtual void onPart(Fen::Name) {}

    protected:
      explicit Notifiee(Fen::Ptr<Panel> const& panel) { fenNotifierStore(panel.ptr()); }
   };

   static Fen::FenType* _fwkType();
   Fen::FenType* fwkType() const override { return _fwkType(); }
   void fenParametersMatch() const {}
   auto fenParameters() const { return std::make_tuple(name()); }

 protected:
   ~Panel() override;

 private:
   Fen::HashMap<FenSensor, Fen::Name> sensor_;
   Fen::HashMap<FenVersion, std::uint32_t> version_;
   Fen::HashMap<FenPart, Fen::Name> part_;
};

} // namespace Sample
