/// A singly linked list through a field of its nodes. It holds no references: it is what an object
/// keeps its notifiees in, without keeping them alive, so a node leaves the list before it dies.
/// The list belongs to the object that is watched and lives on the activity loop's thread.
///
/// It is four words long, its table pointer included, since every entity has one. Walking it for a
/// snapshot, through head() and next(), is a chain of plain loads.
#pragma once

#include <gantry/runtime/fen/Assert.h>
#include <gantry/runtime/fen/BaseCollection.h>
#include <gantry/runtime/fen/Ptr.h>

#include <cstdint>
#include <utility>

namespace Fen {

/// Where a node keeps its link. The link may be declared for a base class of T; what stands in a
/// list of T is a T.
template <class T>
struct ListRawLink {
   static T* next(T const* node) { return static_cast<T*>(node->fwkLrNext()); }
   static void nextIs(T* node, T* next) { node->fwkLrNextIs(next); }
};

/// The list. Inserting and removing never fails, allocates or counts.
template <class T>
class ListRaw : public BaseRefCollection<T>, public BaseCollection {
 public:
   using Member = T;
   class LrIteratorConst;
   class LrIterator;

   ListRaw() = default;
   ListRaw(ListRaw const&) = delete;
   ListRaw& operator=(ListRaw const&) = delete;
   ~ListRaw() override {
      if (head_ != nullptr) {
         deleteAll();
      }
   }

   std::uint32_t size() const { return size_; }
   bool empty() const { return size_ == 0; }
   /// Differs after every insertion and removal.
   std::uint32_t version() const { return version_; }
   T* head() const { return head_; }
   T* tail() const { return tail_; }
   /// The node behind `node`, null for the last one.
   static T* next(T const* node) { return ListRawLink<T>::next(node); }
   /// Looks through the list for this very node.
   bool has(T const* node) const {
      T const* at = head_;
      while (at != nullptr && at != node) {
         at = next(at);
      }
      return at != nullptr;
   }

   /// Appends a node, which must be in no list.
   void newMember(T* node) {
      FEN_ASSERT(node != tail_, "node is in no list");
      ListRawLink<T>::nextIs(node, nullptr);
      if (tail_ != nullptr) {
         ListRawLink<T>::nextIs(tail_, node);
      } else {
         head_ = node;
      }
      tail_ = node;
      ++version_;
      ++size_;
   }
   /// Takes a node out; false when it is not in the list.
   bool memberDel(T* node) {
      T* before = nullptr;
      for (T* at = head_; at != nullptr; before = at, at = next(at)) {
         if (at == node) {
            unlink(before, node);
            return true;
         }
      }
      return false;
   }
   /// Takes all nodes out, without looking at them further.
   void deleteAll() {
      T* at = std::exchange(head_, nullptr);
      while (at != nullptr) {
         T* const following = next(at);
         ListRawLink<T>::nextIs(at, nullptr);
         at = following;
      }
      tail_ = nullptr;
      size_ = 0;
      ++version_;
   }
   /// Calls `f( T* )` for each node in order. For callers that change nothing meanwhile.
   template <class F>
   void forEachMember(F&& f) const {
      for (T* at = head_; at != nullptr; at = next(at)) {
         f(at);
      }
   }

   /// A walk for those who do not know T.
   StrepIterator strepIterator() const { return StrepIterator(*this, LrIteratorConst(this)); }
   bool iteratorMoreLeft(StrepIterator const& iterator) const override {
      return iterator.template iterator<LrIteratorConst>().ptr() != nullptr;
   }
   void iteratorIncr(StrepIterator& iterator) const override {
      iterator.template iterator<LrIteratorConst>().advance();
   }
   void iteratorDelete(StrepIterator& iterator) const override {
      iterator.template iterator<LrIteratorConst>().~LrIteratorConst();
   }
   String8 iteratorStrep(StrepIterator const& iterator) const override {
      T const* const node = iterator.template iterator<LrIteratorConst>().ptr();
      if constexpr (requires { String8(node->name()); }) {
         return node != nullptr ? String8(node->name()) : String8();
      } else {
         return {};
      }
   }
   void iteratorSpaceCopy(StrepIterator& to, StrepIterator const& from) const override {
      new (to.space()) LrIteratorConst(from.template iterator<LrIteratorConst>());
   }

