// The second phase of the Resolver: the attributes of every type, their kinds and identifiers.

#include <fenc/Resolver.h>

#include <utility>

namespace Fenc {

namespace {

/// Identifiers below this are the framework's.
constexpr unsigned firstAttributeId = 258;

bool isValueLike(Type const& type) {
   return type.kind == TypeKind::builtin || type.kind == TypeKind::value ||
          type.kind == TypeKind::enumeration;
}

bool isParameterOf(Type const& type, AttributeSyntax const& syntax) {
   if (type.syntax == nullptr) {
      return false;
   }
   for (AttributeSyntax const& parameter : type.syntax->parameters) {
      if (&parameter == &syntax) {
         return true;
      }
   }
   return false;
}

bool isMachineLike(Type const& type) {
   return type.kind == TypeKind::machine || type.kind == TypeKind::reactor;
}

} // namespace

void Resolver::attributes(Type& type) {
   if (type.kind == TypeKind::enumeration || type.body == nullptr) {
      return;
   }
   std::vector<std::unique_ptr<Attribute>> waiting;
   if (type.syntax != nullptr) {
      for (AttributeSyntax const& syntax : type.syntax->parameters) {
         auto parameter = resolve(type, syntax);
         parameter->isParameter = true;
         parameter->isMutable = syntax.isMutable;
         checkParameter(*parameter);
         type.parameters.push_back(parameter.get());
         waiting.push_back(std::move(parameter));
      }
   }
   // Parameters that the body does not place come first, in their order.
   for (auto& parameter : waiting) {
      bool placed = false;
      for (AttributeSyntax const& syntax : type.body->attributes) {
         placed = placed ||
                  (syntax.form == AttributeForm::parameter && syntax.name.text == parameter->name);
      }
      if (!placed) {
         addAttribute(type, std::move(parameter));
      }
   }
   for (AttributeSyntax const& syntax : type.body->attributes) {
      if (syntax.form == AttributeForm::parameter) {
         placeParameter(type, syntax, waiting);
      } else {
         addAttribute(type, resolve(type, syntax));
      }
   }
   unsigned id = firstAttributeId;
   for (auto const& attribute : type.attributes) {
      if (attribute->hasPlace) {
         attribute->id = id++;
      }
   }
}

void Resolver::addAttribute(Type& type, std::unique_ptr<Attribute> attribute) {
   if (type.attribute(attribute->name) != nullptr) {
      diagnostics_.error(attribute->at, "duplicate name: the attribute '" + attribute->name +
                                           "' is declared already");
   }
   type.attributes.push_back(std::move(attribute));
}

void Resolver::placeParameter(Type& type, AttributeSyntax const& syntax,
                              std::vector<std::unique_ptr<Attribute>>& waiting) {
   for (auto& parameter : waiting) {
      if (parameter && parameter->name == syntax.name.text && parameter->hasPlace) {
         if (parameter->documentation.empty()) {
            parameter->documentation = syntax.documentation;
         }
         addAttribute(type, std::move(parameter));
         return;
      }
   }
   diagnostics_.error(syntax.name.at,
                      type.attribute(syntax.name.text) != nullptr
                         ? "duplicate name: the parameter '" + syntax.name.text +
                              "' has its place already"
                         : "'" + syntax.name.text + "' is no parameter of the constructor");
}

std::unique_ptr<Attribute> Resolver::resolve(Type& type, AttributeSyntax const& syntax) {
   auto attribute = std::make_unique<Attribute>();
   attribute->name = syntax.name.text;
   attribute->at = syntax.name.at;
   attribute->documentation = syntax.documentation;
   attribute->owner = &type;
   attribute->syntax = &syntax;
   attribute->constTarget = syntax.constTarget;
   attribute->isKey = syntax.isKey;
   attribute->isRequired = syntax.isRequired;
   attribute->isLate = syntax.isLate;
   attribute->follows = syntax.follows;
   if (attribute->name.empty()) {
      attribute->name = "name";
      attribute->hasPlace = false;
      attribute->isKey = true;
   }
   resolveForm(*attribute, syntax);
   checkModifiers(*attribute, syntax);
   if (syntax.initial) {
      initial(*attribute, *syntax.initial);
   }
   return attribute;
}

void Resolver::resolveForm(Attribute& attribute, AttributeSyntax const& syntax) {
   Type& owner = *attribute.owner;
   auto target = [&](char const* what) {
      attribute.type = find(syntax.type, owner, what);
      if (attribute.type != nullptr && isValueLike(*attribute.type)) {
         diagnostics_.error(syntax.type.at, "'" + syntax.type.text + "' is a value: " + what +
                                               " is an entity or a machine");
         attribute.type = nullptr;
      } else if (attribute.type != nullptr && attribute.type->kind == TypeKind::machine &&
                 !isMachineLike(owner) && syntax.form != AttributeForm::back) {
         diagnostics_.error(syntax.type.at,
                            "only a machine can hold the machine '" + syntax.type.text + "'");
      }
   };
   switch (syntax.form) {
   case AttributeForm::scalar:
      resolveScalar(attribute, syntax);
      break;
   case AttributeForm::reference:
      attribute.kind = syntax.keyed ? AttributeKind::referenceCollection : AttributeKind::reference;
      target("the target of 'ref'");
      attribute.keyType = keyTypeOf(attribute, syntax);
      break;
   case AttributeForm::owned:
      attribute.kind = syntax.keyed ? AttributeKind::ownedCollection : AttributeKind::owned;
      target("what 'owns' holds");
      if (attribute.type != nullptr) {
         needHeader(*attribute.type, syntax.type.at, "'owns'");
      }
      if (syntax.constTarget) {
         diagnostics_.error(syntax.type.at, "what is owned cannot be const");
      }
      break;
   case AttributeForm::record:
      attribute.kind = AttributeKind::recordCollection;
      target("what a record owns");
      attribute.keyType = keyTypeOf(attribute, syntax);
      if (!syntax.keyed || isMachineLike(owner) || syntax.constTarget) {
         diagnostics_.error(syntax.type.at,
                            "records stand in a collection of an entity, such as 'record T[ K ]'");
      }
      break;
   case AttributeForm::back:
      attribute.kind = AttributeKind::back;
      target("what a back pointer points to");
      break;
   case AttributeForm::through:
      attribute.kind = AttributeKind::through;
      attribute.isMutable = false;
      break;
   case AttributeForm::reactor:
   case AttributeForm::reactorEach:
   case AttributeForm::timer:
      resolveReactor(attribute, syntax);
      break;
   case AttributeForm::parameter:
      diagnostics_.error(syntax.name.at, "'param' stands in the body of a type only");
      break;
   }
}

void Resolver::resolveScalar(Attribute& attribute, AttributeSyntax const& syntax) {
   attribute.kind = !syntax.keyed       ? AttributeKind::scalar
                    : syntax.keyIsField ? AttributeKind::valueCollection
                                        : AttributeKind::scalarCollection;
   attribute.type = find(syntax.type, *attribute.owner, "an attribute");
   if (attribute.type == nullptr) {
      return;
   }
   if (!isValueLike(*attribute.type)) {
      diagnostics_.error(syntax.type.at, "'" + syntax.type.text +
                                            "' is no value: it is held by "
                                            "'ref', 'owns' or 'back'");
      attribute.type = nullptr;
   } else if (attribute.kind == AttributeKind::scalarCollection) {
      attribute.keyType = keyTypeOf(attribute, syntax);
   } else if (attribute.kind == AttributeKind::valueCollection &&
              attribute.type->kind != TypeKind::value) {
      diagnostics_.error(syntax.type.at, "only a value type has a key field");
   }
}

Type const* Resolver::keyTypeOf(Attribute const& attribute, AttributeSyntax const& syntax) {
   if (!syntax.keyed) {
      return nullptr;
   }
   if (syntax.keyIsField) {
      diagnostics_.error(syntax.keyAt, "only a collection of values is keyed by a field");
      return nullptr;
   }
   Type const* const type = find(syntax.key.steps[0], *attribute.owner, "a key");
   bool const fits = type != nullptr && isValueLike(*type) && type->shape != Shape::real &&
                     type->shape != Shape::boolean && type->kind != TypeKind::enumeration;
   if (type != nullptr && !fits) {
      diagnostics_.error(syntax.keyAt, "a key is a text, an integer or a value, not '" +
                                          syntax.key.steps[0].text + "'");
      return nullptr;
   }
   return type;
}

void Resolver::resolveReactor(Attribute& attribute, AttributeSyntax const& syntax) {
   static BodySyntax const empty;
   Type& owner = *attribute.owner;
   attribute.kind = syntax.form == AttributeForm::timer ? AttributeKind::timer
                    : syntax.form == AttributeForm::reactorEach || syntax.keyed
                       ? AttributeKind::reactorCollection
                       : AttributeKind::reactor;
   if (!isMachineLike(owner)) {
      diagnostics_.error(syntax.name.at, "only a machine can hold a reactor");
   }
   if (syntax.form == AttributeForm::reactor) {
      attribute.type = find(syntax.type, owner, "what a reactor watches");
      if (attribute.type != nullptr && attribute.type->kind != TypeKind::entity) {
         diagnostics_.error(syntax.type.at,
                            "a reactor watches an entity, not '" + syntax.type.text + "'");
         attribute.type = nullptr;
      } else if (attribute.type != nullptr) {
         needHeader(*attribute.type, syntax.type.at, "a reactor");
      }
   }
   auto reactor = std::make_unique<Type>();
   reactor->kind = TypeKind::reactor;
   reactor->name = "Fen" + upperFirst(attribute.name);
   reactor->namespaceName = owner.namespaceName;
   reactor->outer = &owner;
   reactor->cppName = owner.cppName + "::" + reactor->name;
   reactor->at = attribute.at;
   reactor->module = owner.module;
   reactor->holder = &attribute;
   reactor->watched = attribute.type;
   reactor->constWatched = attribute.constTarget;
   reactor->body = syntax.body ? syntax.body.get() : &empty;
   reactor->runsAtCreation = syntax.body && syntax.body->runsAtCreation;
   attribute.reactorClass = reactor.get();
   all_.push_back(reactor.get());
   Module& module = const_cast<Module&>(*owner.module);
   Type* const shown = reactor.get();
   owner.nested.push_back(std::move(reactor));
   for (auto const& nested : shown->body->nested) {
      declareType(module, *nested, shown);
      diagnostics_.error(nested->name.at,
                         "bad nesting: a type cannot be declared inside a reactor");
   }
}

void Resolver::checkModifiers(Attribute& attribute, AttributeSyntax const& syntax) {
   Type const& owner = *attribute.owner;
   AttributeKind const kind = attribute.kind;
   bool const isPlain = kind == AttributeKind::scalar || kind == AttributeKind::reference;
   if (syntax.isRequired && kind != AttributeKind::reference && kind != AttributeKind::reactor) {
      diagnostics_.error(syntax.name.at, "only a pointer can be required");
   }
   if (syntax.isComputed || syntax.isConstant) {
      attribute.kind = syntax.isComputed ? AttributeKind::computed : AttributeKind::constant;
      attribute.isMutable = false;
      if (!isPlain || (syntax.isComputed && syntax.isConstant)) {
         diagnostics_.error(syntax.name.at,
                            "only a value or a reference can be computed or constant");
      }
      if (syntax.isConstant && (!syntax.initial || kind != AttributeKind::scalar)) {
         diagnostics_.error(syntax.name.at, "a constant needs its value, such as '= 30.0'");
      }
   }
   if (syntax.isReadOnly) {
      attribute.isMutable = false;
      if (!isPlain) {
         diagnostics_.error(syntax.name.at, "only a value or a reference can be readonly");
      }
   }
   bool const isThrough = kind == AttributeKind::through;
   if (syntax.isKey && isThrough && owner.kind != TypeKind::entity) {
      diagnostics_.error(syntax.name.at, "only an entity has a key of its own");
   } else if (syntax.isKey && !isThrough && attribute.hasPlace && !isParameterOf(owner, syntax)) {
      diagnostics_.error(syntax.name.at, "a key is a parameter or read through one");
   }
   bool const isValue = owner.kind == TypeKind::value;
   if (isValue && (syntax.isReadOnly || syntax.isComputed || syntax.isConstant)) {
      diagnostics_.error(syntax.name.at, "a field of a value has no modifiers");
   }
}

void Resolver::checkParameter(Attribute& attribute) {
   AttributeSyntax const& syntax = *attribute.syntax;
   Type const& owner = *attribute.owner;
   AttributeKind const kind = attribute.kind;
   bool const plain = kind == AttributeKind::scalar || kind == AttributeKind::reference ||
                      kind == AttributeKind::back || kind == AttributeKind::reactor;
   if (!plain) {
      diagnostics_.error(attribute.at, "a parameter is a value, a 'ref', a 'back' or a 'reactor'");
   }
   if (syntax.isReadOnly || syntax.initial || syntax.isLate || !syntax.path.steps.empty()) {
      diagnostics_.error(attribute.at, "a parameter gets its value from the caller");
   }
   if (syntax.isMutable && (owner.kind != TypeKind::entity || syntax.isKey)) {
      diagnostics_.error(attribute.at, "only a parameter of an entity can be mutable, not its key");
   }
   if (!attribute.isKey) {
      return;
   }
   for (Attribute const* other : owner.parameters) {
      if (other->isKey) {
         diagnostics_.error(attribute.at,
                            "duplicate key: '" + other->name + "' holds the name already");
      }
   }
   bool const isName = attribute.type != nullptr && attribute.type->cppName == "Fen::Name";
   bool const isNamed = owner.kind == TypeKind::entity || !owner.syntax->base.text.empty();
   if (!isNamed || !isName || kind != AttributeKind::scalar) {
      if (attribute.type != nullptr || !attribute.hasPlace) {
         diagnostics_.error(attribute.at,
                            attribute.hasPlace
                               ? "a key is a parameter of type Name of an entity"
                               : "a parameter without a name is the Name of an entity");
      }
   }
}

void Resolver::initial(Attribute& attribute, LiteralSyntax const& literal) {
   Type const* const type = attribute.type;
   if (type == nullptr) {
      return;
   }
   if (attribute.kind != AttributeKind::scalar && attribute.kind != AttributeKind::constant) {
      diagnostics_.error(literal.at, "only a value can have an initial value");
      return;
   }
   Literal result{literal.kind, literal.text, nullptr};
   bool fits = false;
   using Kind = LiteralSyntax::Kind;
   if (type->kind == TypeKind::enumeration && literal.kind == Kind::word) {
      result.enumeration = type;
      fits = type->isExtern;
      for (EnumeratorSyntax const& each : type->syntax->enumerators) {
         fits = fits || each.name.text == literal.text;
      }
   } else if (type->shape == Shape::boolean) {
      fits = literal.kind == Kind::word && (literal.text == "true" || literal.text == "false");
   } else if (type->shape == Shape::integer) {
      bool const isUnsigned = type->cppName.find("uint") != std::string::npos;
      fits = literal.kind == Kind::integer && !(isUnsigned && literal.text[0] == '-');
   } else if (type->shape == Shape::real) {
      fits = literal.kind == Kind::real || literal.kind == Kind::integer;
   } else if (type->shape == Shape::text) {
      fits = literal.kind == Kind::text;
   }
   if (!fits) {
      diagnostics_.error(literal.at, "this is no value of the type '" + type->cppName + "'");
   }
   attribute.initial = result;
}

} // namespace Fenc
