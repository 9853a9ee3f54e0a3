/// One mount's log: what arrives. Everything is a stranger's until it has been checked.
#include <gantry/runtime/fen/Counters.h>
#include <gantry/runtime/fen/FenType.h>
#include <gantry/runtime/fen/NboAttrLogFlow.h>
#include <gantry/runtime/fen/NboAttrLogTables.h>

namespace Fen::NboAttrLog {

using Adapter = Entity::FenNboAttrLogSa;

namespace {

constexpr std::size_t shortestMessage = messageHeaderBytes + 2;

} // namespace

void Demuxer::receive(FrameKind kind, std::uint8_t* payload, std::size_t bytes) {
   if (closed_) {
      return;
   }
   Ptr<Demuxer> const kept(this);
   std::uint64_t const crowdedBefore = HashMapGeneric::crowdedInsertions();
   try {
      if (bytes > limits_.message) {
         refuse(Refusal::oversized, format("a frame of %zu bytes", bytes));
      }
      in_->bytesAre(payload, bytes);
      receiveFrame(kind, payload, bytes);
      if (HashMapGeneric::crowdedInsertions() != crowdedBefore) {
         refuse(Refusal::crowded, "the keys of a collection collide beyond reason");
      }
   } catch (ProtocolException const&) {
      close();
      throw;
   } catch (AttrLogEntityException const& exception) {
      close();
      refuse(Refusal::wrongEntity, exception.text());
   } catch (Exception const& exception) {
      // A value that its own type does not take.
      close();
      refuse(Refusal::malformed, exception.text());
   }
}

void Demuxer::receiveFrame(FrameKind kind, std::uint8_t const* payload, std::size_t bytes) {
   switch (kind) {
   case FrameKind::message:
      receiveMessage(payload, bytes);
      return;
   case FrameKind::transaction:
      receiveTransaction();
      return;
   case FrameKind::synchronised:
      receiveSynchronised();
      return;
   default:
      refuse(Refusal::unknownFrame, format("frame kind %u", static_cast<unsigned>(kind)));
   }
}

void Demuxer::receiveMessage(std::uint8_t const* payload, std::size_t bytes) {
   using Token = Connection::Out::TransactToken;
   if (bytes < shortestMessage) {
      refuse(Refusal::malformed, "a message without its header or tokens");
   }
   MsgHeader const header = in_->nextHeader();
   if (header.firstFlag != 1 || header.reservedWord != 0 || header.lastFlag != 0 ||
       in_->nextU8() != static_cast<std::uint8_t>(Token::open) ||
       payload[bytes - 1] != static_cast<std::uint8_t>(Token::close)) {
      refuse(Refusal::malformed, "a message without its header or tokens");
   }
   EntityId const id = header.entityId;
   AttributeId const attribute = header.attributeId;
   std::uint32_t const recordKind = header.recordKind;
   if (id == orphanEntityId) {
      if (attribute != orphanAttributeId || recordKind != 0) {
         refuse(Refusal::malformed, "a root is created by its own attribute alone");
      }
      receiveOrphan();
      return;
   }
   Ptr<Adapter> const adapter(adapterNamed(id));
   if (!adapter) {
      messageToGone();
      return;
   }
   adapter->handleAttrDeserialization(attribute, StreamAdapter::DeserializationOptions::none,
                                      recordKind, nullptr);
   if (!closed_) {
      requireEnd(1);
   }
}

/// The entity has gone on this side, which the peer did not know when it wrote.
void Demuxer::messageToGone() {
   static Counter& late = Counters::counter("wire.messages_to_gone_entities");
   late.increment();
}

void Demuxer::requireEnd(std::size_t left) const {
   if (in_->left() != left) {
      refuse(Refusal::malformed, "a message is longer than its items");
   }
}

void Demuxer::receiveOrphan() {
   if (isSource_ || rootAdapter_ != nullptr) {
      refuse(Refusal::outOfOrder, "a root where there is one");
   }
   std::string_view const typeName = in_->nextText();
   FenType const* const type = FenType::type(typeName);
   if (type == nullptr || type->wire() == nullptr) {
      refuse(Refusal::unknownType, String8("no type is named ") + String8(typeName));
   }
   if (type_ != nullptr && type != type_) {
      refuse(Refusal::wrongType,
             String8("the root is a ") + String8(typeName) + ", not a " + type_->fullTypeName());
   }
   Ptr<Entity> const wanted = type->wire()->newEntity(*in_, &name_);
   EntityId const id = in_->nextEntityId();
   requireCreatable(id);
   if (isOwnId(id)) {
      refuse(Refusal::duplicateEntity, "the root has an id of this side");
   }
   requireEnd(1);
   Ptr<Entity> const root = rootPlaced(wanted, *type->wire());
   if (closed_) {
      return;
   }
   Ptr<Adapter> const adapter = adapterIs(root, id, nullptr);
   rootAdapter_ = adapter.ptr();
   adapter->fenHeld(type->wire()->bytes(*root), 0);
}

/// Puts the root into its place, or adopts what stands there.
Ptr<Entity> Demuxer::rootPlaced(Ptr<Entity> const& wanted, EntityWire const& wire) {
   if (wanted->name() != name_) {
      refuse(Refusal::notApplicable, "the root's name is not free to choose");
   }
   if (Ptr<Entity> const existing = directory_->entityPtr(name_)) {
      if (existing->fwkType() == wanted->fwkType() && wire.matches(*existing, *wanted)) {
         return existing;
      }
      directory_->entityPtrDel(name_);
   }
   try {
      Expect const expect(Exception::Id::any);
      directory_->entityPtrIs(wanted);
   } catch (Exception const& exception) {
      refuse(Refusal::notApplicable, exception.text());
   }
   if (!closed_ && directory_->entityPtr(name_) != wanted) {
      refuse(Refusal::notApplicable, "the root was taken away when it had come");
   }
   return wanted;
}

void Demuxer::receiveTransaction() {
   EntityId const id = in_->nextEntityId();
   AttributeId const attribute = in_->nextint();
   std::uint8_t const type = in_->nextU8();
   std::uint32_t const n = in_->nextU32();
   requireEnd(0);
   using Type = StreamAdapter::AttrTransactionType;
   if (type > static_cast<std::uint8_t>(Type::end)) {
      refuse(Refusal::malformed, format("a transaction of type %u", type));
   }
   Ptr<Adapter> const adapter(adapterNamed(id));
   if (adapter) {
      adapter->handleAttrTransaction(attribute, static_cast<Type>(type), n);
   } else {
      messageToGone();
   }
}

void Demuxer::receiveSynchronised() {
   requireEnd(0);
   if (isSource_ || synchronised_ || rootAdapter_ == nullptr) {
      refuse(Refusal::outOfOrder, "the end of a synchronisation that is not under way");
   }
   synchronised_ = true;
   if (user_ != nullptr) {
      user_->handleSynchronised(*this);
   }
}

} // namespace Fen::NboAttrLog
