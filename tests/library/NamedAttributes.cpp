/// The refusals that all attributes of a kind share, and the values of the run.
#include "NamedAttributes.h"

namespace LibraryTest {

namespace {

TestSupport::RandomValues theRandom(0);

} // namespace

TestSupport::RandomValues& random() { return theRandom; }
void randomSeedIs(unsigned seed) { theRandom = TestSupport::RandomValues(seed); }

void expectNotSupported(Subject const& subject, char const* name,
                        std::initializer_list<unsigned> operations, Key const& key) {
   for (unsigned const operation : operations) {
      try {
         operate(subject.handle, name, operation, key);
         ADD_FAILURE() << "operation " << operation << " was carried out";
      } catch (Fen::OpNotSupportedException const& exception) {
         EXPECT_EQ(exception.attribute(), name);
         EXPECT_EQ(exception.operation(), operation);
         EXPECT_EQ(exception.text(), Fen::format("%s: operation %u", name, operation));
      }
   }
}

void expectConst(Subject const& subject, char const* name) {
   for (unsigned const operation : {set, del, 130u, 255u}) {
      for (Key const& key : {Key(), handleFor(random().any<Fen::String8>())}) {
         expectRefusal<Fen::ConstException>("attempting to modify a const instance", [&] {
            operate(subject.fixed, name, operation, key, key);
         });
      }
   }
}

void expectNoKey(Subject const& subject, char const* name) {
   for (unsigned const operation : {get, size, contains, 100u, set, del, 300u}) {
      expectRefusal<Fen::BadIndexAttrException>(name, [&] {
         operate(subject.handle, name, operation, handleFor(random().any<Fen::String8>()));
      });
   }
}

void expectOnlyRead(Subject const& subject, char const* name) {
   expectNotSupported(subject, name, {size, version, contains, 4, 127, set, del, 130, 255, 256});
   expectNoKey(subject, name);
   expectConst(subject, name);
}

void expectCollection(Subject const& subject, char const* name, Key const& key) {
   expectConst(subject, name);
   expectNotSupported(subject, name, {4, 127, 130, 255, 256});
   expectNotSupported(subject, name, {4, 127, 130, 255, 256}, key);
   for (unsigned const operation : {get, contains}) {
      expectRefusal<Fen::TypeException>("fen_index",
                                        [&] { operate(subject.handle, name, operation); });
      expectRefusal<Fen::TypeException>("List", [&] {
         operate(subject.handle, name, operation, Fen::makePtr<GenericIf::List_>());
      });
   }
   expectMembers(subject, name,
                 Fen::valueTaken<std::uint32_t>(*operate(subject.handle, name, size)));
}

void expectContains(Subject const& subject, char const* name, Key const& key, bool isThere) {
   for (Handle const& handle : {subject.handle, subject.fixed}) {
      EXPECT_EQ(operate(handle, name, contains, key)->strRep(), isThere ? "True" : "False");
   }
}

void expectMembers(Subject const& subject, char const* name, std::uint32_t count) {
   EXPECT_EQ(operate(subject.fixed, name, size)->strRep(), Fen::strepOf(count));
   struct Walk {
      Subject const& subject;
      char const* name;
      std::uint32_t found;
   } walk{subject, name, 0};
   auto const* const object = dynamic_cast<Fen::GenericIfPtrInterface const*>(subject.fixed.ptr());
   object->forEachKey(
      object->attributeId(name),
      [](void* context, Key const& key) {
         auto& each = *static_cast<Walk*>(context);
         ++each.found;
         EXPECT_EQ(operate(each.subject.fixed, each.name, contains, key)->strRep(), "True");
      },
      &walk);
   EXPECT_EQ(walk.found, count);
}

void expectListRefused(Subject const& subject, char const* name, Key const& key, Key const& list) {
   auto const refused = [&](char const* words, Key const& value) {
      expectRefusal<Fen::TypeException>(words,
                                        [&] { operate(subject.handle, name, set, key, value); });
   };
   refused(name, nullptr);
   refused("List", Fen::genericIf(true));
   auto const& items = GenericIf::List_::of(list).items();
   auto more = items;
   more.push_back(Fen::genericIf(true));
   refused("List", Fen::makePtr<GenericIf::List_>(more));
   if (!items.empty()) {
      auto less = items;
      less.pop_back();
      refused("List", Fen::makePtr<GenericIf::List_>(less));
      less.push_back(nullptr);
      refused("List", Fen::makePtr<GenericIf::List_>(less));
   }
}

} // namespace LibraryTest
