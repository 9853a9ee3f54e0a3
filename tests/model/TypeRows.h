/// What each type of the model is expected to be, as rows that read like its table: attributes in
/// order of their ids, constructor parameters, and whether it travels. Used by the test that holds
/// the rows against the types' descriptions.
#pragma once

#include <gantry/runtime/fen/FenType.h>

#include <string>
#include <vector>

namespace ModelTest {

struct AttributeRow {
   std::string name;
   std::string valueType;
   std::string keyType;
   Fen::AttrKind kind;
};

struct ParameterRow {
   std::string name;
   std::string type;
};

struct TypeRow {
   std::string name;
   /// Any entity of the type.
   Fen::Ptr<Fen::Entity> sample;
   std::vector<ParameterRow> parameters;
   std::vector<AttributeRow> attributes;
   bool travels = true;
};

template <class T>
std::string nameOf() {
   return Fen::TypeName<T>::name;
}

template <class T>
ParameterRow parameter(std::string name) {
   return {std::move(name), nameOf<T>()};
}
inline AttributeRow key(std::string name) {
   return {std::move(name), nameOf<Fen::Name>(), "", Fen::AttrKind::key};
}
template <class T>
AttributeRow fixed(std::string name) {
   return {std::move(name), nameOf<T>(), "", Fen::AttrKind::constructorParameter};
}
template <class T>
AttributeRow scalar(std::string name) {
   return {std::move(name), nameOf<T>(), "", Fen::AttrKind::scalar};
}
template <class T>
AttributeRow reference(std::string name) {
   return {std::move(name), nameOf<T>(), "", Fen::AttrKind::reference};
}
template <class T>
AttributeRow child(std::string name) {
   return {std::move(name), nameOf<T>(), "", Fen::AttrKind::child};
}
/// Without storage of its own.
template <class T>
AttributeRow readOnly(std::string name) {
   return {std::move(name), nameOf<T>(), "", Fen::AttrKind::computed};
}
template <class Key, class T>
AttributeRow values(std::string name) {
   return {std::move(name), nameOf<T>(), nameOf<Key>(), Fen::AttrKind::valueCollection};
}
template <class Key, class T>
AttributeRow keyedValues(std::string name) {
   return {std::move(name), nameOf<T>(), nameOf<Key>(), Fen::AttrKind::keyedValueCollection};
}
template <class Key, class T>
AttributeRow references(std::string name) {
   return {std::move(name), nameOf<T>(), nameOf<Key>(), Fen::AttrKind::referenceCollection};
}
template <class Key, class T>
AttributeRow owned(std::string name) {
   return {std::move(name), nameOf<T>(), nameOf<Key>(), Fen::AttrKind::ownedCollection};
}

/// Records that own one entity each.
template <class Key, class T>
AttributeRow records(std::string name) {
   return {std::move(name), nameOf<T>(), nameOf<Key>(), Fen::AttrKind::recordCollection};
}

/// The rows of what services declare and are told.
std::vector<TypeRow> serviceRows();
/// The rows of what a controller knows of its switches, and of what both share.
std::vector<TypeRow> controllerRows();
/// The rows of the registry and of the tables beside it.
std::vector<TypeRow> registryRows();

} // namespace ModelTest
