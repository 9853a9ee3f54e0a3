// Loads a set of schemas with all that they import, and runs the phases over them.

#include <fenc/Compiler.h>

#include <fenc/Emitter.h>
#include <fenc/Lexer.h>
#include <fenc/Model.h>
#include <fenc/Parser.h>
#include <fenc/Prelude.h>
#include <fenc/Resolver.h>

#include <algorithm>
#include <map>
#include <utility>

namespace Fenc {

namespace {

/// Schemas import each other at most this deep.
constexpr std::size_t deepestImport = 100;

class Loader {
 public:
   Loader(Model& model, Source& source, Diagnostics& diagnostics, CompileResult& result)
      : model_(model), source_(source), diagnostics_(diagnostics), result_(result) {}

   /// Loads the schema and its imports. Null when it cannot be read, which has been reported.
   Module* load(std::string const& importName, Position const& from) {
      auto const known = modules_.find(importName);
      if (known != modules_.end()) {
         if (std::find(open_.begin(), open_.end(), importName) != open_.end()) {
            reportCycle(importName, from);
            return nullptr;
         }
         return known->second;
      }
      std::optional<Source::File> file =
         open_.size() < deepestImport ? source_.read(importName) : std::nullopt;
      if (!file) {
         diagnostics_.error(from, "cannot read the schema '" + importName + "'");
         isDamaged_ = true;
         return nullptr;
      }
      result_.read.push_back(file->shownName);
      std::uint32_t const number = diagnostics_.fileIs(file->shownName);
      auto module = std::make_unique<Module>();
      module->importName = importName;
      std::size_t const before = diagnostics_.entries().size();
      std::vector<Token> const tokens = tokenize(file->text, number, diagnostics_);
      isDamaged_ = isDamaged_ || diagnostics_.entries().size() != before;
      module->syntax = parse(tokens, diagnostics_);
      isDamaged_ = isDamaged_ || module->syntax->isDamaged;
      Module* const shown = module.get();
      modules_[importName] = shown;
      open_.push_back(importName);
      for (NameSyntax const& import : shown->syntax->imports) {
         Module* const imported = load(import.text, import.at);
         bool const twice = std::find(shown->imports.begin(), shown->imports.end(), imported) !=
                            shown->imports.end();
         if (imported != nullptr && !twice) {
            shown->imports.push_back(imported);
         }
      }
      open_.pop_back();
      shown->visible.push_back(shown);
      for (Module const* imported : shown->imports) {
         for (Module const* each : imported->visible) {
            if (std::find(shown->visible.begin(), shown->visible.end(), each) ==
                shown->visible.end()) {
               shown->visible.push_back(each);
            }
         }
      }
      model_.modules.push_back(std::move(module));
      return shown;
   }

   /// Some part of some file could not be read.
   bool isDamaged() const { return isDamaged_; }

 private:
   void reportCycle(std::string const& importName, Position const& from) {
      isDamaged_ = true;
      std::string chain;
      auto each = std::find(open_.begin(), open_.end(), importName);
      for (; each != open_.end(); ++each) {
         chain += *each + " imports ";
      }
      diagnostics_.error(from, "import cycle: " + chain + importName);
   }

   Model& model_;
   Source& source_;
   Diagnostics& diagnostics_;
   CompileResult& result_;
   std::map<std::string, Module*> modules_;
   std::vector<std::string> open_;
   bool isDamaged_ = false;
};

} // namespace

CompileResult compile(std::vector<std::string> const& importNames, Source& source) {
   CompileResult result;
   Diagnostics diagnostics;
   Model model;
   addBuiltins(model);
   Loader loader(model, source, diagnostics, result);
   std::vector<Module const*> wanted;
   Position const commandLine{~0u, 1, 1};
   for (std::string const& importName : importNames) {
      if (Module const* const module = loader.load(importName, commandLine)) {
         wanted.push_back(module);
      }
   }
   // Names cannot be judged when types are missing: the errors would be about the wrong thing.
   if (!loader.isDamaged()) {
      Resolver(model, diagnostics).run();
   }
   result.ok = !diagnostics.any();
   result.errors = diagnostics.text();
   if (!result.ok) {
      return result;
   }
   for (Module const* module : wanted) {
      result.files.push_back({module->headerPath(), emitHeader(*module)});
      result.files.push_back({module->importName + ".cpp", emitSource(*module)});
   }
   return result;
}

} // namespace Fenc
