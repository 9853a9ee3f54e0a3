/// The text forms of all values that the library's attributes have: what is written is read back,
/// and whatever else is read ends in a value or in RangeException, with the reader behind what it
/// took. Values and enumerations by their handles, too. GANTRY_TEST_LONG multiplies the number of
/// values.
#include "NamedAttributes.h"

#include <functional>
#include <set>
#include <sstream>

namespace LibraryTest {
namespace {

using Controller::MounterName;
using Controller::MountSm;
using Controller::PublishState;
using Fen::strepToValue;
using Fen::String8;

/// Whatever the text: a value that can be written and read again, or RangeException.
template <class T>
void survive(std::string const& text) {
   try {
      T const value = strepToValue<T>(String8(text));
      EXPECT_EQ(Fen::strepOf(strepToValue<T>(Fen::strepOf(value))), Fen::strepOf(value));
   } catch (Fen::RangeException const&) {
   }
}

template <class T>
void backFromText(T const& value) {
   String8 const text = Fen::strepOf(value);
   EXPECT_EQ(strepToValue<T>(text), value);
   T stored{};
   EXPECT_EQ(strepToValue<T>(text, &stored), value);
   EXPECT_EQ(stored, value);
   EXPECT_EQ(strepToValue<T>(text, nullptr), value);
   bool const isConst = random().number(2) == 0;
   Handle const handle = Fen::typeOf<T>()->genericIf(text, isConst);
   EXPECT_EQ(Fen::valueTaken<T>(*handle), value);
   EXPECT_EQ(handle->isConst(), isConst);
   EXPECT_EQ(handle->strRep(), text);
   EXPECT_EQ(handle->fwkType(), Fen::typeOf<T>());
   // White space in front is skipped, and the reader stops behind the value.
   String8 const more = String8(" \t\n") + text + "x 7";
   String8::IteratorConst at(more);
   EXPECT_EQ(Fen::sequenceToValue<T>(at, String8::IteratorConst(more, more.length())), value);
   EXPECT_EQ(at.position(), 3 + text.length());
}

/// What stands behind a value is refused, with its column and the whole text.
template <class T>
void junkRefused(T const& value) {
   String8 const text = Fen::strepOf(value) + "x";
   std::string const words =
      "junk at column " + std::to_string(text.length() - 1) + " deserializing " + text.str();
   expectRefusal<Fen::RangeException>(words, [&] { strepToValue<T>(text); });
   expectRefusal<Fen::RangeException>(words, [&] { Fen::typeOf<T>()->genericIf(text, false); });
   T kept = value;
   EXPECT_THROW(strepToValue<T>(text, &kept), Fen::RangeException);
   EXPECT_EQ(kept, value);
}

/// A number that is cut short is another number; all else is refused.
template <class T>
void truncated(T const& value) {
   std::string const text = Fen::strepOf(value).str();
   bool const isNumber = std::is_arithmetic_v<T> && !std::is_same_v<T, bool>;
   for (std::size_t length = 0; length < text.size(); ++length) {
      if (isNumber) {
         survive<T>(text.substr(0, length));
      } else {
         EXPECT_THROW(strepToValue<T>(String8(text.substr(0, length))), Fen::RangeException);
      }
   }
}

template <class T>
void damaged(T const& value) {
   std::string text = Fen::strepOf(value).str();
   for (int i = 0; i < 8; ++i) {
      std::size_t const at = random().number(text.size() + 1);
      auto const byte = static_cast<char>(random().number(256));
      switch (random().number(3)) {
      case 0:
         text.insert(at, 1, byte);
         break;
      case 1:
         text.erase(at, 1 + random().number(3));
         break;
      default:
         text.replace(at, at < text.size() ? 1 : 0, 1, byte);
      }
      survive<T>(text);
   }
   survive<T>(random().any<String8>().str());
}

template <class T>
void checkValue() {
   for (unsigned seed = 1; seed <= 150 * TestSupport::longFactor(); ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      randomSeedIs(seed);
      T const value = random().any<T>();
      backFromText(value);
      junkRefused(value);
      truncated(value);
      damaged(value);
      if (testing::Test::HasFailure()) {
         return;
      }
   }
}

struct ValueRow {
   char const* type;
   void (*check)();
};

template <class T>
ValueRow value() {
   return {Fen::TypeName<T>::name, &checkValue<T>};
}

std::vector<ValueRow> valueRows() {
   return {value<bool>(),
           value<std::int8_t>(),
           value<std::int16_t>(),
           value<std::int32_t>(),
           value<std::int64_t>(),
           value<std::uint8_t>(),
           value<std::uint16_t>(),
           value<std::uint32_t>(),
           value<std::uint64_t>(),
           value<double>(),
           value<String8>(),
           value<Fen::Name>(),
           value<Nimet::EthAddr>(),
           value<Nimet::IpAddr>(),
           value<Cairn::MountStatus>(),
           value<Controller::SystemId>(),
           value<Controller::MountState>(),
           value<Controller::MountDesc>(),
           value<Controller::NegotiatedVersion>(),
           value<MounterName>(),
           value<PublishState>(),
           value<MountSm::SmState>()};
}

void PrintTo(ValueRow const& row, std::ostream* out) { *out << row.type; }

class ValueText : public testing::TestWithParam<ValueRow> {};

TEST_P(ValueText, IsReadBackAndNothingElseDoesHarm) { GetParam().check(); }

std::string testName(testing::TestParamInfo<ValueRow> const& info) {
   std::string name = info.param.type;
   std::erase(name, ':');
   return name;
}

INSTANTIATE_TEST_SUITE_P(Library, ValueText, testing::ValuesIn(valueRows()), testName);

TEST(ValueTextTest, EveryTypeWithATextFormIsTried) {
   std::set<std::string> tried, known;
   for (ValueRow const& each : valueRows()) {
      tried.insert(each.type);
   }
   for (Fen::FenType const* each : Fen::FenType::types()) {
      if (each->form() != nullptr) {
         known.insert(each->fullTypeName().str());
         EXPECT_EQ(each->baseType(), nullptr) << "only objects have bases: " << each->name();
      }
   }
   EXPECT_EQ(tried, known);
}

// ---- fields ------------------------------------------------------------------------------------

/// A field by its name in a handle on a value, and by its accessors in the value.
template <auto Get, auto Set>
void checkField(char const* name, Fen::AttributeId id) {
   using Value = typename Accessor<decltype(Get)>::Owner;
   using Field = typename Accessor<decltype(Get)>::Result;
   for (unsigned seed = 1; seed <= 20; ++seed) {
      randomSeedIs(seed);
      Value value = random().any<Value>();
      Handle const handle = Fen::genericIf(value);
      EXPECT_EQ(handle->attributeId(name), id);
      EXPECT_EQ(Fen::valueTaken<Field>(*handle->get(name)), (value.*Get)());
      Field const field = random().any<Field>();
      handle->set(name, handleFor(field));
      (value.*Set)(field);
      EXPECT_EQ(Fen::valueTaken<Value>(*handle), value);
      EXPECT_EQ(Fen::valueTaken<Value>(*handle->get("value")), value);
      EXPECT_EQ(handle->strRep(), Fen::strepOf(value));
      // A const handle on the value gives and keeps it.
      Handle const fixed = Fen::genericIf(value, true);
      EXPECT_EQ(fixed->get(name)->strRep(), Fen::strepOf(field));
      EXPECT_THROW(fixed->set(name, handleFor(field)), Fen::ConstException);
      expectRefusal<Fen::TypeException>(name, [&] { handle->set(name, nullptr); });
      expectRefusal<Fen::BadIndexAttrException>(name, [&] { handle->get(name, handleFor(field)); });
      for (unsigned const operation : {size, version, contains, del, 255u}) {
         expectRefusal<Fen::OpNotSupportedException>(std::string(name) + ": operation " +
                                                        std::to_string(operation),
                                                     [&] { operate(handle, name, operation); });
      }
   }
}

TEST(ValueFields, ByNameAsByAccessor) {
   using Controller::MountDesc;
   using Controller::NegotiatedVersion;
   checkField<&MounterName::serviceName, &MounterName::serviceNameIs>("serviceName", 258);
   checkField<&MounterName::groupName, &MounterName::groupNameIs>("groupName", 259);
   checkField<&MountDesc::controllerdbPath, &MountDesc::controllerdbPathIs>("controllerdbPath",
                                                                            258);
   checkField<&MountDesc::remotePath, &MountDesc::remotePathIs>("remotePath", 259);
   checkField<&MountDesc::fenType, &MountDesc::fenTypeIs>("fenType", 260);
   checkField<&MountDesc::mountFlags, &MountDesc::mountFlagsIs>("mountFlags", 261);
   checkField<&MountDesc::serviceName, &MountDesc::serviceNameIs>("serviceName", 262);
   checkField<&NegotiatedVersion::version, &NegotiatedVersion::versionIs>("version", 258);
   checkField<&NegotiatedVersion::description, &NegotiatedVersion::descriptionIs>("description",
                                                                                  259);
}

// ---- enumerations ------------------------------------------------------------------------------

/// An enumeration of the numbers from 0 on, by the functions that it offers.
template <class Enumeration>
struct EnumerationCheck {
   char const* name;
   char const* fallback;
   std::vector<char const*> texts;
   Fen::FenType* type;
   std::function<Enumeration(unsigned)> byNumber;
   std::function<Enumeration(String8)> byText;

