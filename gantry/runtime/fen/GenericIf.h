/// Generic access: a handle on one instance (an entity, a machine, a value) that offers its
/// attributes by name and id to tools that do not know its type. Handles are made by type objects
/// (FenType::genericIf) and counted; one on an object holds the object, one on a value holds a copy
/// of the value.
///
/// All of it runs on the activity loop's thread. It is for tools: each call makes handles, and none
/// of it costs an entity anything that nobody looks at.
#pragma once

#include <gantry/runtime/fen/Entity.h>
#include <gantry/runtime/fen/Exception.h>

#include <utility>
#include <vector>

namespace Fen {

struct AttrAccess;
class AttrReader;

/// A key was given for an attribute that has none. The text is the attribute's name.
class GANTRY_EXPORT BadIndexAttrException : public Exception {
 public:
   explicit BadIndexAttrException(String8 attribute) : Exception(Id::badIndexAttr, attribute) {}
   ~BadIndexAttrException() override;
};

/// The attribute does not know the operation. The text is the attribute's name and the number.
class GANTRY_EXPORT OpNotSupportedException : public Exception {
 public:
   OpNotSupportedException(String8 attribute, unsigned operation);
   ~OpNotSupportedException() override;

   String8 attribute() const { return attribute_; }
   unsigned operation() const { return operation_; }

 private:
   String8 attribute_;
   unsigned operation_;
};

/// A handle is missing or of a wrong type. The text says which: "fen_index" for a key, "List" for
/// arguments, the attribute's name for a value, the handle's type where it cannot be converted.
class GANTRY_EXPORT TypeException : public Exception {
 public:
   explicit TypeException(String8 what) : Exception(Id::type, what) {}
   ~TypeException() override;
};

/// The type has no attribute of that id. The text is the type's name.
class GANTRY_EXPORT UnknownAttrException : public Exception {
 public:
   explicit UnknownAttrException(String8 type) : Exception(Id::unknownAttr, type) {}
   ~UnknownAttrException() override;
};

class GANTRY_EXPORT GenericIf : public PtrInterface::NotifieeConst {
 public:
   class List_;

   /// What can be done with an attribute. Operations from 128 to 255 change the instance.
   enum Operation : unsigned {
      operationGet = 0,
      operationSize = 1,
      operationVersion = 2,
      operationContains = 3,
      operationSet = 128,
      operationDelete = 129,
   };

   /// An attribute and what is to be done with it.
   class AttributeOp {
    public:
      AttributeOp(AttributeId attributeId, unsigned operation)
         : attributeId_(attributeId), operation_(operation) {}

      AttributeId attributeId() const { return attributeId_; }
      unsigned operation() const { return operation_; }
      bool isChange() const { return operation_ >= 128 && operation_ <= 255; }

    private:
      AttributeId attributeId_;
      unsigned operation_;
   };

   /// Hears of the changes of what a handle is on. Whoever has one must take it off the handle
   /// before it goes.
   class GANTRY_EXPORT Listener {
    public:
      /// The key is null for what is no collection, and when all attributes are told.
      virtual void onAttribute(GenericIf& handle, AttributeId id,
                               Ptr<GenericIf const> const& key) = 0;

    protected:
      ~Listener() = default;
   };

   /// Such an id in front of a notification means all attributes of the type.
   static constexpr AttributeId allAttributesId = -1;
   static constexpr AttributeId allAttributesImmediateId = -2;
   /// Of the one attribute, "value", that enumerations and values without fields have.
   static constexpr AttributeId valueAttributeId = 1;

   /// Whether the instance may not be changed through this handle.
   bool isConst() const { return isConst_; }

