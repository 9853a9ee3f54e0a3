/// What every attribute and every type of entity can do on the wire: the interfaces, and how
/// entities are written and built. AttrWire.h says how the parts go together.
#pragma once

#include <gantry/runtime/fen/AttributeRules.h>
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/NboAttrLogFlowState.h>
#include <gantry/runtime/fen/StreamAdapter.h>

#include <tuple>

namespace Fen {

/// How far a send has come.
enum class Sent : std::uint8_t {
   /// Everything is out.
   all,
   /// Something stays dirty because what it points at has no id; the flush goes on.
   later,
   /// The output is full or the budget used up: the flush stops here.
   stopped,
};

/// The operations of one attribute on the wire.
struct GANTRY_EXPORT AttrWire {
   using Adapter = Entity::FenNboAttrLogSa;
   using AttrTransactionType = StreamAdapter::AttrTransactionType;

   /// What the header of a received message said.
   struct Received {
      bool removal = false;
      std::uint32_t recordKind = 0;
      /// Where a list in front of the items says that the constructor parameters end, else 0.
      std::size_t parametersEnd = 0;
      /// False when the value is only read, and the entity's own sent back.
      bool apply = true;
   };

   /// The attribute has changed, a collection at `key`.
   virtual void changed(Adapter& adapter, Entity& entity, void const* key) const = 0;
   /// Sends what is dirty.
   virtual Sent dirtySend(Adapter& adapter, Entity& entity) const = 0;
   /// Sends everything.
   virtual Sent allSend(Adapter& adapter, Entity& entity) const = 0;
   /// Notes everything as dirty.
   virtual void allDirty(Adapter& adapter) const = 0;
   /// Reads the items of a message and applies them.
   virtual void receive(Adapter& adapter, Entity& entity, NboAttrLog::In& in,
                        Received const& received) const = 0;
   /// A transaction on the attribute begins, ends or is void.
   virtual void transaction(Adapter& adapter, Entity& entity, AttrTransactionType type) const;
   /// Notes an owned entity's place as dirty, though nothing may be written at this moment. `key`
   /// is that of the record that owned it, null elsewhere.
   virtual void memberDirty(Adapter& adapter, Entity const& member, void const* key) const;
   /// A text that came in parts is whole.
   virtual void textIs(Adapter& adapter, Entity& entity, std::string_view whole) const;
   /// Calls `visit` for each entity that the attribute owns.
   virtual void forEachOwned(Entity& entity, void (*visit)(Entity& owned, void* context),
                             void* context) const;
   /// Whether the flow keeps a state of its own for it.
   virtual bool isCollection() const;
   virtual bool isText() const;

   AttributeId id;

 protected:
   explicit constexpr AttrWire(AttributeId attributeId) : id(attributeId) {}
   ~AttrWire() = default;
   /// The walk of an attribute that is one item: send now, or keep it dirty.
   Sent itemDirtySend(Adapter& adapter, Entity& entity) const;

   /// Sends the one item of a plain attribute.
   virtual Sent itemSend(Adapter& adapter, Entity& entity) const;
   void itemChanged(Adapter& adapter, Entity& entity) const;
   /// Begins a message of this attribute up to and with the opening token.
   NboAttrLog::Out& begin(Adapter& adapter, bool removal = false) const {
      return adapter.fenMessageBegin(removal ? -id : id, 0);
   }
   static bool end(NboAttrLog::Out& out) {
      out.transactTokenIs(Connection::Out::TransactToken::close);
      return out.messageEnd();
   }
};

/// How entities of one type travel: name and constructor parameters, and the adapter.
struct GANTRY_EXPORT EntityWire {
   using Adapter = Entity::FenNboAttrLogSa;

   /// Name and constructor parameters, in constructor order.
   virtual void parametersPut(NboAttrLog::Out& out, Entity const& entity) const = 0;
   /// Reads them and builds the entity; `as` replaces the name that was sent.
   virtual Ptr<Entity> newEntity(NboAttrLog::In& in, Name const* as) const = 0;
   /// Whether an existing entity has the constructor parameters of the wanted one.
   virtual bool matches(Entity& existing, Entity const& wanted) const = 0;
   /// The bytes that an entity of this type holds when it is new.
   virtual std::size_t bytes(Entity const& entity) const = 0;
   virtual Ptr<Adapter> newAdapter(Adapter::Birth const& birth) const = 0;

