/// The framework's exceptions. Misuse raises one of them; the notification loop catches what leaves
/// a reactor. Each carries its text, ready for people.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/String.h>

#include <exception>

namespace Fen {

class GANTRY_EXPORT Exception : public std::exception {
 public:
   /// Numbers by which an Expect guard names what the code around it catches.
   enum class Id : int {
      any = 0,
      range = 1,
      nameInUse = 2,
      internal = 3,
      constant = 4,
      badIndexAttr = 5,
      opNotSupported = 6,
      type = 7,
      unknownAttr = 8,
      attrLogEntity = 16,
      attrLogRecord = 32,
      /// attrLogEntity and attrLogRecord together: what writing a reference may raise.
      attrLog = 48,
      entityIdUnavailable = 64,
   };

   Exception(Id id, String8 text) : id_(id), text_(text) {}
   ~Exception() override;

   Id id() const { return id_; }
   String8 text() const { return text_; }
   char const* what() const noexcept override { return text_.charPtr(); }

 private:
   Id id_;
   String8 text_;
};

/// A value outside what is allowed, or a null where none may be.
class GANTRY_EXPORT RangeException : public Exception {
 public:
   explicit RangeException(String8 text) : Exception(Id::range, text) {}
   ~RangeException() override;
};

/// A member of that name exists with other constructor parameters.
class GANTRY_EXPORT NameInUseException : public Exception {
 public:
   explicit NameInUseException(String8 text) : Exception(Id::nameInUse, text) {}
   ~NameInUseException() override;
};

/// The framework was used against its rules, or a peer sent what its rules forbid.
class GANTRY_EXPORT InternalException : public Exception {
 public:
   explicit InternalException(String8 text) : Exception(Id::internal, text) {}
   ~InternalException() override;
};

/// Something read only was to be written.
class GANTRY_EXPORT ConstException : public Exception {
 public:
   explicit ConstException(String8 text) : Exception(Id::constant, text) {}
   ~ConstException() override;
};

/// The attribute log met an entity that does not fit.
class GANTRY_EXPORT AttrLogEntityException : public Exception {
 public:
   explicit AttrLogEntityException(String8 text) : Exception(Id::attrLogEntity, text) {}
   ~AttrLogEntityException() override;
};

/// The record being written must be started over.
class GANTRY_EXPORT AttrLogRecordException : public Exception {
 public:
   explicit AttrLogRecordException(String8 text) : Exception(Id::attrLogRecord, text) {}
   ~AttrLogRecordException() override;
};

/// The target of a reference has no id on this connection yet; the attribute stays dirty.
class GANTRY_EXPORT EntityIdUnavailableException : public Exception {
 public:
   explicit EntityIdUnavailableException(String8 text) : Exception(Id::entityIdUnavailable, text) {}
   ~EntityIdUnavailableException() override;
};

[[noreturn]] GANTRY_EXPORT void throwRangeException(String8 text);
[[noreturn]] GANTRY_EXPORT void throwNameInUseException(String8 text);
[[noreturn]] GANTRY_EXPORT void throwInternalException(String8 text);
[[noreturn]] GANTRY_EXPORT void throwConstException(String8 text);

/// Stands around a call whose exceptions the code catches right here, and says which. It costs
/// nothing: entering a try block is free, so there is nothing to arm.
class [[maybe_unused]] Expect {
 public:
   explicit constexpr Expect(Exception::Id) {}
   Expect(Expect const&) = delete;
   Expect& operator=(Expect const&) = delete;
};

} // namespace Fen
