// Turns syntax trees into the resolved model, in phases, each of which reports all that it finds:
// declare every type, resolve attributes, resolve keys and paths, resolve operations and
// reactions, and check what only the whole can tell.
//
// Works on a Model whose modules are loaded and ordered. After an error the model is not fit for
// the emitters.
#pragma once

#include <fenc/Diagnostics.h>
#include <fenc/Model.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Fenc {

class Resolver {
 public:
   Resolver(Model& model, Diagnostics& diagnostics) : model_(model), diagnostics_(diagnostics) {}

   void run();

 private:
   // Types (ResolveTypes.cpp).
   void declare(Module& module);
   Type* declareType(Module& module, TypeSyntax const& syntax, Type* outer);
   void enumeration(Type& type);
   void baseOf(Type& type);
   void baseArguments(Type& type);
   Type const* find(NameSyntax const& name, Type const& from, char const* what);
   Type const* lookup(std::string const& name, Type const& from) const;
   Type const* lookupFull(std::string const& name, Module const& from) const;

   // Attributes (ResolveAttributes.cpp).
   void attributes(Type& type);
   void parameters(Type& type);
   void addAttribute(Type& type, std::unique_ptr<Attribute> attribute);
   void placeParameter(Type& type, AttributeSyntax const& syntax,
                       std::vector<std::unique_ptr<Attribute>>& waiting);
   std::unique_ptr<Attribute> resolve(Type& type, AttributeSyntax const& syntax);
   void resolveForm(Attribute& attribute, AttributeSyntax const& syntax);
   void resolveScalar(Attribute& attribute, AttributeSyntax const& syntax);
   void resolveReactor(Attribute& attribute, AttributeSyntax const& syntax);
   void checkModifiers(Attribute& attribute, AttributeSyntax const& syntax);
   void checkParameter(Attribute& attribute);
   void initial(Attribute& attribute, LiteralSyntax const& literal);
   Type const* keyTypeOf(Attribute const& attribute, AttributeSyntax const& syntax);
   void needHeader(Type const& type, Position at, char const* use);

   // Keys and paths (ResolvePaths.cpp).
   void paths(Type& type);
   void keyOf(Attribute& attribute);
   void each(Attribute& attribute);
   bool resolvePath(PathSyntax const& syntax, Type const& start, Path& path);
   bool resolveThrough(Attribute& attribute);

   // Operations and reactions (ResolveReactions.cpp).
   void operations(Type& type);
   bool signature(SignatureType& result, AttributeSyntax const& syntax, Type const& from);
   void reactions(Type& type);
   void reaction(Type& type, ReactionSyntax const& syntax);
   void attachReaction(Type& type, ReactionSyntax const& syntax);
   void birth(Type& type);
   void timers(Type& type);
   bool handler(NameSyntax const& name, Type const& from, Type const* key, Handler& result);

   // Checks of the whole (Checks.cpp).
   void checkValueCycles();
   void visitValue(Type const& type, std::set<Type const*>& done, std::vector<Type const*>& stack);
   void checkOwnership(Type const& type);
   void checkNames(Type const& type);

   Model& model_;
   Diagnostics& diagnostics_;
   std::map<std::string, Type*> byFullName_;
   std::vector<Type*> all_; ///< every declared type, outer before nested
   std::set<Attribute const*> throughInWork_;
};

} // namespace Fenc
