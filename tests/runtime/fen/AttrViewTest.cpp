// Reading of attributes by tools that do not know the types.

#include "HandWrittenEntity.h"

#include <gantry/runtime/fen/AttrView.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class Text : public Fen::AttrReader, public Fen::AttrMemberReader {
 public:
   void boolean(bool value) override { add(value ? "true" : "false"); }
   void signedNumber(std::int64_t value) override { add("s" + std::to_string(value)); }
   void unsignedNumber(std::uint64_t value) override { add("u" + std::to_string(value)); }
   void real(double value) override { add("r" + std::to_string(value)); }
   void text(Fen::String8 const& value) override { add("'" + std::string(value.view()) + "'"); }
   void none() override { add("none"); }
   void entity(Fen::String8 const& key, Fen::Ptr<Fen::Entity> const& member) override {
      add(std::string(key.view()) + "=" + std::string(member->name().view()));
   }
   void value(Fen::String8 const& key, void const*) override { add(std::string(key.view())); }

   std::string all;

 private:
   void add(std::string const& word) { all += (all.empty() ? "" : " ") + word; }
};

Fen::AttrView const& view(Fen::FenType* type, char const* attribute) {
   return *type->attribute(std::string_view(attribute))->view;
}

std::string value(Fen::Entity const& entity, char const* attribute) {
   Text reader;
   view(entity.fwkType(), attribute).value(entity, reader);
   return reader.all;
}

std::string members(Fen::Entity const& entity, char const* attribute) {
   Text reader;
   view(entity.fwkType(), attribute).members(entity, reader);
   return reader.all;
}

TEST(AttrView, ReadsScalarsAndReferences) {
   auto const chassis = Fen::makePtr<Sample::Chassis>("c");
   EXPECT_EQ(value(*chassis, "up"), "false");
   chassis->upIs(true);
   EXPECT_EQ(value(*chassis, "up"), "true");
   EXPECT_EQ(value(*chassis, "primary"), "none");
   auto const port = chassis->portIs("p1", "kind", "slot");
   chassis->primaryIs(port);
   EXPECT_EQ(value(*chassis, "primary"), "'" + std::string(port->fullName().view()) + "'");
   port->speedIs(7);
   EXPECT_EQ(value(*port, "speed"), "u7");
   EXPECT_EQ(value(*port, "label"), "''");
   // What an entity is constructed from is read like the rest; its name is the entity's own.
   EXPECT_EQ(value(*port, "kind"), "'kind'");
   EXPECT_EQ(value(*port, "slot"), "'slot'");
   EXPECT_EQ(port->fwkType()->attribute(std::string_view("portName"))->view, nullptr);
}

TEST(AttrView, ReadsCollectionsWithoutTheirTypes) {
   auto const chassis = Fen::makePtr<Sample::Chassis>("c");
   auto const port = chassis->portIs("p1", "kind", "slot");
   EXPECT_EQ(members(*chassis, "port"), "p1=p1");
   Fen::Name const key("p1");
   Fen::AttrView const& ports = view(chassis->fwkType(), "port");
   EXPECT_EQ(ports.keyText(&key), "p1");
   EXPECT_EQ(ports.member(*chassis, &key).ptr(), port.ptr());
   Fen::Name const absent("p2");
   EXPECT_FALSE(ports.member(*chassis, &absent));

   chassis->allowedIs("a", true);
   EXPECT_EQ(members(*chassis, "allowed"), "a");
   Fen::AttrView const& allowed = view(chassis->fwkType(), "allowed");
   Fen::String8 const known("a"), unknown("b");
   Text reader;
   EXPECT_TRUE(allowed.memberValue(*chassis, &known, reader));
   EXPECT_FALSE(allowed.memberValue(*chassis, &unknown, reader));
   EXPECT_EQ(reader.all, "true");

   chassis->peerIs(3, port);
   EXPECT_EQ(members(*chassis, "peer"), "3");
   std::uint32_t const number = 3;
   EXPECT_EQ(view(chassis->fwkType(), "peer").keyText(&number), "3");
}

} // namespace
