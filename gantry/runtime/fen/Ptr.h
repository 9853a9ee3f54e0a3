/// The pointers to reference counted objects: Ptr, which may be null, and ValidPtr, which never is.
/// A pointer owns one reference for as long as it lives.
#pragma once

#include <gantry/runtime/fen/PtrInterface.h>

#include <concepts>
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace Fen {

/// Raises the range exception "null ValidPtr".
[[noreturn]] GANTRY_EXPORT void throwNullValidPtr();

/// An owning pointer, possibly null. Making one from a plain pointer adds a reference.
template <class T>
class Ptr {
 public:
   using Element = T;

   Ptr() = default;
   Ptr(std::nullptr_t) {}
   Ptr(T* object) : object_(object) { take(); }
   Ptr(Ptr const& other) : object_(other.object_) { take(); }
   Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
   template <class U>
   requires std::convertible_to<U*, T*> Ptr(Ptr<U> const& other) : object_(other.ptr()) { take(); }
   template <class U>
   requires std::convertible_to<U*, T*> Ptr(Ptr<U>&& other)
   noexcept : object_(other.release()) {}
   ~Ptr() { drop(); }

   Ptr& operator=(Ptr const& other) {
      Ptr(other).swap(*this);
      return *this;
   }
   Ptr& operator=(Ptr&& other) noexcept {
      Ptr(std::move(other)).swap(*this);
      return *this;
   }

   /// Takes over a reference that somebody else has counted already.
   static Ptr adopt(T* object) {
      Ptr result;
      result.object_ = object;
      return result;
   }
   /// Gives the reference away: the caller now owns it.
   T* release() noexcept { return std::exchange(object_, nullptr); }
   void swap(Ptr& other) noexcept { std::swap(object_, other.object_); }

   T* ptr() const { return object_; }
   T* operator->() const { return object_; }
   T& operator*() const { return *object_; }
   explicit operator bool() const { return object_ != nullptr; }

   template <class U>
   bool operator==(Ptr<U> const& other) const {
      return object_ == other.ptr();
   }
   bool operator==(std::nullptr_t) const { return object_ == nullptr; }
   template <class U>
   bool operator==(U* other) const {
      return object_ == other;
   }

 private:
   void take() {
      if (object_ != nullptr) {
         object_->fenReferenceNew();
      }
   }
   void drop() {
      if (object_ != nullptr) {
         object_->fenReferenceDel();
      }
   }

   T* object_ = nullptr;
};

/// An owning pointer that is never null. Making one from null raises "null ValidPtr".
template <class T>
class ValidPtr {
 public:
   ValidPtr(T* object) : ptr_(object) { check(); }
   template <class U>
   requires std::convertible_to<U*, T*> ValidPtr(Ptr<U> const& other) : ptr_(other) { check(); }
   template <class U>
   requires std::convertible_to<U*, T*> ValidPtr(Ptr<U>&& other) : ptr_(std::move(other)) {
      check();
   }

   operator Ptr<T> const&() const { return ptr_; }
   T* ptr() const { return ptr_.ptr(); }
   T* operator->() const { return ptr_.ptr(); }
   T& operator*() const { return *ptr_; }

 private:
   void check() const {
      if (!ptr_) {
         throwNullValidPtr();
      }
   }

   Ptr<T> ptr_;
};

/// Makes an object and owns its first reference.
template <class T, class... Args>
Ptr<T> makePtr(Args&&... args) {
   return Ptr<T>::adopt(new T(std::forward<Args>(args)...));
}

/// The same object as another type, or null when it is not one.
template <class T, class U>
Ptr<T> ptrCast(Ptr<U> const& other) {
   return Ptr<T>(dynamic_cast<T*>(other.ptr()));
}

} // namespace Fen

template <class T>
struct std::hash<Fen::Ptr<T>> {
   std::size_t operator()(Fen::Ptr<T> const& ptr) const { return std::hash<T*>()(ptr.ptr()); }
};
