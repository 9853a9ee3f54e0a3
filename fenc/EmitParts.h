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
std::string named(std::vector<Attribute const*> const& parameters);
/// The key of a member that is to be created, as an expression over createParameters().
std::string keyExpression(Attribute const& holder);
/// The body of an accessor that is read through a path.
void emitThrough(EmitText& out, Type const& type, Attribute const& attribute);
void emitOperations(EmitText& out, Type const& type);
/// The static tables of a type and the operations that read them.
void emitTables(EmitText& out, Type const& type);
/// The name of a class inside its namespace, such as "MountSm::UnmounterSm".
std::string scopedName(Type const& type);
/// Whether a class is complete wherever `user` is defined.
bool isCompleteBefore(Type const& type, Type const& user);

/// How a collection reads the key of a member that is not its name: the declaration, or with
/// `defines` the definition.
void emitMemberKey(EmitText& out, Attribute const& holder, bool defines);

// Machines (EmitMachine.cpp, EmitMachineSource.cpp).
void emitMachine(EmitText& out, Type const& type);
void emitMachineSource(EmitText& out, Type const& type);

// Entities (EmitEntity.cpp, EmitEntitySource.cpp).
void emitEntity(EmitText& out, Type const& type);
void emitEntitySource(EmitText& out, Type const& type);

} // namespace Fenc
