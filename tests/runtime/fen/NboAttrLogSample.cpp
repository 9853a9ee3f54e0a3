// The type object and the log forms of the sample with every other kind of attribute.
#include "NboAttrLogSample.h"

namespace Sample {

Mood fenInstance(unsigned number, Mood const*) {
   if (number != moodCalm && number != moodBusy) {
      Fen::throwRangeException("Mood");
   }
   return static_cast<Mood>(number);
}

void operator<<(Fen::NboAttrLog::Out& out, Reading const& value) {
   out << value.sensor();
   out << value.degrees();
}
void operator>>(Fen::NboAttrLog::In& in, Reading& value) {
   Fen::Name sensor;
   double degrees = 0;
   in >> sensor;
   in >> degrees;
   value = Reading(sensor, degrees);
}

Fen::String8 valueToStrep(Reading const& value) {
   return Fen::valueToStrep(value.sensor()) + "," + Fen::valueToStrep(value.degrees());
}
Fen::String8 valueToStrep(Mood mood) { return Fen::valueToStrep(static_cast<unsigned>(mood)); }

Panel::~Panel() { Fen::recordsOrphan<PartAttr>(*this); }

void Panel::PartAttr::tell(Fen::PtrInterface::NotifieeConst& notifiee, Key const& key) {
   static_cast<Panel::Notifiee&>(notifiee).onPart(key);
}

namespace {

constexpr Fen::AttrDesc panelAttributes[] = {
   Fen::keyDesc<Panel, Fen::Name>(258, "panelName"),
   Fen::attrDesc<Panel::U16Attr>(),
   Fen::attrDesc<Panel::U64Attr>(),
   Fen::attrDesc<Panel::S32Attr>(),
   Fen::attrDesc<Panel::S64Attr>(),
   Fen::attrDesc<Panel::RatioAttr>(),
   Fen::attrDesc<Panel::MoodAttr>(),
   Fen::attrDesc<Panel::ReadingAttr>(),
   Fen::attrDesc<Panel::AliasAttr>(),
   Fen::attrDesc<Panel::SensorAttr>(),
   Fen::attrDesc<Panel::VersionAttr>(),
   Fen::attrDesc<Panel::PartAttr>(),
};
constexpr Fen::ParameterDesc panelParameters[] = {{"panelName", "Fen::Name"}};
constexpr Fen::TypeDesc panelType = {
   "Sample::Panel", Fen::TypeKind::entity,        &Fen::Entity::_fwkType,  panelAttributes,
   panelParameters, &Fen::newEntityByName<Panel>, Fen::entityWire<Panel>()};

} // namespace

Fen::FenType* Panel::_fwkType() {
   static Fen::FenType* const type = Fen::FenType::typeIs(panelType);
   return type;
}

} // namespace Sample