   void numbersAndTexts() const {
      for (unsigned number = 0; number < texts.size(); ++number) {
         Enumeration const value = byNumber(number);
         EXPECT_EQ(static_cast<unsigned>(value), number);
         EXPECT_EQ(byText(texts[number]), value);
         EXPECT_EQ(stringValue(value), texts[number]);
         EXPECT_EQ(valueToStrep(value), String8("'") + texts[number] + "'");
         std::ostringstream stream;
         stream << value;
         EXPECT_EQ(stream.str(), texts[number]);
      }
   }
   void others() const {
      auto const refused = [this](auto const& act) {
         expectRefusal<Fen::RangeException>(name, act);
      };
      for (unsigned const number : {static_cast<unsigned>(texts.size()), 99u, 0x7fffffffu}) {
         refused([&] { byNumber(number); });
         auto const value = static_cast<Enumeration>(number);
         String8 const text = Fen::format(fallback, static_cast<int>(number));
         EXPECT_EQ(stringValue(value), text);
         EXPECT_EQ(valueToStrep(value), String8("'") + text + "'");
         // It can be written, and is not read back.
         refused([&] { strepToValue<Enumeration>(valueToStrep(value)); });
      }
      refused([&] { byNumber(0xffffffffu); });
      std::string const first = texts[0];
      for (std::string const& text : {std::string(), first + " ", " " + first, first.substr(1),
                                      std::string(1, '\0') + first, std::string("0")}) {
         refused([&] { byText(String8(text)); });
         refused([&] { strepToValue<Enumeration>(Fen::valueToStrep(String8(text))); });
      }
   }
   void handles() const {
      EXPECT_EQ(type->name(), name);
      Enumeration const value = byNumber(1);
      Handle const handle = type->genericIf(valueToStrep(value), false);
      EXPECT_EQ(handle->fwkType(), type);
      EXPECT_EQ(handle->attributeId("value"), 1);
      EXPECT_EQ(handle->attributeId("Value"), 0);
      EXPECT_EQ(handle->attributeId(texts[1]), 0);
      for (Fen::AttributeId const id : {0, 2, 6, 258, -1}) {
         expectRefusal<Fen::UnknownAttrException>(
            name, [&] { handle->attributeOp(GenericIf::AttributeOp(id, get), {}, {}); });
      }
      // Whatever is asked for, a copy is given: there is nothing else to be done.
      for (unsigned const operation : {get, size, set, del, 77u}) {
         Handle const copy = handle->attributeOp(GenericIf::AttributeOp(1, operation), {}, {});
         EXPECT_NE(copy, handle);
         EXPECT_EQ(Fen::valueTaken<Enumeration>(*copy), value);
         EXPECT_EQ(copy->strRep(), valueToStrep(value));
      }
      Handle const fixed = type->genericIf(valueToStrep(value), true);
      EXPECT_EQ(fixed->attributeOp(GenericIf::AttributeOp(1, get), {}, {})->strRep(),
                valueToStrep(value));
      expectRefusal<Fen::ConstException>("attempting to modify a const instance", [&] {
         fixed->attributeOp(GenericIf::AttributeOp(1, del), {}, {});
      });
      EXPECT_EQ(*static_cast<Enumeration const*>(handle->convertedTo(type)), value);
      expectRefusal<Fen::TypeException>(name,
                                        [&] { handle->convertedTo(Fen::Entity::_fwkType()); });
   }
   void run() const {
      numbersAndTexts();
      others();
      handles();
   }
};

TEST(Enumerations, PublishState) {
   EnumerationCheck<PublishState>{
      "PublishState",
      "PublishState(%d)",
      {"publishStateInvalid", "publishStateComplete"},
      Controller::_fwkType_PublishState(),
      [](unsigned number) { return Controller::PublishStateInstance(number); },
      [](String8 text) { return Controller::PublishStateInstance(text); }}
      .run();
   EXPECT_EQ(Controller::_fwkType_PublishState()->fullTypeName(), "Controller::PublishState");
}

TEST(Enumerations, SmState) {
   // The text of an unknown number has the outer class in front, the refusals have not.
   EnumerationCheck<MountSm::SmState>{
      "SmState",
      "MountSm::SmState(%d)",
      {"stateIdle", "stateMount", "stateRemount", "statePreservingUnmount", "stateUnmount"},
      MountSm::_fwkType_SmState(),
      [](unsigned number) { return MountSm::SmStateInstance(number); },
      [](String8 text) { return MountSm::SmStateInstance(text); }}
      .run();
   EXPECT_EQ(MountSm::_fwkType_SmState()->fullTypeName(), "Controller::MountSm::SmState");
}

TEST(Enumerations, MountState) {
   EnumerationCheck<Controller::MountState>{
      "MountState",
      "MountState(%d)",
      {"mountStateUnmounted", "mountStatePending", "mountStateMounting", "mountStateFailed",
       "mountStateMounted", "mountStateUnmounting"},
      Controller::_fwkType_MountState(),
      [](unsigned number) { return Controller::MountStateInstance(number); },
      [](String8 text) { return Controller::MountStateInstance(text); }}
      .run();
   EXPECT_EQ(Controller::_fwkType_MountState()->fullTypeName(), "Controller::MountState");
}

// ---- MounterName -------------------------------------------------------------------------------

/// The outcome of reading: the two names, or the refusal's words.
std::string readName(std::string const& text) {
   try {
      MounterName const name = strepToValue<MounterName>(String8(text));
      return name.serviceName().str() + "|" + name.groupName().str();
   } catch (Fen::RangeException const& exception) {
      return exception.text().str();
   }
}

std::string expected(char const* token, unsigned column, std::string const& text) {
   return "\"" + std::string(token) + "\" expected at column " + std::to_string(column) +
          " deserializing " + text;
}

TEST(MounterNameText, IsWrittenInOneForm) {
   MounterName const name("s'", "g\n");
   char const* const text =
      "Value('Controller::MounterName', ** {'serviceName': 's\\'', 'groupName': 'g\\n'})";
   EXPECT_EQ(valueToStrep(name), text);
   std::ostringstream stream;
   stream << name;
   EXPECT_EQ(stream.str(), text);
   EXPECT_EQ(name.fwkType(), MounterName::_fwkType());
   EXPECT_EQ(MounterName::_fwkType()->fullTypeName(), "Controller::MounterName");
}

TEST(MounterNameText, IsReadInManyForms) {
   std::string const head = "Value('Controller::MounterName', ** {";
   EXPECT_EQ(readName(head + "})"), "|");
   EXPECT_TRUE(!strepToValue<MounterName>(String8(head + "})")));
   EXPECT_EQ(readName(head + "'serviceName': 's', 'groupName': 'g'})"), "s|g");
   EXPECT_EQ(readName(head + "'groupName': 'g', 'serviceName': 's'})"), "s|g");
   EXPECT_EQ(readName(head + "'serviceName': 's'})"), "s|");
   EXPECT_EQ(readName(head + "'groupName': 'g'})"), "|g");
   EXPECT_EQ(readName(head + "'groupName': 'g', 'groupName': 'h'})"), "|h");
   // White space wherever a token has a blank, and nowhere else.
   EXPECT_EQ(readName("\tValue\n( 'Controller::MounterName' ,  ** {\n'serviceName' \t:\n's' ,  "
                      "'groupName':'g' } )\n"),
             "s|g");
   EXPECT_EQ(readName("Value('Controller::MounterName',**{'serviceName':'s','groupName':'g'})"),
             "s|g");
}

TEST(MounterNameText, RefusesWithTheColumn) {
   auto const refusedAt = [](char const* token, unsigned column, std::string const& text) {
      EXPECT_EQ(readName(text), expected(token, column, text));
   };
   refusedAt(" Value", 0, "");
   refusedAt(" Value", 2, "  value('Controller::MounterName', ** {})");
   refusedAt(" (", 5, "Value'Controller::MounterName', ** {})");
   refusedAt(" 'Controller::MounterName'", 13, "Value('ControLler::MounterName', ** {})");
   refusedAt(" ,", 32, "Value('Controller::MounterName' ** {})");
   refusedAt(" **", 34, "Value('Controller::MounterName', * {})");
   refusedAt(" {", 35, "Value('Controller::MounterName', **})");
   std::string const head = "Value('Controller::MounterName', ** {"; // 37 characters
   refusedAt(", ", 55, head + "'serviceName': 's''groupName': 'g'})");
   refusedAt(" : ", 51, head + "'serviceName' 's'})");
   refusedAt(") ", 38, head + "}");
   refusedAt(") ", 38, head + "}]");
   // A comma must stand in front of a field, and no comma in front of the first or the brace.
   std::string const late = head + "'groupName': 'g', })";
   EXPECT_EQ(readName(late), "text in single quotes expected at column 55 deserializing " + late);
   std::string const early = head + ", 'groupName': 'g'})";
   EXPECT_EQ(readName(early), "text in single quotes expected at column 37 deserializing " + early);
}

TEST(MounterNameText, RefusesInItsOwnWords) {
   std::string const head = "Value('Controller::MounterName', ** {";
   std::string const premature = "premature end of value type MounterName";
   EXPECT_EQ(readName(head), premature);
   EXPECT_EQ(readName(head + " \n"), premature);
   EXPECT_EQ(readName(head + "'serviceName': 's'"), premature);
   EXPECT_EQ(readName(head + "'serviceName': 's' "), premature);
   // The end behind a comma is missed by the reader of the key.
   std::string const comma = head + "'serviceName': 's', ";
   EXPECT_EQ(readName(comma), "text in single quotes expected at column 57 deserializing " + comma);
   std::string const unknown = "MounterName has no such attribute: ";
   EXPECT_EQ(readName(head + "'name': 's'})"), unknown + "name");
   EXPECT_EQ(readName(head + "'ServiceName': 's'})"), unknown + "ServiceName");
   EXPECT_EQ(readName(head + "'': 's'})"), unknown);
   // The key is judged before its value is looked at.
   EXPECT_EQ(readName(head + "'name': 7"), unknown + "name");
   EXPECT_EQ(readName(head + "'serviceName': 's', 'name' :"), unknown + "name");
   std::string const number = head + "'serviceName': 7})";
   EXPECT_EQ(readName(number),
             "text in single quotes expected at column 52 deserializing " + number);
   for (char const* const tail : {"x", "x ", ")", "7"}) {
      std::string const text = head + "} ) " + tail;
      EXPECT_EQ(readName(text), "junk at column 41 deserializing " + text);
   }
   // The whole text is told, also behind a NUL.
   std::string const long_ = head + "})\n" + std::string("a\0b", 3);
   EXPECT_EQ(readName(long_), "junk at column 40 deserializing " + long_);
}

TEST(MounterNameText, TheFieldReaderTakesThePresentValueForWhatIsNotMentioned) {
   MounterName const preset("s", "g");
   String8 const text("Value('Controller::MounterName', ** {'groupName': 'h'}) rest");
   String8::IteratorConst at(text);
   String8::IteratorConst const end(text, text.length());
   EXPECT_EQ(Fen::deserializeAttr(at, end, preset, "mounterName"), MounterName("s", "h"));
   EXPECT_EQ(text.view().substr(at.position()), "rest");
   EXPECT_EQ(preset, MounterName("s", "g"));
   String8 const plain("'x'");
   String8::IteratorConst from(plain);
   EXPECT_EQ(Fen::deserializeAttr(from, String8::IteratorConst(plain, 3), String8("p"), "name"),
             "x");
   // A range that ends early ends there, whatever the text goes on with.
   String8::IteratorConst again(text);
   EXPECT_THROW(MounterName(again, String8::IteratorConst(text, 37)), Fen::RangeException);
}

} // namespace
} // namespace LibraryTest
