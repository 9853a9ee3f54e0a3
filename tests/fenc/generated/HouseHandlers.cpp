// The hand-written half of the machines of House.fen: each handler notes that it ran, so that the
// tests see which ran, and in which order.

#include <tests/fenc/generated/House.fen.h>

namespace FenTest {

Fen::String8 House::doorCountText() const { return Fen::format("%u doors", doorCount()); }

void DoorSm::handleInitialized() {
   if (initialized()) {
      return;
   }
   initializedIs(true);
   if (houseSm() != nullptr) {
      houseSm()->note(Fen::String8("born:") + door()->name());
   }
}

void DoorSm::handleState() {
   seenIs(seen() + 1);
   houseSm()->note(Fen::String8("state:") + door()->name());
   if (door()->state() == doorStuck) {
      // Takes the very machine that runs out of its owner.
      houseSm()->doorSmDel(door()->name());
   }
}

void HouseSm::CellarSm::handleInitialized() { bottlesIs("red", depth()); }
void HouseSm::AtticSm::handleInitialized() { houseSm()->note(Fen::String8("attic:") + name()); }

void HouseSm::FenTenant::handleTenantAge() {
   greetingsIs(greetings() + 1);
   houseSm()->note("tenantAge");
}
void HouseSm::FenDoorWatch::handleWatchedDoor() {
   openingsIs(openings() + 1);
   houseSm()->note(Fen::String8("watched:") + doorWatch()->name());
}
void HouseSm::FenResidentSm::handleResidentAge() { birthdaysIs(birthdays() + 1); }

void HouseSm::handleInitialized() {
   initializedIs(true);
   note("initialized");
}
void HouseSm::handleInhabited() { note("inhabited"); }
void HouseSm::handleDoor(Fen::Name name) {
   note(Fen::String8("door:") + name);
   if (auto const door = house()->door(name)) {
      doorSmIs(door);
   } else {
      doorSmDel(name);
   }
}
void HouseSm::handleLit(Fen::String8 key) { note(Fen::String8("lit:") + key); }
void HouseSm::handleLit() { note("lit"); }
void HouseSm::handleTenant() { note("tenant"); }
void HouseSm::handleGuestAge() { note("guestAge"); }
void HouseSm::handleLateResident() { note("late"); }
void HouseSm::FenLateResident::handleLateResidentEnd() {
   houseSm()->note(Fen::String8("lateEnd:") + lateResident()->name());
}
void HouseSm::FenMeterWatch::handleReaderAge() {
   houseSm()->note(Fen::String8("reader:") + reader()->name());
}
void HouseSm::FenGuests::handleGuestEnd() {
   houseSm()->note(Fen::String8("guestEnd:") + guests()->name());
}
void HouseSm::handleEnd() { note("end"); }
void HouseSm::handleWatchdog() {
   note("watchdog");
   watchdog()->timeMinIs(Fen::now() + twice(limit()));
}
void HouseSm::handleLateTimer() { note("lateTimer"); }
void HouseSm::note(Fen::String8 text) { logIs(log() + text + ";"); }
std::uint32_t HouseSm::doorsSeen() const {
   std::uint32_t result = 0;
   for (auto i = doorSmIterator(); i; ++i) {
      result += i->seen();
   }
   return result;
}

} // namespace FenTest
