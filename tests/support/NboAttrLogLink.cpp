// The link in memory between two logs.
#include "NboAttrLogLink.h"

#include <cstdio>
#include <limits>

namespace NboAttrLogTest {

using namespace Fen::NboAttrLog;

std::int32_t Frame::attribute() const {
   return static_cast<std::int32_t>(Fen::loadBig32(payload.data() + 8));
}
bool Frame::isMessageOf(std::int32_t id) const {
   return kind == FrameKind::message && attribute() == id;
}

std::string hex(Bytes const& bytes) {
   std::string text;
   for (std::uint8_t const each : bytes) {
      char digits[4];
      std::snprintf(digits, sizeof digits, "%02x", each);
      text += (text.empty() ? "" : " ") + std::string(digits);
   }
   return text;
}

Bytes bytesOf(std::string const& text) {
   Bytes bytes;
   std::string digits;
   for (char const each : text) {
      if (each == ' ' || each == '\n') {
         continue;
      }
      digits += each;
      if (digits.size() == 2) {
         bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits, nullptr, 16)));
         digits.clear();
      }
   }
   return bytes;
}

Bytes pendingOf(Fen::Connection::Out& out) { return {out.pending().begin(), out.pending().end()}; }

std::vector<Frame> framesOf(Bytes const& bytes) {
   std::vector<Frame> frames;
   std::size_t at = 0;
   while (at < bytes.size()) {
      std::size_t const length = Fen::loadBig32(bytes.data() + at);
      std::uint32_t const word = Fen::loadBig32(bytes.data() + at + 4);
      auto const begin = bytes.begin() + static_cast<std::ptrdiff_t>(at + 8);
      frames.push_back({static_cast<FrameKind>(word >> 24), word & 0xffffff,
                        Bytes(begin, begin + static_cast<std::ptrdiff_t>(length - 4))});
      at += length + 4;
   }
   return frames;
}

Link::Link() : Link(Settings()) {}
Link::Link(Settings const& wanted) : settings(wanted), directory(Fen::dirFactory("mounts")) {}
Link::~Link() { cut(); }

void Link::mount(Fen::Ptr<Fen::Entity> const& root, Fen::Name name) {
   name_ = name;
   sourceBytes = Fen::makePtr<Fen::Connection::Out>(settings.sendCap);
   targetBytes = Fen::makePtr<Fen::Connection::Out>(settings.sendCap);
   Demuxer::Options options;
   options.channel = 5;
   options.limits = settings.limits;
   options.writable = settings.writable;
   options.out = sourceBytes;
   source = Demuxer::sourceIs(options, &sourceUser);
   options.out = targetBytes;
   target = Demuxer::targetIs(options, directory, name, nullptr, &targetUser);
   source->rootIs(root);
}

void Link::cut() {
   if (source) {
      source->close();
      target->close();
      source = nullptr;
      target = nullptr;
   }
}

std::size_t Link::carry(Fen::Connection::Out& from, Demuxer& to, std::size_t frames,
                        std::vector<Frame>& kept) {
   std::size_t moved = 0;
   while (moved < frames && !from.pending().empty()) {
      std::size_t const length = Fen::loadBig32(from.pending().data()) + 4;
      std::vector<Frame> one = framesOf(Bytes(
         from.pending().begin(), from.pending().begin() + static_cast<std::ptrdiff_t>(length)));
      from.sentIs(length);
      if (keepsFrames) {
         kept.push_back(one.front());
      }
      ++moved;
      Frame& frame = one.front();
      // Exactly as large as the payload, so that a sanitizer sees a read beyond it.
      std::unique_ptr<std::uint8_t[]> const payload(new std::uint8_t[frame.payload.size()]);
      std::copy(frame.payload.begin(), frame.payload.end(), payload.get());
      to.receive(frame.kind, payload.get(), frame.payload.size());
   }
   return moved;
}

std::size_t Link::move(std::size_t frames, std::size_t budget) {
   source->flush(budget);
   return carry(*sourceBytes, *target, frames, toTarget);
}
std::size_t Link::moveBack(std::size_t frames, std::size_t budget) {
   target->flush(budget);
   return carry(*targetBytes, *source, frames, toSource);
}

std::size_t Link::settle() {
   constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
   std::size_t total = 0;
   for (std::size_t moved = 1; moved != 0; total += moved) {
      moved = move(all);
      moved += moveBack(all);
   }
   return total;
}

Fen::Ptr<Fen::Entity::FenNboAttrLogSa> Link::sourceAdapter(Fen::Entity const& entity) const {
   return Fen::Entity::FenNboAttrLogSa::fenAdapterOn(entity, source.ptr());
}
Fen::Ptr<Fen::Entity::FenNboAttrLogSa> Link::targetAdapter(Fen::Entity const& entity) const {
   return Fen::Entity::FenNboAttrLogSa::fenAdapterOn(entity, target.ptr());
}

} // namespace NboAttrLogTest
