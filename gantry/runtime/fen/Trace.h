/// Stream traces: messages for people, by module and level, off by default and then nearly free.
/// The text of a message is built only when somebody wants it.
///
/// Level 8 tells entry into an operation, level 5 a decision or an outcome, level 1 what somebody
/// should look at.
#pragma once

#include <gantry/runtime/Export.h>

#include <cstdint>
#include <iosfwd>
#include <sstream>

namespace Fen {

/// When set, receives every message of every level, one line each: handle, "/", level, blank, text.
/// Not owned. For tests and for coverage runs.
extern GANTRY_EXPORT std::ostream* coverageStream_;

/// The switches of one module's traces. Modules that use the same name are switched together.
class GANTRY_EXPORT TraceHandle {
 public:
   /// The name stays referred to. `enabled` switches all levels on at once.
   TraceHandle(char const* name, bool enabled);
   ~TraceHandle();
   TraceHandle(TraceHandle const&) = delete;
   TraceHandle& operator=(TraceHandle const&) = delete;

   char const* name() const { return name_; }
   bool levelEnabled(int level) const { return ((levels_ >> level) & 1u) != 0; }
   bool enabled() const { return levels_ != 0; }
   void levelsIs(std::uint32_t levels) { levels_ = levels; }

   static constexpr int highestLevel = 9;

 private:
   char const* const name_;
   std::uint32_t levels_;
};

/// Switches traces on by handle and level: "MountSm/5,Gantry/1-8". Replaces the earlier setting; an
/// empty text switches all off. Throws a range exception that names the column of a mistake.
GANTRY_EXPORT void traceSettingIs(char const* setting);

/// Where built messages go: coverageStream_ always when set, and when `enabled` one line on
/// standard error.
GANTRY_EXPORT void traceHelper(char const* handleName, char const* where,
                               std::ostringstream const& message, int level, bool enabled,
                               char const* file, int line, char const* function);

} // namespace Fen

/// One message: FEN_TRACE( handle, 5, "MountSm::doMountNow" << ": " << connection ).
#define FEN_TRACE(handle, level, message)                                                          \
   do {                                                                                            \
      bool const fenTraceEnabled = (handle).levelEnabled(level);                                   \
      if (__builtin_expect(fenTraceEnabled || ::Fen::coverageStream_ != nullptr, 0)) {             \
         std::ostringstream fenTraceStream;                                                        \
         fenTraceStream.precision(12);                                                             \
         fenTraceStream << message;                                                                \
         ::Fen::traceHelper((handle).name(), "<unknown>", fenTraceStream, (level),                 \
                            fenTraceEnabled, __FILE__, __LINE__, __func__);                        \
      }                                                                                            \
   } while (false)
