// Fuzzes operations by name and number on entities of every kind of attribute. The bytes are a
// program: which handle, which attribute id, which operation, and the texts from which key and
// value are read. Each step ends in a result or in one of the framework's exceptions.

#include <fuzz/SessionTree.fen.h>

#include <gantry/runtime/fen/AttrAccess.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace {

using Fen::GenericIf;
using Handle = Fen::Ptr<GenericIf>;
using Key = Fen::Ptr<GenericIf const>;

constexpr std::size_t mostHandles = 16;

class Program {
 public:
   Program(std::uint8_t const* data, std::size_t size) : data_(data), size_(size) {
      auto const tree = Fen::makePtr<SessionTree::Tree>("tree");
      directory_->entityPtrIs(tree);
      handles_.push_back(tree->fwkType()->genericIf(tree.ptr(), false));
      handles_.push_back(tree->fwkType()->genericIf(tree.ptr(), true));
      handles_.push_back(directory_->fwkType()->genericIf(directory_.ptr(), false));
   }

   void run() {
      while (at_ < size_) {
         try {
            step();
         } catch (Fen::Exception const&) {
         }
      }
   }

 private:
   std::uint8_t byte() { return at_ < size_ ? data_[at_++] : std::uint8_t{0}; }
   std::string_view text() {
      std::size_t const length = std::min<std::size_t>(byte() % 32, size_ - at_);
      std::string_view const result(reinterpret_cast<char const*>(data_) + at_, length);
      at_ += length;
      return result;
   }

   /// A key, a value, a list or nothing.
   Key operand(unsigned depth = 0) {
      switch (byte() % 8) {
      case 0:
         return nullptr;
      case 1:
         return Fen::genericIf(byte() % 2 == 0);
      case 2:
         return Fen::genericIf(static_cast<std::uint32_t>(byte()));
      case 3:
         return Fen::genericIf(Fen::Name(text()));
      case 4:
         return Fen::genericIf(Fen::String8(text()));
      case 5:
         return handles_[byte() % handles_.size()];
      case 6: {
         auto const list = Fen::makePtr<GenericIf::List_>();
         for (unsigned n = depth > 2 ? 0 : byte() % 4; n > 0; --n) {
            list->itemEnq(operand(depth + 1));
         }
         return list;
      }
      default:
         return SessionTree::Leaf::_fwkType()->genericIf(Fen::String8(text()), false);
      }
   }

   void step() {
      Handle const handle = handles_[byte() % handles_.size()];
      // Mostly attributes that are there, and any number.
      std::uint8_t const choice = byte();
      Fen::AttributeId const id = choice < 128 ? 258 + choice % 12 : choice - 128;
      std::array<unsigned, 8> const operations = {0, 1, 2, 3, 128, 129, 128, byte()};
      unsigned const operation = operations[byte() % operations.size()];
      Key const key = operand();
      Key const value = operand();
      Handle const result = handle->attributeOp(GenericIf::AttributeOp(id, operation), key, value);
      if (result) {
         result->strRep();
         handles_.push_back(result);
         if (handles_.size() > mostHandles) {
            handles_.erase(handles_.begin() + 3);
         }
      }
   }

   std::uint8_t const* data_;
   std::size_t size_;
   std::size_t at_ = 0;
   Fen::Ptr<Fen::Dir> directory_ = Fen::dirFactory("directory");
   std::vector<Handle> handles_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   Program(data, std::min<std::size_t>(size, 4096)).run();
   return 0;
}
