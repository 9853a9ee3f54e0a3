/// Fills the tree of types: one walk that enters a type, its constructor parameters and its
/// attributes as objects, from the tables that stand beside its class.
///
/// There is one, for the process. It runs when a type object is made, which is at load, and is not
/// entered again while it does.
#pragma once

#include <gantry/runtime/fen/FenType.h>

namespace Fen {

class GANTRY_EXPORT IntrospectionReactor {
 public:
   static IntrospectionReactor& global();

   /// Enters the whole type: everything that the operations below do, in their order.
   void define(FenType* type);

   void handleNameSpace(Name name);
   /// Opens a type, which handleScopeExit() closes, and adds it to what is derived from its base.
   void handleType(FenType* type, FenType* base);
   /// Enters a constructor parameter in the open type, and opens it until handleAttrContextExit().
   void handleAttr(Ptr<FenAttr> const& parameter);
   void handleAttrContextExit();
   /// Enters an attribute in the open type; a collection has a key type.
   Ptr<FenAttr>
   defNoninstantiatingAttr(FenType* type, AttrDesc const& description, unsigned attrFlags,
                           FenAttr::FenAttrIntrospectionFlags const& introspectionFlags);
   void handleScopeExit();

   /// The namespaces that have types, in the order in which they were met.
   std::vector<Name> const& nameSpaces() const { return nameSpaces_; }

 private:
   void frameworkAttributesBefore(FenType* type);
   void frameworkAttributesBehind(FenType* type);
   void constructorParameters(FenType* type);
   void ownAttributes(FenType* type);
   void fieldAttributes(FenType* type);

   std::vector<Name> nameSpaces_;
   FenType* type_ = nullptr;
   Ptr<FenAttr> parameter_;
};

} // namespace Fen
