/// Immutable, reference counted strings. Copying one is copying a pointer; the text never changes
/// behind it. The hash is computed once per text and kept with it, without a seed, so that every
/// process orders a collection of the same keys alike.
#pragma once

#include <gantry/runtime/Export.h>
#include <gantry/runtime/fen/PtrInterface.h>

#include <atomic>
#include <compare>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace Fen {

template <class Character>
class StringN;

/// A string of bytes. A null text and a text of length 0 are the same empty string to all code.
template <>
class GANTRY_EXPORT StringN<unsigned char> {
 public:
   /// The text: header and characters in one allocation, with a NUL behind them.
   class GANTRY_EXPORT Data {
    public:
      std::uint32_t entries() const { return length_; }
      char const* text() const { return reinterpret_cast<char const*>(this + 1); }
      std::uint32_t hash() const {
         std::uint32_t const known = hash_.load(std::memory_order_relaxed);
         return known != 0 ? known : hashComputed();
      }

    private:
      friend class StringN<unsigned char>;
      explicit Data(std::uint32_t length) : length_(length) {}
      std::uint32_t hashComputed() const;

      std::atomic<std::uint32_t> references_{1};
      mutable std::atomic<std::uint32_t> hash_{0};
      std::uint32_t length_;
   };

   StringN() = default;
   StringN(std::string_view text) : data_(text.empty() ? nullptr : dataNew(text)) {}
   StringN(StringN const& other) : data_(other.data_) { take(); }
   StringN(StringN&& other) noexcept : data_(std::exchange(other.data_, nullptr)) {}
   ~StringN() { drop(); }
   StringN& operator=(StringN const& other) {
      StringN(other).swap(*this);
      return *this;
   }
   StringN& operator=(StringN&& other) noexcept {
      swap(other);
      return *this;
   }
   void swap(StringN& other) noexcept { std::swap(data_, other.data_); }

   std::uint32_t length() const { return data_ != nullptr ? data_->entries() : 0; }
   bool empty() const { return length() == 0; }
   explicit operator bool() const { return length() != 0; }
   bool operator!() const { return length() == 0; }
   /// NUL-terminated text, never null, valid while a string with this text lives.
   char const* charPtr() const { return data_ != nullptr ? data_->text() : ""; }
   std::string_view view() const { return {charPtr(), length()}; }
   /// Hash of the text, the same in every process; kept with the text after the first call.
   std::uint32_t hash() const { return data_ != nullptr ? data_->hash() : emptyHash; }
   /// Hash of any text, equal to that of a string with this text.
   static std::uint32_t hashOf(std::string_view text);

   bool operator==(StringN const& other) const {
      if (data_ == other.data_) {
         return true;
      }
      std::uint32_t const size = length();
      return size == other.length() && std::memcmp(charPtr(), other.charPtr(), size) == 0;
   }
   std::strong_ordering operator<=>(StringN const& other) const { return view() <=> other.view(); }

 private:
   static constexpr std::uint32_t emptyHash = 1;
   static Data* dataNew(std::string_view text);
   static void dataFree(Data* data) noexcept;
   void take() {
      if (data_ == nullptr) {
         return;
      }
      if (singleThreaded()) {
         data_->references_.store(data_->references_.load(std::memory_order_relaxed) + 1,
                                  std::memory_order_relaxed);
      } else {
         data_->references_.fetch_add(1, std::memory_order_relaxed);
      }
   }
   void drop() {
      if (data_ == nullptr) {
         return;
      }
      std::uint32_t left;
      if (singleThreaded()) {
         left = data_->references_.load(std::memory_order_relaxed) - 1;
         data_->references_.store(left, std::memory_order_relaxed);
      } else {
         left = data_->references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
      }
      if (left == 0) {
         dataFree(data_);
      }
   }

   Data* data_ = nullptr;
};

/// A string as attributes hold it.
class GANTRY_EXPORT String8 : public StringN<unsigned char> {
 public:
   class IteratorConst;
   using Iterator = IteratorConst;

   String8() = default;
   String8(char const* text)
      : StringN(text != nullptr ? std::string_view(text) : std::string_view()) {}
   String8(std::string_view text) : StringN(text) {}
   String8(std::string const& text) : StringN(std::string_view(text)) {}

   String8& operator+=(String8 const& other);

   friend bool operator==(String8 const& left, String8 const& right) {
      return static_cast<StringN const&>(left) == static_cast<StringN const&>(right);
   }
   friend bool operator==(String8 const& left, char const* right) {
      return left.view() == (right != nullptr ? std::string_view(right) : std::string_view());
   }
   friend bool operator==(String8 const& left, std::string_view right) {
      return left.view() == right;
   }

   std::string str() const { return std::string(view()); }
};

/// A place in a text that it keeps alive: reading of value text and sending in parts work on it.
class GANTRY_EXPORT String8::IteratorConst {
 public:
   IteratorConst() = default;
   explicit IteratorConst(String8 text, std::uint32_t position = 0)
      : text_(text), position_(position) {}

   String8 const& text() const { return text_; }
   std::uint32_t position() const { return position_; }
   void positionIs(std::uint32_t position) { position_ = position; }
   std::uint32_t left() const { return text_.length() - position_; }
   bool atEnd() const { return position_ >= text_.length(); }
   char operator*() const { return text_.charPtr()[position_]; }
   IteratorConst& operator++() {
      ++position_;
      return *this;
   }
   std::string_view rest() const { return text_.view().substr(position_); }

 private:
   String8 text_;
   std::uint32_t position_ = 0;
};

/// A string that is an entity's name and a collection's key.
class GANTRY_EXPORT Name : public String8 {
 public:
   Name() = default;
   Name(char const* text) : String8(text) {}
   Name(std::string_view text) : String8(text) {}
   Name(std::string const& text) : String8(text) {}
   Name(String8 const& text) : String8(text) {}

   static FenType* _fwkType();
};

GANTRY_EXPORT String8 operator+(String8 const& left, String8 const& right);
GANTRY_EXPORT std::ostream& operator<<(std::ostream& out, StringN<unsigned char> const& text);

/// A string by the rules of printf.
GANTRY_EXPORT String8 format(char const* format, ...) __attribute__((format(printf, 1, 2)));

} // namespace Fen

template <>
struct std::hash<Fen::String8> {
   std::size_t operator()(Fen::String8 const& text) const { return text.hash(); }
};
template <>
struct std::hash<Fen::Name> {
   std::size_t operator()(Fen::Name const& text) const { return text.hash(); }
};
