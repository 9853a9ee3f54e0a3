// Small questions to the resolved model.

#include <fenc/Model.h>

namespace Fenc {

bool isCollection(AttributeKind kind) {
   switch (kind) {
   case AttributeKind::scalarCollection:
   case AttributeKind::valueCollection:
   case AttributeKind::referenceCollection:
   case AttributeKind::ownedCollection:
   case AttributeKind::recordCollection:
   case AttributeKind::reactorCollection:
      return true;
   default:
      return false;
   }
}

bool Attribute::isWritten() const {
   return hasPlace && isMutable && kind != AttributeKind::through &&
          kind != AttributeKind::computed && kind != AttributeKind::constant &&
          kind != AttributeKind::back;
}

Attribute* Type::attribute(std::string const& wanted) const {
   for (auto const& candidate : attributes) {
      if (candidate->name == wanted) {
         return candidate.get();
      }
   }
   return nullptr;
}

Attribute* Type::nameParameter() const {
   for (Attribute* parameter : parameters) {
      if (parameter->isKey) {
         return parameter;
      }
   }
   return nullptr;
}

Attribute* Type::nameThrough() const {
   for (auto const& candidate : attributes) {
      if (candidate->isKey && candidate->kind == AttributeKind::through) {
         return candidate.get();
      }
   }
   return nullptr;
}

std::string upperFirst(std::string text) {
   if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') {
      text[0] = static_cast<char>(text[0] - 'a' + 'A');
   }
   return text;
}

std::string lowerFirst(std::string text) {
   if (!text.empty() && text[0] >= 'A' && text[0] <= 'Z') {
      text[0] = static_cast<char>(text[0] - 'A' + 'a');
   }
   return text;
}

} // namespace Fenc