 private:
   void unlink(T* before, T* node) {
      T* const following = next(node);
      if (before != nullptr) {
         ListRawLink<T>::nextIs(before, following);
      } else {
         head_ = following;
      }
      if (tail_ == node) {
         tail_ = before;
      }
      ListRawLink<T>::nextIs(node, nullptr);
      ++version_;
      --size_;
   }

   T* head_ = nullptr;
   T* tail_ = nullptr;
   std::uint32_t size_ = 0;
   std::uint32_t version_ = 0;
};

/// A walk through a list that changes meanwhile. It holds a reference to the node it stands on and
/// to the one before. When the node it stands on has been removed, it goes on behind the one
/// before, so nothing is skipped or visited twice; when both have gone it has lost its place and
/// begins again, because to visit a node twice does less harm than to miss one. A node that is
/// appended is seen. The list must outlive its iterators.
template <class T>
class ListRaw<T>::LrIteratorConst {
 public:
   /// On no list: at the end.
   LrIteratorConst() = default;
   explicit LrIteratorConst(ListRaw const* list) : list_(list) {
      if (list_ != nullptr) {
         version_ = list_->version();
         current_ = Ptr<T>(list_->head());
      }
   }

   /// On to the next node; nothing happens at the end.
   void advance() {
      if (current_ == nullptr) {
         return;
      }
      bool const isHere = version_ == list_->version() || list_->has(current_.ptr());
      bool const isLost = !isHere && previous_ != nullptr && !list_->has(previous_.ptr());
      T* following;
      if (isHere) {
         following = next(current_.ptr());
      } else {
         following = previous_ == nullptr || isLost ? list_->head() : next(previous_.ptr());
      }
      // What is dropped is dropped at the end, when the next node is held and the version taken
      // over: links hold nothing, and the destructor of a node may change the list.
      Ptr<T> node(following);
      Ptr<T> gone;
      version_ = list_->version();
      if (isHere) {
         previous_.swap(gone);
         previous_.swap(current_);
      } else if (isLost) {
         previous_.swap(gone);
      }
      node.swap(current_);
   }
   LrIteratorConst& operator++() {
      advance();
      return *this;
   }

   explicit operator bool() const { return current_ != nullptr; }
   T const* operator->() const { return current_.ptr(); }
   T const& operator*() const { return *current_; }
   /// The node, null at the end.
   T const* ptr() const { return current_.ptr(); }

 protected:
   ListRaw const* list_ = nullptr;
   Ptr<T> current_;
   Ptr<T> previous_;
   std::uint32_t version_ = 0;
};

/// An iterator that may change nodes and take them out of the list.
template <class T>
class ListRaw<T>::LrIterator : public ListRaw<T>::LrIteratorConst {
 public:
   LrIterator() = default;
   explicit LrIterator(ListRaw* list) : LrIteratorConst(list) {}

   T* operator->() const { return this->current_.ptr(); }
   T& operator*() const { return *this->current_; }
   T* ptr() const { return this->current_.ptr(); }

   /// Stays where it is when the node that it stood on has been taken out through it, because it
   /// stands on the successor already; else goes on.
   LrIterator& operator++() {
      if (deleted_) {
         deleted_ = false;
      } else {
         this->advance();
      }
      return *this;
   }

   /// Takes the node that the iterator stands on out of the list; the iterator then stands on the
   /// successor, where the next ++ leaves it. Returns the node, null at the end or when the node
   /// had left the list by other means.
   Ptr<T> memberDel() {
      Ptr<T> const node = this->current_;
      if (node == nullptr) {
         return {};
      }
      auto* const list = const_cast<ListRaw*>(this->list_);
      deleted_ = true;
      if (this->version_ != list->version() && !list->has(node.ptr())) {
         this->advance();
         return {};
      }
      Ptr<T> following(next(node.ptr()));
      list->memberDel(node.ptr());
      this->version_ = list->version();
      following.swap(this->current_);
      return node;
   }

 private:
   bool deleted_ = false;
};

} // namespace Fen
