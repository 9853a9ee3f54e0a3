// The fourth phase of the Resolver: declared operations, and which of them a notification calls.

#include <fenc/Resolver.h>

#include <utility>

namespace Fenc {

bool Resolver::signature(SignatureType& result, AttributeSyntax const& syntax, Type const& from) {
   bool const plain = syntax.form == AttributeForm::scalar ||
                      syntax.form == AttributeForm::reference || syntax.form == AttributeForm::back;
   if (!plain || syntax.keyed || syntax.initial) {
      diagnostics_.error(syntax.name.at,
                         "an operation takes and gives values, 'ref' and 'back' pointers only");
      return false;
   }
   result.type = find(syntax.type, from, "an operation");
   result.constTarget = syntax.constTarget;
   result.kind = syntax.form == AttributeForm::reference ? AttributeKind::reference
                 : syntax.form == AttributeForm::back    ? AttributeKind::back
                                                         : AttributeKind::scalar;
   if (result.type == nullptr) {
      return false;
   }
   bool const isObject =
      result.type->kind == TypeKind::entity || result.type->kind == TypeKind::machine;
   if (isObject != (syntax.form != AttributeForm::scalar)) {
      diagnostics_.error(syntax.type.at, isObject ? "an entity or a machine is passed by 'ref' or "
                                                    "'back'"
                                                  : "a value is passed without 'ref' and 'back'");
      return false;
   }
   return true;
}

void Resolver::operations(Type& type) {
   if (type.body == nullptr) {
      return;
   }
   for (OperationSyntax const& syntax : type.body->operations) {
      auto operation = std::make_unique<Operation>();
      operation->name = syntax.name.text;
      operation->documentation = syntax.documentation;
      operation->at = syntax.name.at;
      operation->owner = &type;
      operation->isConst = syntax.isConst;
      operation->isStatic = syntax.isStatic;
      operation->isOverride = syntax.isOverride;
      operation->isVirtual = syntax.isVirtual;
      for (AttributeSyntax const& each : syntax.parameters) {
         OperationParameter parameter;
         parameter.name = each.name.text;
         for (OperationParameter const& other : operation->parameters) {
            if (other.name == parameter.name) {
               diagnostics_.error(each.name.at, "duplicate name: the parameter '" + other.name +
                                                   "' is declared already");
            }
         }
         signature(parameter.type, each, type);
         operation->parameters.push_back(std::move(parameter));
      }
      if (syntax.result) {
         operation->result.emplace();
         signature(*operation->result, *syntax.result, type);
      }
      for (auto const& other : type.operations) {
         bool same = other->name == operation->name &&
                     other->parameters.size() == operation->parameters.size();
         for (std::size_t i = 0; same && i < operation->parameters.size(); ++i) {
            SignatureType const& left = other->parameters[i].type;
            SignatureType const& right = operation->parameters[i].type;
            same = left.type == right.type && left.kind == right.kind &&
                   left.constTarget == right.constTarget;
         }
         if (same) {
            diagnostics_.error(operation->at, "duplicate name: the operation '" + operation->name +
                                                 "' is declared already with these parameters");
         }
      }
      type.operations.push_back(std::move(operation));
   }
   type.extra = type.body->extra;
}

namespace {

/// Whether code in a class reaches the object of the class around it.
bool knowsOuter(Type const& type) {
   if (type.kind == TypeKind::reactor) {
      return true;
   }
   for (Attribute const* parameter : type.parameters) {
      if (parameter->kind == AttributeKind::back && parameter->type == type.outer) {
         return true;
      }
   }
   return false;
}

} // namespace

bool Resolver::handler(NameSyntax const& name, Type const& from, Type const* key, Handler& result) {
   std::size_t const wanted = key != nullptr ? 1 : 0;
   bool known = false;
   unsigned outward = 0;
   Type const* previous = nullptr;
   bool reachable = true;
   for (Type const* scope = &from; scope != nullptr; scope = scope->outer, ++outward) {
      if (outward > 0) {
         reachable = reachable && knowsOuter(*previous);
      }
      previous = scope;
      for (auto const& operation : scope->operations) {
         if (operation->name != name.text) {
            continue;
         }
         known = true;
         if (!reachable) {
            diagnostics_.error(name.at, "the handler '" + name.text +
                                           "' is out of reach: there is no back pointer to '" +
                                           scope->cppName + "'");
            return false;
         }
         if (operation->parameters.size() != wanted || operation->isStatic) {
            continue;
         }
         if (key != nullptr) {
            Type const* const parameter = operation->parameters[0].type.type;
            bool const bothTexts =
               parameter != nullptr && parameter->shape == Shape::text && key->shape == Shape::text;
            if (parameter != key && !bothTexts) {
               continue;
            }
         }
         result.operation = operation.get();
         result.outward = outward;
         return true;
      }
   }
   if (!known) {
      diagnostics_.error(name.at, "unknown handler '" + name.text + "'");
   } else if (key != nullptr) {
      diagnostics_.error(name.at, "no form of the handler '" + name.text +
                                     "' takes one key of type '" + key->cppName + "'");
   } else {
      diagnostics_.error(name.at, "no form of the handler '" + name.text + "' takes no parameter");
   }
   return false;
}

void Resolver::reactions(Type& type) {
   if (type.body == nullptr) {
      return;
   }
   if (type.kind == TypeKind::reactor && type.watched == nullptr &&
       type.holder->kind != AttributeKind::timer) {
      return; // what it watches was reported
   }
   for (ReactionSyntax const& syntax : type.body->reactions) {
      std::string const& event = syntax.event.text;
      if (event == "attach" || event == "change" || event == "end") {
         attachReaction(type, syntax);
      } else {
         reaction(type, syntax);
      }
   }
}

namespace {

/// The reactor of that name that follows an attribute of what `type` watches, null when none does.
Attribute const* followerOf(Type const& type, std::string const& name) {
   for (Type const* holder : {static_cast<Type const*>(type.outer), &type}) {
      Attribute const* const attribute = holder->attribute(name);
      if (attribute != nullptr && attribute->follows && attribute->path.any() &&
          attribute->path.steps[0] == type.holder) {
         return attribute;
      }
   }
   return nullptr;
}

} // namespace

void Resolver::attachReaction(Type& type, ReactionSyntax const& syntax) {
   Reaction result;
   result.isAttach = syntax.event.text == "attach";
   result.isChange = syntax.event.text == "change";
   result.isEnd = syntax.event.text == "end";
   for (Reaction const& other : type.reactions) {
      bool const isSame = other.isAttach == result.isAttach && other.isChange == result.isChange &&
                          other.isEnd == result.isEnd;
      if (isSame) {
         diagnostics_.error(syntax.event.at, "duplicate key: there is a reaction to '" +
                                                syntax.event.text + "' already");
      }
   }
   if (syntax.isImmediate || syntax.condition != ReactionSyntax::Condition::none) {
      diagnostics_.error(syntax.event.at, "'" + syntax.event.text + "' has no condition");
   }
   if (result.isChange &&
       (type.holder->kind != AttributeKind::reactor || type.holder->isParameter)) {
      diagnostics_.error(syntax.event.at, "'change' is for a single reactor with a mutator");
   }
   type.hasAttach = type.hasAttach || result.isAttach;
   for (NameSyntax const& name : syntax.handlers) {
      Handler found;
      found.follower = result.isAttach ? followerOf(type, name.text) : nullptr;
      if (found.follower != nullptr || handler(name, type, nullptr, found)) {
         result.handlers.push_back(found);
      }
   }
   type.reactions.push_back(std::move(result));
}

void Resolver::reaction(Type& type, ReactionSyntax const& syntax) {
   std::string const& event = syntax.event.text;
   Attribute const* attribute = nullptr;
   for (auto const& candidate : type.watched->attributes) {
      if (event == "on" + upperFirst(candidate->name) && candidate->isWritten()) {
         attribute = candidate.get();
      }
   }
   if (attribute == nullptr) {
      diagnostics_.error(syntax.event.at,
                         "'" + type.watched->cppName + "' has no notification '" + event + "'");
      return;
   }
   bool const collection = isCollection(attribute->kind);
   bool const isBoolean = attribute->kind == AttributeKind::scalar && attribute->type != nullptr &&
                          attribute->type->shape == Shape::boolean;
   if (syntax.isImmediate && !collection) {
      diagnostics_.error(syntax.event.at, "only a collection has an 'immediate' notification");
   }
   if (isBoolean && syntax.condition == ReactionSyntax::Condition::none) {
      diagnostics_.error(syntax.event.at, "the reaction to a bool says 'when true' or "
                                          "'on every change'");
   } else if (!isBoolean && syntax.condition != ReactionSyntax::Condition::none) {
      diagnostics_.error(syntax.event.at, "only the reaction to a bool has a condition");
   }
   for (Reaction const& other : type.reactions) {
      if (other.event == attribute && other.isImmediate == syntax.isImmediate) {
         diagnostics_.error(syntax.event.at,
                            "duplicate key: there is a reaction to '" + event + "' already");
      }
   }
   Reaction result;
   result.event = attribute;
   result.isImmediate = syntax.isImmediate;
   result.condition = syntax.condition;
   Type const* const key = collection && !syntax.isImmediate ? attribute->keyType : nullptr;
   if (collection && attribute->keyType == nullptr) {
      return; // the key was reported
   }
   for (NameSyntax const& name : syntax.handlers) {
      Handler found;
      if (handler(name, type, key, found)) {
         result.handlers.push_back(found);
      }
   }
   type.reactions.push_back(std::move(result));
}

void Resolver::birth(Type& type) {
   if (type.body == nullptr) {
      return;
   }
   if (type.body->birthAt && type.kind != TypeKind::machine && type.kind != TypeKind::reactor) {
      diagnostics_.error(*type.body->birthAt, "only a machine says what runs at its birth");
      return;
   }
   for (NameSyntax const& name : type.body->birth) {
      Handler found;
      if (handler(name, type, nullptr, found)) {
         type.birth.push_back(found);
      }
   }
   bool const isHolder = type.kind == TypeKind::machine || type.kind == TypeKind::reactor;
   if (type.body->birthAt || !isHolder) {
      return;
   }
   for (auto const& operation : type.operations) {
      if (operation->name == "handleInitialized" && operation->parameters.empty()) {
         type.birth.push_back({operation.get(), 0});
      }
   }
}

void Resolver::timers(Type& type) {
   for (auto const& attribute : type.attributes) {
      if (attribute->kind != AttributeKind::timer || attribute->reactorClass == nullptr) {
         continue;
      }
      Handler found;
      if (handler(attribute->syntax->handler, *attribute->reactorClass, nullptr, found)) {
         Reaction reaction;
         reaction.handlers.push_back(found);
         attribute->reactorClass->reactions.push_back(std::move(reaction));
      }
   }
}

} // namespace Fenc
