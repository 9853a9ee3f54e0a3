// The syntax tree of one schema file, as the parser reads it: names are text, nothing is resolved.
//
// Plain data, owned by the Compiler of one run and read by the Resolver.
#pragma once

#include <fenc/Diagnostics.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Fenc {

/// A name as written, simple (`mountState`) or qualified (`Cairn::EntityManager`).
struct NameSyntax {
   std::string text;
   Position at;
};

/// Names joined by dots, such as `registryEntry.remotePath`.
struct PathSyntax {
   std::vector<NameSyntax> steps;
};

struct LiteralSyntax {
   enum class Kind { integer, real, text, word };
   Kind kind = Kind::integer;
   std::string text; ///< a number with its sign, or the characters of a text
   Position at;
};

/// The word with which the form of an attribute begins.
enum class AttributeForm {
   scalar,      ///< `T` or, with a key, `T[ K ]` and `T[ key field ]`
   reference,   ///< `ref T`, `ref T const`, `ref T[ K ]`
   owned,       ///< `owns T`, `owns T[ path ]`
   record,      ///< `record T[ K ]`
   back,        ///< `back T`
   parameter,   ///< `param`: the place of a constructor parameter among the attributes
   through,     ///< `through a.b`
   reactor,     ///< `reactor T`, `reactor T[ path ]`
   reactorEach, ///< `reactor each collection`
   timer,       ///< `timer => handler`
};

struct BodySyntax;

struct AttributeSyntax {
   NameSyntax name; ///< empty for a parameter without a name
   std::vector<std::string> documentation;
   AttributeForm form = AttributeForm::scalar;
   NameSyntax type;
   bool constTarget = false;

   bool keyed = false;      ///< brackets are there
   bool keyIsField = false; ///< `[ key field ]`
   PathSyntax key;          ///< a type's name, a field or a path, by form
   Position keyAt;

   PathSyntax path;      ///< behind `through`, `from` and `follows`
   bool follows = false; ///< `follows` rather than `from`

   bool isKey = false, isMutable = false, isRequired = false;
   bool isReadOnly = false, isComputed = false, isConstant = false, isLate = false;
   std::optional<LiteralSyntax> initial;
   NameSyntax handler;               ///< of a timer
   std::unique_ptr<BodySyntax> body; ///< of a reactor
};

/// One line of a reactor: which notification leads to which handlers.
struct ReactionSyntax {
   enum class Condition { none, whenTrue, everyChange };
   NameSyntax event; ///< `onX`, `attach`, `change` or `end`
   bool isImmediate = false;
   std::vector<NameSyntax> handlers; ///< empty for `nothing`
   Condition condition = Condition::none;
};

/// A method that is declared here and written by hand.
struct OperationSyntax {
   NameSyntax name;
   std::vector<std::string> documentation;
   std::vector<AttributeSyntax> parameters;
   std::optional<AttributeSyntax> result;
   bool isConst = false, isStatic = false, isOverride = false, isVirtual = false;
};

struct EnumeratorSyntax {
   NameSyntax name;
   std::vector<std::string> documentation;
   LiteralSyntax number;
   std::optional<std::string> text;
};

struct TypeSyntax;

/// What stands between the braces of an entity, a machine or a reactor.
struct BodySyntax {
   std::vector<AttributeSyntax> attributes;
   std::vector<OperationSyntax> operations;
   std::vector<ReactionSyntax> reactions;
   std::vector<std::unique_ptr<TypeSyntax>> nested;
   std::vector<NameSyntax> birth;
   std::optional<Position> birthAt;
   std::vector<std::string> extra;
   bool runsAtCreation = false;
};

enum class TypeForm { value, enumeration, entity, machine };

struct TypeSyntax {
   TypeForm form = TypeForm::value;
   NameSyntax name;
   std::vector<std::string> documentation;
   std::string namespaceName;
   bool isExtern = false;
   std::string header; ///< with brackets or quotes; empty for a bare forward declaration
   bool isLocal = false, hasFactory = false;
   NameSyntax factoryName; ///< empty: the default name
   std::vector<AttributeSyntax> parameters;
   NameSyntax base;
   std::vector<NameSyntax> baseArguments;
   NameSyntax underlying; ///< of an enumeration
   std::optional<std::string> fallbackText;
   std::vector<EnumeratorSyntax> enumerators;
   BodySyntax body;
};

struct FileSyntax {
   std::vector<NameSyntax> imports;
   std::vector<std::string> includes; ///< with brackets or quotes
   std::vector<std::unique_ptr<TypeSyntax>> types;
   bool isDamaged = false; ///< a part could not be read: names may be missing
};

} // namespace Fenc