   /// The type of the instance.
   FenType* fwkType() const override;
   /// The instance as that type: a PtrInterface, which may be null, or a value of the type. Good
   /// while the handle lives. Throws TypeException when it is not of that type.
   virtual void const* convertedTo(FenType const* type) const;
   /// The id of an attribute, 0 when the type has none of that name.
   virtual AttributeId attributeId(String8 name) const;
   /// Carries out an operation and returns the result's handle, null when there is no result. The
   /// refusals are GenericIf's exceptions and what the accessor of the attribute throws.
   virtual Ptr<GenericIf> attributeOp(AttributeOp const& operation, Ptr<GenericIf const> const& key,
                                      Ptr<GenericIf const> const& value);
   /// Another handle on the same object, or on a copy of the value.
   virtual Ptr<GenericIf> clone() const = 0;
   /// The text form of the instance.
   virtual String8 strRep() const = 0;
   /// Gives the instance to a reader by what it is: truth, number, text or nothing.
   virtual void valueRead(AttrReader& reader) const = 0;

   /// The attribute by its name: what a tool does for a user. An unknown name raises
   /// UnknownAttrException.
   Ptr<GenericIf> get(String8 name, Ptr<GenericIf const> const& key = nullptr);
   void set(String8 name, Ptr<GenericIf const> const& value);

   [[noreturn]] static void throwConstException();
   [[noreturn]] static void throwBadIndexAttrException(String8 attribute);
   [[noreturn]] static void throwOpNotSupportedException(String8 attribute, unsigned operation);
   [[noreturn]] static void throwTypeException(String8 what);
   [[noreturn]] static void throwUnknownAttrException(String8 type);

 protected:
   explicit GenericIf(bool isConst) : NotifieeConst(Kind::generic), isConst_(isConst) {}
   ~GenericIf() override;

 private:
   AttributeId attributeIdOrThrow(String8 name) const;

   bool const isConst_;
};

/// The arguments of a call: what find-or-create of an owned entity takes behind its key.
class GANTRY_EXPORT GenericIf::List_ : public GenericIf {
 public:
   List_() : GenericIf(false) {}
   explicit List_(std::vector<Ptr<GenericIf const>> items)
      : GenericIf(false), items_(std::move(items)) {}

   std::vector<Ptr<GenericIf const>> const& items() const { return items_; }
   void itemEnq(Ptr<GenericIf const> const& item) { items_.push_back(item); }
   /// The list behind a handle; throws TypeException "List" for any other handle, and for null.
   static List_ const& of(Ptr<GenericIf const> const& handle);

   FenType* fwkType() const override;
   Ptr<GenericIf> clone() const override;
   String8 strRep() const override;
   void valueRead(AttrReader& reader) const override;

 protected:
   ~List_() override;

 private:
   std::vector<Ptr<GenericIf const>> items_;
};

/// A handle on a reference counted object whose type has a table of attributes, or on null. Those
/// of types made from a schema are of the nested class GenericIf_, which adds nothing but its name.
class GANTRY_EXPORT GenericIfPtrInterface : public GenericIf {
 public:
   /// `type` is what the handle offers; the object, when there is one, is of it.
   GenericIfPtrInterface(Ptr<PtrInterface> const& object, FenType* type, bool isConst);

   FenType* fwkType() const override { return type_; }
   void const* convertedTo(FenType const* type) const override;
   AttributeId attributeId(String8 name) const override;
   Ptr<GenericIf> attributeOp(AttributeOp const& operation, Ptr<GenericIf const> const& key,
                              Ptr<GenericIf const> const& value) override;
   Ptr<GenericIf> clone() const override;
   String8 strRep() const override;
   void valueRead(AttrReader& reader) const override;

   Ptr<PtrInterface const> object() const { return object_; }
   /// Throws ConstException when the handle is const.
   Ptr<PtrInterface> object();

   /// Gives each key of a collection's members to `visit`, in the collection's order; for what is
   /// no collection, nothing.
   void forEachKey(AttributeId id, void (*visit)(void* context, Ptr<GenericIf const> const& key),
                   void* context) const;

 protected:
   ~GenericIfPtrInterface() override;