   /// Finds the wire of an entity by its type, null when it stays on its node.
   static EntityWire const* of(Entity const& entity);

 protected:
   constexpr EntityWire() = default;
   ~EntityWire() = default;
};

namespace AttrLog {

/// Whether values of a type have a log form.
template <class T>
concept Travels = NboAttrLog::FixedLogForm<T> || std::derived_from<T, String8> ||
   requires(NboAttrLog::Out& out, NboAttrLog::In& in, T& value) {
   operator<<(out, std::as_const(value));
   operator>>(in, value);
};

/// Whether entities of a type say what they are constructed from.
template <class T>
concept Constructible = requires(T const& entity) {
   entity.fenParameters();
};

/// Whether a collection of values that carry their key says where: `Attr::keyOf( value )`.
template <class Attr>
concept KeyInValue = requires(typename Attr::Member::Value const& value) {
   Attr::keyOf(value);
};

template <class T>
concept PointsAtEntity = std::is_base_of_v<Entity, std::remove_const_t<typename T::Element>>;

template <class T>
using Form = NboAttrLog::LogForm<T>;

// ---- entities --------------------------------------------------------------------------------

template <class Type>
struct EntityWireOf final : EntityWire {
   using Parameters = decltype(std::declval<Type const&>().fenParameters());
   template <std::size_t N>
   using Parameter = std::decay_t<std::tuple_element_t<N, Parameters>>;
   static constexpr std::size_t count = std::tuple_size_v<Parameters>;

   void parametersPut(NboAttrLog::Out& out, Entity const& entity) const override {
      std::apply([&out](auto const&... each) { (put(out, each), ...); }, parameters(entity));
   }
   Ptr<Entity> newEntity(NboAttrLog::In& in, Name const* as) const override {
      return made(in, as, std::make_index_sequence<count>());
   }
   bool matches(Entity& existing, Entity const& wanted) const override {
      auto* const typed = dynamic_cast<Type*>(&existing);
      if (typed == nullptr) {
         return false;
      }
      try {
         Expect const expect(Exception::Id::nameInUse);
         std::apply(
            [typed](auto const& first, auto const&... rest) {
               // The first is the name as a rule, which is how the existing one was found.
               if constexpr (requires { typed->fenParametersMatch(first, rest...); }) {
                  typed->fenParametersMatch(first, rest...);
               } else {
                  typed->fenParametersMatch(rest...);
               }
            },
            parameters(wanted));
         return true;
      } catch (NameInUseException const&) {
         return false;
      }
   }
   std::size_t bytes(Entity const& entity) const override {
      return sizeof(Type) + sizeof(typename Type::FenNboAttrLogSa) +
             std::apply([](auto const&... each) { return (std::size_t{0} + ... + held(each)); },
                        parameters(entity));
   }
   Ptr<Adapter> newAdapter(Adapter::Birth const& birth) const override {
      return makePtr<typename Type::FenNboAttrLogSa>(birth);
   }

 private:
   static Parameters parameters(Entity const& entity) {
      return static_cast<Type const&>(entity).fenParameters();
   }
   template <class T>
   static void put(NboAttrLog::Out& out, T const& value) {
      Form<T>::put(out, value);
   }
   template <class T>
   static std::size_t held(T const& value) {
      return Form<T>::held(value);
   }
   template <std::size_t... N>
   static Ptr<Entity> made(NboAttrLog::In& in, [[maybe_unused]] Name const* as,
                           std::index_sequence<N...>) {
      // Braces: the items are read in order.
      std::tuple<Parameter<N>...> values{Form<Parameter<N>>::take(in)...};
      if constexpr (std::is_constructible_v<Parameter<0>, Name> &&
                    std::derived_from<Parameter<0>, String8>) {
         if (as != nullptr) {
            std::get<0>(values) = Parameter<0>(*as);
         }
      }
      return makePtr<Type>(std::get<N>(values)...);
   }
};

template <class Type>
inline constexpr EntityWireOf<Type> entityWireOf{};

} // namespace AttrLog
} // namespace Fen
