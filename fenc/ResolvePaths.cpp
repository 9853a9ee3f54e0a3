// The third phase of the Resolver: chains of accessors, and what they say about keys.

#include <fenc/Resolver.h>

#include <algorithm>
#include <utility>

namespace Fenc {

namespace {

bool isPathStep(AttributeKind kind) {
   return !isCollection(kind) && kind != AttributeKind::timer && kind != AttributeKind::constant;
}

/// Whether an object of this kind can be asked for its `name` without an attribute of that name.
bool hasName(Type const& type) { return type.kind == TypeKind::entity; }

/// Whether one of the first `count` steps leads to something that may only be read.
bool anyConst(Path const& path, std::size_t count) {
   return std::any_of(path.steps.begin(), path.steps.begin() + static_cast<std::ptrdiff_t>(count),
                      [](Attribute const* step) { return step != nullptr && step->constTarget; });
}

} // namespace

bool Resolver::resolvePath(PathSyntax const& syntax, Type const& start, Path& path) {
   Type const* type = &start;
   for (std::size_t i = 0; i < syntax.steps.size(); ++i) {
      NameSyntax const& step = syntax.steps[i];
      // Inside a reactor, `notifier` is what it watches.
      bool const isNotifier = i == 0 && start.kind == TypeKind::reactor &&
                              start.watched != nullptr && step.text == "notifier";
      Attribute* const attribute = isNotifier ? start.holder : type->attribute(step.text);
      bool const isName = attribute == nullptr && step.text == "name" && hasName(*type);
      if (attribute == nullptr && !isName) {
         diagnostics_.error(step.at,
                            "'" + type->cppName + "' has no attribute '" + step.text + "'");
         return false;
      }
      path.steps.push_back(attribute);
      if (isName) {
         path.type = lookupFull("Fen::Name", *start.module);
         path.isReference = false;
      } else {
         bool const last = i + 1 == syntax.steps.size();
         if (!isNotifier && !isPathStep(attribute->kind) &&
             !(last && isCollection(attribute->kind))) {
            diagnostics_.error(step.at, "'" + step.text + "' cannot stand in a path");
            return false;
         }
         if (attribute->kind == AttributeKind::through && !resolveThrough(*attribute)) {
            return false;
         }
         path.type = attribute->type;
         path.constTarget = attribute->constTarget;
         path.isReference =
            attribute->type != nullptr && (attribute->type->kind == TypeKind::entity ||
                                           attribute->type->kind == TypeKind::machine);
      }
      if (path.type == nullptr) {
         return false; // reported where the type was written
      }
      type = path.type;
   }
   return true;
}

bool Resolver::resolveThrough(Attribute& attribute) {
   if (attribute.type != nullptr) {
      return true;
   }
   if (!throughInWork_.insert(&attribute).second) {
      diagnostics_.error(attribute.at, "'" + attribute.name + "' is read through itself");
      return false;
   }
   Path path;
   if (resolvePath(attribute.syntax->path, *attribute.owner, path)) {
      if (isCollection(path.steps.back() != nullptr ? path.steps.back()->kind
                                                    : AttributeKind::scalar)) {
         diagnostics_.error(attribute.at, "a collection cannot be read through a path");
      } else if (path.steps.size() < 2) {
         diagnostics_.error(attribute.at, "a path has at least two steps, such as 'a.b'");
      } else {
         attribute.type = path.type;
         // What is reached through something that may only be read may only be read itself.
         attribute.constTarget =
            path.isReference && (path.constTarget || anyConst(path, path.steps.size() - 1));
      }
      attribute.path = std::move(path);
   }
   throughInWork_.erase(&attribute);
   return attribute.type != nullptr;
}

void Resolver::paths(Type& type) {
   for (auto const& attribute : type.attributes) {
      if (attribute->kind == AttributeKind::through) {
         if (resolveThrough(*attribute) && attribute->isKey) {
            Attribute const* const first = attribute->path.steps.front();
            if (first == nullptr || !first->isParameter || attribute->type->shape != Shape::text ||
                type.nameParameter() != nullptr) {
               diagnostics_.error(attribute->at, "a key that is read through a path is a text, "
                                                 "begins at a parameter and is the only key");
            }
         }
      } else if (attribute->syntax != nullptr &&
                 attribute->syntax->form == AttributeForm::reactorEach) {
         each(*attribute);
      } else {
         keyOf(*attribute);
      }
      if (attribute->kind != AttributeKind::reactor &&
          attribute->kind != AttributeKind::reactorCollection) {
         continue;
      }
      AttributeSyntax const& syntax = *attribute->syntax;
      if (syntax.form != AttributeForm::reactor || syntax.path.steps.empty()) {
         continue;
      }
      Path path;
      if (!resolvePath(syntax.path, type, path)) {
         continue;
      }
      Attribute const* const first = path.steps.front();
      Attribute const* const last = path.steps.back();
      bool const lastIsCollection = last != nullptr && isCollection(last->kind);
      if (syntax.follows && (path.steps.size() != 2 || first == nullptr || last == nullptr ||
                             (first->kind != AttributeKind::reactor && first != type.holder))) {
         diagnostics_.error(syntax.path.steps[0].at,
                            "'follows' needs a reactor of this machine and one attribute of what "
                            "it watches");
      } else if (!path.isReference || path.type != attribute->type ||
                 (path.constTarget && !attribute->constTarget) ||
                 lastIsCollection != (attribute->kind == AttributeKind::reactorCollection) ||
                 (lastIsCollection && !syntax.follows)) {
         diagnostics_.error(syntax.path.steps[0].at,
                            "the path does not give what the reactor watches");
      } else {
         attribute->path = std::move(path);
      }
   }
}

void Resolver::keyOf(Attribute& attribute) {
   AttributeSyntax const* const syntax = attribute.syntax;
   if (syntax == nullptr || !syntax->keyed || attribute.type == nullptr) {
      return;
   }
   if (attribute.kind == AttributeKind::valueCollection) {
      attribute.keyField = attribute.type->attribute(syntax->key.steps[0].text);
      if (attribute.keyField == nullptr) {
         diagnostics_.error(syntax->keyAt, "'" + attribute.type->cppName + "' has no field '" +
                                              syntax->key.steps[0].text + "'");
      } else {
         attribute.keyType = attribute.keyField->type;
      }
      return;
   }
   bool const isOwned = attribute.kind == AttributeKind::ownedCollection;
   if (!isOwned && attribute.kind != AttributeKind::reactorCollection) {
      return;
   }
   Path path;
   if (!resolvePath(syntax->key, *attribute.type, path)) {
      return;
   }
   Attribute const* first = path.steps.front();
   if (isOwned && first != nullptr && first->kind == AttributeKind::through && first->path.any()) {
      first = first->path.steps.front(); // a key read through a parameter is known beforehand
   }
   if (isOwned && first != nullptr && !first->isParameter) {
      diagnostics_.error(syntax->keyAt, "a key comes from a parameter of the member's constructor");
   } else if (path.isReference || path.type->shape == Shape::real ||
              path.type->shape == Shape::boolean) {
      diagnostics_.error(syntax->keyAt, "a key is a text, an integer or a value");
   } else {
      attribute.keyType = path.type;
      attribute.keyPath = std::move(path);
   }
}

void Resolver::each(Attribute& attribute) {
   NameSyntax const& name = attribute.syntax->path.steps[0];
   Attribute* const collection = attribute.owner->attribute(name.text);
   if (collection == nullptr || collection->kind != AttributeKind::ownedCollection ||
       collection->type == nullptr || collection->type->kind != TypeKind::entity) {
      diagnostics_.error(name.at,
                         "'" + name.text + "' is no collection of entities that this machine owns");
      return;
   }
   keyOf(*collection);
   attribute.each = collection;
   attribute.type = collection->type;
   attribute.constTarget = true;
   attribute.keyType = collection->keyType;
   attribute.keyPath = collection->keyPath;
   attribute.reactorClass->watched = collection->type;
   attribute.reactorClass->constWatched = true;
}

} // namespace Fenc
