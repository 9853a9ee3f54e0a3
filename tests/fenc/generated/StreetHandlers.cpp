// The hand-written half of the machines of Street.fen: each handler notes that it ran.

#include <tests/fenc/generated/Street.fen.h>

namespace FenTest {

void StreetSm::note(Fen::String8 text) { logIs(log() + text + ";"); }
void StreetSm::handlePlanned() { note("planned"); }
void StreetSm::handlePlanned(Fen::Name name) {
   note(Fen::String8("planned:") + name);
   built()->entityIs(name, "Fen::Dir");
}
void StreetSm::handleBuilt(Fen::Name name) { note(Fen::String8("built:") + name); }

void LotSm::handleFenced() { logIs(log() + "fenced;"); }
void LotSm::handleBetween() { logIs(log() + "between;"); }
void LotSm::handleBuilder() { logIs(log() + "builder;"); }
void LotSm::FenVisitor::handleInitialized() { lotSm()->logIs(lotSm()->log() + "visitor;"); }

} // namespace FenTest