   void objectIs(Ptr<PtrInterface> const& object) { object_ = object; }
   /// What the type's own table does not know.
   virtual Ptr<GenericIf> frameworkOp(AttributeOp const& operation,
                                      Ptr<GenericIf const> const& key);

 private:
   /// Refuses in a fixed order: a key where there is none, what the attribute cannot do, a key or
   /// a value that is missing; only then keys and values of a wrong type.
   Ptr<GenericIf> tableOp(AttrDesc const& attribute, AttributeOp const& operation,
                          Ptr<GenericIf const> const& key, Ptr<GenericIf const> const& value);
   /// What concerns one value: of an attribute, or at a key.
   Ptr<GenericIf> memberOp(AttrDesc const& attribute, unsigned operation, void const* key,
                           Ptr<GenericIf const> const& value);
   /// A handle on what an attribute gives.
   Ptr<GenericIf> presentHandle(AttrDesc const& attribute, void const* present) const;
   /// The object; "null ValidPtr" when there is none.
   PtrInterface& target() const;

   Ptr<PtrInterface> object_;
   FenType* const type_;
};

/// A handle on an entity. It can be watched: registered, it is told of each change of the entity
/// through its one adapter, and tells its listener or whoever derives from it.
class GANTRY_EXPORT GenericIfEntity : public GenericIfPtrInterface {
 public:
   class GenericIf_Adapter_;

   GenericIfEntity(Ptr<Entity> const& entity, FenType* type, bool isConst);

   void hasNotificationActiveIs(bool active) override;
   /// Joins or leaves the entity's notifiees, through the adapter.
   void isRegisteredNotifieeIs(bool registered) const override;
   /// Moves handle and adapter to another entity of the type, or to none.
   void notifierIs(Ptr<PtrInterface const> const& notifier) override;
   /// Tells of the pending attribute; of all in the order of their ids when that is asked for,
   /// until the handle is dropped or a zombie.
   void handleNotification(ActivityConfig* activity) override;
   void onAttribute(AttributeId id) override;
   AttributeId attributeId(String8 name) const override;
   void fenDoZombieReactors(bool zombie) override;
   Ptr<GenericIf> clone() const override;
   virtual Ptr<Entity const> entity() const;
   virtual Ptr<Entity> entity();

   /// What the next handleNotification() tells of.
   void pendingAttributeIdIs(AttributeId id) { pendingId_ = id; }
   /// Null takes the listener off.
   void listenerIs(Listener* listener) { listener_ = listener; }

 protected:
   ~GenericIfEntity() override;
   Ptr<GenericIf> frameworkOp(AttributeOp const& operation,
                              Ptr<GenericIf const> const& key) override;

 private:
   class PendingAttribute;

   GenericIf_Adapter_& adapter() const;
   /// Whether the walk over all attributes may go on.
   bool redispatch() const;

   /// Made when somebody first watches through this handle.
   mutable Ptr<GenericIf_Adapter_> adapter_;
   AttributeId pendingId_ = 0;
   void const* pendingKey_ = nullptr;
   Listener* listener_ = nullptr;
};

/// The nested notifiee of a handle: a generic reactor on the entity that forwards all it hears.
class GANTRY_EXPORT GenericIfEntity::GenericIf_Adapter_ : public Entity::NotifieeConst {
 public:
   explicit GenericIf_Adapter_(GenericIfEntity* handle);

   PtrInterface const* fenReactor() const override;
   PtrInterface const* fenRawReactor() const override;
   void onNotificationException(AttributeId id) override;
   void onZeroReferences() override;
   void doNotification(AttributeId id, void const* key) override;
   void fenDoZombieReactors(bool zombie) override;

   void handleDel() { handle_ = nullptr; }
   void notifierStore(Entity const* entity) { fenNotifierStore(entity); }

 protected:
   ~GenericIf_Adapter_() override;

 private:
   GenericIfEntity* handle_;
};

} // namespace Fen
