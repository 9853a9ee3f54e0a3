/// The registry of trace handles, their settings, and the sinks.
#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/Trace.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace Fen {

std::ostream* coverageStream_ = nullptr;

namespace {

struct Handles {
   std::vector<TraceHandle*> all;
   std::map<std::string, std::uint32_t, std::less<>> levels;
};

Handles& handles() {
   static Handles* const theHandles = new Handles;
   return *theHandles;
}

[[noreturn]] void settingMistake(std::string_view setting, std::size_t column, char const* what) {
   throwRangeException(format("trace setting \"%.*s\", column %zu: %s; write it like "
                              "MountSm/5,Gantry/1-8",
                              static_cast<int>(setting.size()), setting.data(), column, what));
}

int levelAt(std::string_view setting, std::size_t& at) {
   if (at >= setting.size() || setting[at] < '0' || setting[at] > '9') {
      settingMistake(setting, at, "expected a level from 0 to 9");
   }
   return setting[at++] - '0';
}

/// Reads one "NAME/LEVEL" or "NAME/LOW-HIGH" at `at`.
void readOne(std::string_view setting, std::size_t& at,
             std::map<std::string, std::uint32_t, std::less<>>& levels) {
   std::size_t const slash = setting.find_first_of("/,", at);
   if (slash == std::string_view::npos || slash == at || setting[slash] == ',') {
      settingMistake(setting, at, "expected a handle's name and a slash");
   }
   std::string const name(setting.substr(at, slash - at));
   at = slash + 1;
   int const low = levelAt(setting, at);
   int high = low;
   if (at < setting.size() && setting[at] == '-') {
      ++at;
      high = levelAt(setting, at);
   }
   if (high < low) {
      settingMistake(setting, at - 1, "the second level is below the first");
   }
   for (int level = low; level <= high; ++level) {
      levels[name] |= 1u << level;
   }
}

} // namespace

TraceHandle::TraceHandle(char const* name, bool enabled)
   : name_(name), levels_(enabled ? ~0u : 0u) {
   handles().all.push_back(this);
   auto const setting = handles().levels.find(std::string_view(name));
   if (setting != handles().levels.end()) {
      levels_ = setting->second;
   }
}

TraceHandle::~TraceHandle() { std::erase(handles().all, this); }

void traceSettingIs(char const* setting) {
   std::string_view const text(setting != nullptr ? setting : "");
   std::map<std::string, std::uint32_t, std::less<>> levels;
   std::size_t at = 0;
   while (at < text.size()) {
      readOne(text, at, levels);
      if (at == text.size()) {
         break;
      }
      if (text[at] != ',') {
         settingMistake(text, at, "expected a comma");
      }
      if (++at == text.size()) {
         settingMistake(text, at, "expected a handle's name and a slash");
      }
   }
   handles().levels = std::move(levels);
   for (TraceHandle* handle : handles().all) {
      auto const found = handles().levels.find(std::string_view(handle->name()));
      handle->levelsIs(found == handles().levels.end() ? 0u : found->second);
   }
}

void traceHelper(char const* handleName, char const*, std::ostringstream const& message, int level,
                 bool enabled, char const* file, int line, char const* function) {
   std::string const text = message.str();
   if (coverageStream_ != nullptr) {
      *coverageStream_ << handleName << '/' << level << ' ' << text << '\n';
   }
   if (!enabled) {
      return;
   }
   timespec wall;
   ::clock_gettime(CLOCK_REALTIME, &wall);
   tm broken;
   ::localtime_r(&wall.tv_sec, &broken);
   char time[32];
   std::strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", &broken);
   char const* const slash = std::string_view(file).rfind('/') == std::string_view::npos
                                ? file
                                : file + std::string_view(file).rfind('/') + 1;
   std::fprintf(stderr, "%s.%06ld %s/%d %s:%d %s: %s\n", time, wall.tv_nsec / 1000, handleName,
                level, slash, line, function, text.c_str());
}

} // namespace Fen
