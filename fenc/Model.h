// The resolved model of a set of schema files: every name is a pointer, every attribute has its
// kind, its identifier and its key.
//
// Built by the Resolver, owned by the Compiler of one run, and read by the emitters, which find
// in it all that they write. Pointers between its objects are valid as long as the Model lives.
#pragma once

#include <fenc/Diagnostics.h>
#include <fenc/Syntax.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Fenc {

struct Attribute;
struct Module;
struct Operation;
struct Type;

enum class TypeKind { builtin, value, enumeration, entity, machine, reactor };

/// What a builtin type or an extern value is like, as far as literals and keys care.
enum class Shape { none, boolean, integer, real, text };

enum class AttributeKind {
   scalar,              ///< a value of a builtin, value or enumeration type
   reference,           ///< a counted pointer to an entity
   owned,               ///< a single owned child, entity or machine
   back,                ///< a plain back pointer
   scalarCollection,    ///< key to value
   valueCollection,     ///< values that carry their key in a field
   referenceCollection, ///< key to counted pointer
   ownedCollection,     ///< key to owned entity or machine
   recordCollection,    ///< key to a record that owns one entity
   through,             ///< read through a chain of other attributes, without storage
   computed,            ///< read by a hand-written method, without storage
   constant,            ///< a number of the type, without storage
   reactor,             ///< a nested reactor
   reactorCollection,   ///< nested reactors by a key of what they watch
   timer,               ///< a nested reactor on the clock
};

bool isCollection(AttributeKind kind);

/// A chain of accessors. A step without an attribute is the `name` of an entity.
struct Path {
   std::vector<Attribute const*> steps;
   Type const* type = nullptr; ///< type of the last step
   bool isReference = false;   ///< the last step gives a counted pointer
   bool constTarget = false;   ///< ... to a const object

   bool any() const { return !steps.empty(); }
};

/// A constant in the schema, checked against the type that it is for.
struct Literal {
   LiteralSyntax::Kind kind = LiteralSyntax::Kind::integer;
   std::string text;
   Type const* enumeration = nullptr; ///< for an enumerator
};

struct Attribute {
   std::string name;
   std::vector<std::string> documentation;
   Position at;
   Type* owner = nullptr;
   AttributeKind kind = AttributeKind::scalar;
   unsigned id = 0;          ///< 258 and up, in declared order
   bool hasPlace = true;     ///< false for the name of an entity that is no attribute
   bool isParameter = false; ///< given to the constructor
   bool isKey = false;       ///< holds the entity's own name
   bool isMutable = true;    ///< has a mutator
   bool isRequired = false;  ///< a pointer that may not be null
   bool isLate = false;      ///< a timer that is made by its mutator rather than at birth

   Type const* type = nullptr; ///< of the value, the target, the member, the watched entity
   bool constTarget = false;
   Type const* keyType = nullptr;
   Attribute const* keyField = nullptr; ///< of a value that carries its key
   Path keyPath;                        ///< from the member (or the watched entity) to its key
   Path path;                           ///< of a `through`; of a reactor's `from` or `follows`
   bool follows = false;
   Attribute const* each = nullptr; ///< the collection whose members a reactor is paired with
   std::optional<Literal> initial;
   Type* reactorClass = nullptr; ///< of reactors and timers
   AttributeSyntax const* syntax = nullptr;

   bool isWritten() const; ///< has storage and a notifiee slot: neither parameter nor derived
};

/// A type that stands in a signature.
struct SignatureType {
   Type const* type = nullptr;
   AttributeKind kind = AttributeKind::scalar; ///< scalar, reference or back
   bool constTarget = false;
};

struct OperationParameter {
   std::string name;
   SignatureType type;
};

struct Operation {
   std::string name;
   std::vector<std::string> documentation;
   Position at;
   Type* owner = nullptr;
   std::vector<OperationParameter> parameters;
   std::optional<SignatureType> result;
   bool isConst = false, isStatic = false, isOverride = false, isVirtual = false;
};

/// A handler as a reactor calls it: the method and how many classes outward it stands.
struct Handler {
   Operation const* operation = nullptr;
   unsigned outward = 0;
   /// In a list of what attaching runs instead: the reactor that follows and has its turn here.
   Attribute const* follower = nullptr;
};

struct Reaction {
   Attribute const* event = nullptr; ///< null for `attach`, `change`, `end` and a timer
   bool isAttach = false;
   bool isChange = false;
   bool isEnd = false;
   bool isImmediate = false;
   ReactionSyntax::Condition condition = ReactionSyntax::Condition::none;
   std::vector<Handler> handlers;
};

struct Enumerator {
   std::string name;
   std::vector<std::string> documentation;
   long long number = 0;
   std::string text;
};

struct Type {
   TypeKind kind = TypeKind::builtin;
   std::string name;
   std::string namespaceName; ///< such as "Controller", empty for the global one
   Type* outer = nullptr;     ///< the class that it is nested in
   Position at;
   std::vector<std::string> documentation;
   Module const* module = nullptr;
   bool isExtern = false;
   bool isForward = false; ///< extern without a header: only its name is known
   std::string header;     ///< of an extern type, with brackets or quotes
   Shape shape = Shape::none;
   std::string cppName; ///< full name in C++, such as "Controller::MountSm::SmState"

   Type const* underlying = nullptr;
   std::vector<Enumerator> enumerators;
   std::string fallbackText;

   std::vector<std::unique_ptr<Attribute>> attributes; ///< in the order of their ids
   std::vector<Attribute*> parameters;                 ///< in the order of the constructor
   std::vector<std::unique_ptr<Type>> nested;          ///< in declared order, reactors included
   std::vector<std::unique_ptr<Operation>> operations;
   std::vector<Reaction> reactions;
   std::vector<Handler> birth;
   std::vector<std::string> extra;
   Type const* base = nullptr;
   std::vector<Attribute const*> baseArguments;
   bool isLocal = false, hasFactory = false;
   std::string factoryName;

   Attribute* holder = nullptr; ///< of a reactor: the attribute that holds it
   Type const* watched = nullptr;
   bool constWatched = false;
   bool runsAtCreation = false;
   bool hasAttach = false; ///< a reaction says what attaching runs

   TypeSyntax const* syntax = nullptr;
   BodySyntax const* body = nullptr;

   Attribute* attribute(std::string const& name) const;
   /// The parameter that holds the entity's own name, null when it has none.
   Attribute* nameParameter() const;
   /// The attribute that the entity's own name is read through, null when it has none.
   Attribute* nameThrough() const;
};

/// One schema file.
struct Module {
   std::string importName; ///< such as "gantry/model/Model.fen"
   std::unique_ptr<FileSyntax> syntax;
   std::vector<Module const*> imports; ///< in the order of the file
   std::vector<Module const*> visible; ///< itself and all that it imports, directly or not
   std::vector<std::unique_ptr<Type>> types;

   /// The include line of its generated header, such as "gantry/model/Model.fen.h".
   std::string headerPath() const { return importName + ".h"; }
};

struct Model {
   std::vector<std::unique_ptr<Type>> builtins;
   std::vector<std::unique_ptr<Module>> modules; ///< what is imported comes before its importer
};

/// The members of the generated class that an attribute stands for.
std::vector<std::string> accessorNames(Attribute const& attribute);
/// The slots of the generated notifiee class that an attribute stands for.
std::vector<std::string> slotNames(Attribute const& attribute);

/// `mountState` becomes `MountState`.
std::string upperFirst(std::string text);
/// `MountSm` becomes `mountSm`.
std::string lowerFirst(std::string text);

} // namespace Fenc
