// The parts that the texts of a generated header and source are put together from. Each function
// adds the text for one type.
#pragma once

#include <fenc/EmitText.h>
#include <fenc/Model.h>

namespace Fenc {

// Enumerations (EmitValues.cpp). A nested one is defined inside its class, and its functions are
// declared behind the class.
void emitEnumeration(EmitText& out, Type const& type);
void emitEnumerationMembers(EmitText& out, Type const& type);
void emitEnumerationFunctions(EmitText& out, Type const& type);
void emitEnumerationSource(EmitText& out, Type const& type);

// Values (EmitValues.cpp).
void emitValue(EmitText& out, Type const& type);
void emitValueSource(EmitText& out, Type const& type);

// What entities and machines share (EmitMembers.cpp).

/// The parameters of the constructor of `type`, as in its declaration.
std::string constructorParameters(Type const& type);
/// Those that a mutator of `holder` takes to create a member: without back pointers to the owner,
/// and without a name that follows from the key.
std::vector<Attribute const*> createParameters(Attribute const& holder);
std::string declared(std::vector<Attribute const*> const& parameters);
/// What `holder` passes to the constructor of its member, given createParameters().
std::string createArguments(Attribute const& holder);
/// Those that an existing member is compared with, see fenParametersMatch().
std::vector<Attribute const*> comparedParameters(Type const& type);
/// The attributes by which an entity points back at other entities, such as its owner.
std::vector<Attribute const*> backPointers(Type const& type);
std::string named(std::vector<Attribute const*> const& parameters);
/// The key of a member that is to be created, as an expression over createParameters().
std::string keyExpression(Attribute const& holder);
/// Where the key stands among createParameters(); -1 when it is read from one of them, by the
/// function that emitKeyFunction() defines.
int keyPosition(Attribute const& holder);
std::string keyFunction(Attribute const& holder);
void emitKeyFunction(EmitText& out, Attribute const& holder);
/// The key for the body of find-or-create: its parameter, or what the function gives.
std::string createKey(Attribute const& holder);
/// The body of an accessor that is read through a path.
void emitThrough(EmitText& out, Type const& type, Attribute const& attribute);
void emitOperations(EmitText& out, Type const& type);
/// The static tables of a type and the operations that read them.
void emitTables(EmitText& out, Type const& type);
/// The template, with its arguments, that makes an attribute's table of functions for generic code
/// (EmitReflection.cpp).
std::string accessKind(Type const& type, Attribute const& attribute);
/// The names of a class for reflection, `_Type` and `GenericIf_`.
void emitReflectionNames(EmitText& out, Type const& type);
/// How generic code finds the members of a machine's collection.
void emitMemberTraits(EmitText& out, Attribute const& attribute, std::string const& member);
/// The name of a class inside its namespace, such as "MountSm::UnmounterSm".
std::string scopedName(Type const& type);
/// The same as one word, such as "MountSm_UnmounterSm".
std::string flatName(Type const& type);
/// Whether a class is complete wherever `user` is defined.
bool isCompleteBefore(Type const& type, Type const& user);

/// How a collection reads the key of a member that is not its name: the declaration, or with
/// `defines` the definition.
void emitMemberKey(EmitText& out, Attribute const& holder, bool defines);

// What makes an entity travel (EmitAdapter.cpp).

/// Whether entities of the type have an attribute log.
bool travels(Type const& entity);
void emitAdapter(EmitText& out, Type const& type);
void emitAdapterSource(EmitText& out, Type const& type);
/// The constructor's parameters of an entity, to be sent and compared.
void emitParameters(EmitText& out, Type const& type);

// Machines and their reactors (EmitMachine.cpp, EmitMachineSource.cpp, EmitReactorSource.cpp).

/// What one notification does in a reactor.
struct Slot {
   Attribute const* event = nullptr;
   Reaction const* plain = nullptr;
   Reaction const* immediate = nullptr;
   std::vector<Attribute const*> followers; ///< reactors that it moves along
};
std::vector<Slot> slotsOf(Type const& reactor);
/// The class that a nested reactor derives from.
std::string reactorBase(Type const& type);
/// A counted pointer to what a reactor watches.
std::string watchedPointer(Type const& type);
/// The accessor of a reactor that gives what it watches.
std::string watchedName(Type const& type);
/// What runs when a reactor goes for good, null for nothing.
Reaction const* endOf(Type const& reactor);
/// Whether a machine or reactor holds reactors or machines of its own.
bool holdsNested(Type const& type);
bool isNested(Attribute const& attribute);
/// The class of an owned member, or of a reactor.
std::string memberClass(Attribute const& attribute);

/// The class alone; the classes nested in it are forward declared there.
void emitMachine(EmitText& out, Type const& type);
void emitNestedClasses(EmitText& out, Type const& type);
/// The bodies of a machine and of all that is nested in it.
void emitMachineSource(EmitText& out, Type const& type);
void emitReactorSource(EmitText& out, Type const& type);
/// The bodies of the accessors of a machine or reactor, and the passing on of what concerns all
/// that it holds.
void emitHolderSource(EmitText& out, Type const& type);
/// Calls a handler from inside a method of `type`. `access` names the object that is `reached`
/// classes outward already, with its arrow.
void emitHandlerCall(EmitText& out, Type const& type, Handler const& handler,
                     std::string const& argument, std::string access = {}, unsigned reached = 0);

// Entities (EmitEntity.cpp, EmitEntitySource.cpp).
void emitEntity(EmitText& out, Type const& type);
void emitEntitySource(EmitText& out, Type const& type);

} // namespace Fenc
