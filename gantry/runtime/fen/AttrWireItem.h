/// Plain attributes on the wire: values of constant length, texts, references. One object without
/// state for each attribute; see AttrWire.h.
#pragma once

#include <gantry/runtime/fen/AttrWireBase.h>

namespace Fen::AttrLog {

template <class Attr>
struct ScalarWire final : AttrWire {
   using Value = typename Attr::Value;
   constexpr ScalarWire() : AttrWire(Attr::id) {}

   void changed(Adapter& adapter, Entity& entity, void const*) const override {
      if (!adapter.mayWrite(Attr::id)) {
         return;
      }
      if (__builtin_expect(adapter.fenFlow() == nullptr && adapter.sendsNow(Attr::id), 1)) {
         write(adapter, entity);
      } else {
         itemChanged(adapter, entity);
      }
   }
   Sent dirtySend(Adapter& adapter, Entity& entity) const override {
      return itemDirtySend(adapter, entity);
   }
   Sent allSend(Adapter& adapter, Entity& entity) const override {
      write(adapter, entity);
      return Sent::all;
   }
   void allDirty(Adapter& adapter) const override { adapter.fenFlow()->dirtyIs(Attr::id, true); }
   void receive(Adapter& adapter, Entity& entity, NboAttrLog::In& in,
                Received const& received) const override {
      auto& owner = static_cast<typename Attr::Owner&>(entity);
      Value const value = Form<Value>::take(in);
      if (!received.apply) {
         changed(adapter, entity, nullptr);
         return;
      }
      if constexpr (!NboAttrLog::FixedLogForm<Value>) {
         adapter.fenHeld(Form<Value>::held(value), Form<Value>::held(Attr::field(owner)));
      }
      scalarIs<Attr>(owner, value);
   }

 protected:
   Sent itemSend(Adapter& adapter, Entity& entity) const override {
      write(adapter, entity);
      return Sent::all;
   }

 private:
   void write(Adapter& adapter, Entity& entity) const {
      Value const& value = Attr::field(static_cast<typename Attr::Owner&>(entity));
      if constexpr (NboAttrLog::FixedLogForm<Value>) {
         NboAttrLog::changePut<Value>(*adapter.nboAttrLogOut(), adapter.entityId(), Attr::id,
                                      value);
      } else {
         NboAttrLog::Out& out = begin(adapter);
         Form<Value>::put(out, value);
         end(out);
      }
   }
};

/// A text, which is cut into parts where it is long.
template <class Attr>
struct TextWire final : AttrWire {
   using Value = typename Attr::Value;
   constexpr TextWire() : AttrWire(Attr::id) {}

   void changed(Adapter& adapter, Entity& entity, void const*) const override {
      if (adapter.mayWrite(Attr::id)) {
         adapter.fenTextChanged(Attr::id, text(entity));
      }
   }
   Sent dirtySend(Adapter& adapter, Entity& entity) const override {
      return itemDirtySend(adapter, entity);
   }
   Sent allSend(Adapter& adapter, Entity& entity) const override {
      return itemSend(adapter, entity);
   }
   void allDirty(Adapter& adapter) const override { adapter.fenFlow()->dirtyIs(Attr::id, true); }
   void receive(Adapter& adapter, Entity& entity, NboAttrLog::In& in,
                Received const& received) const override {
      std::string_view whole;
      if (!adapter.fenTextReceived(Attr::id, in, whole)) {
         return;
      }
      if (!received.apply) {
         changed(adapter, entity, nullptr);
         return;
      }
      store(adapter, entity, whole);
   }
   void textIs(Adapter& adapter, Entity& entity, std::string_view whole) const override {
      store(adapter, entity, whole);
   }
   bool isText() const override { return true; }

 protected:
   Sent itemSend(Adapter& adapter, Entity& entity) const override {
      return adapter.fenTextSerialize(Attr::id, text(entity)) ? Sent::all : Sent::stopped;
   }

 private:
   static Value const& text(Entity& entity) {
      return Attr::field(static_cast<typename Attr::Owner&>(entity));
   }
   /// Compares before it makes a string: a text that comes again allocates nothing.
   static void store(Adapter& adapter, Entity& entity, std::string_view whole) {
      auto& owner = static_cast<typename Attr::Owner&>(entity);
      auto& field = Attr::field(owner);
      adapter.fenHeld(Form<Value>::held(whole), Form<Value>::held(field));
      if (field.view() != whole) {
         field = Value(whole);
         attrNotify<Attr>(owner);
      }
   }
};

/// A counted reference to an entity that somebody else owns.
template <class Attr>
struct ReferenceWire final : AttrWire {
   using Value = typename Attr::Value;
   using Target = typename Value::Element;
   constexpr ReferenceWire() : AttrWire(Attr::id) {}

   void changed(Adapter& adapter, Entity& entity, void const*) const override {
      if (adapter.mayWrite(Attr::id)) {
         itemChanged(adapter, entity);
      }
   }
   Sent dirtySend(Adapter& adapter, Entity& entity) const override {
      return itemDirtySend(adapter, entity);
   }
   Sent allSend(Adapter& adapter, Entity& entity) const override {
      Sent const sent = itemSend(adapter, entity);
      if (sent == Sent::later) {
         adapter.fenFlowIs().dirtyIs(Attr::id, true);
      }
      return sent;
   }
   void allDirty(Adapter& adapter) const override { adapter.fenFlow()->dirtyIs(Attr::id, true); }
   void receive(Adapter& adapter, Entity& entity, NboAttrLog::In& in,
                Received const& received) const override {
      Value const value = in.nextEntity<std::remove_const_t<Target>>();
      if (adapter.msgChannelEntry()) {
         adapter.msgChannelEntry()->modeIs(1);
      }
      if (received.apply) {
         scalarIs<Attr>(static_cast<typename Attr::Owner&>(entity), value);
      } else {
         changed(adapter, entity, nullptr);
      }
   }

 protected:
   Sent itemSend(Adapter& adapter, Entity& entity) const override {
      Value const& value = Attr::field(static_cast<typename Attr::Owner&>(entity));
      EntityId targetId;
      if (value && !(targetId = adapter.fenEntityId(*value))) {
         return Sent::later;
      }
      NboAttrLog::Out& out = begin(adapter);
      out << targetId;
      end(out);
      return Sent::all;
   }
};

} // namespace Fen::AttrLog
