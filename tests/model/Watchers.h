/// Reactors on entities of the model that write down what they are told, for the tests of each
/// type.
#pragma once

#include <gantry/runtime/fen/Exception.h>
#include <gantry/runtime/fen/Ptr.h>
#include <gantry/runtime/fen/String.h>

#include <string>
#include <vector>

namespace ModelTest {

using Log = std::vector<std::string>;

/// Watches one `Type`. A test derives from it and overrides the operations that it wants to see.
template <class Type>
class Watcher : public Type::Notifiee {
 public:
   explicit Watcher(Fen::Ptr<Type> const& watched) : Type::Notifiee(watched) {
      this->isRegisteredNotifieeIs(true);
   }
   /// What has been told since the last call.
   Log taken() {
      Log taken;
      taken.swap(log_);
      return taken;
   }
   void onNotificationException(Fen::AttributeId id) override {
      log_.push_back("exception " + std::to_string(id));
   }

   /// Makes each operation throw once it has been written down.
   bool throws = false;

 protected:
   void note(std::string const& event) {
      log_.push_back(event);
      if (throws) {
         throw Fen::RangeException("refused");
      }
   }
   void note(char const* attribute, Fen::String8 const& key) {
      note(std::string(attribute) + " " + key.str());
   }

 private:
   Log log_;
};

/// The text of the exception that `action` raises, which must be of that type; empty without one.
template <class Exception, class Action>
std::string refusalOf(Action const& action) {
   try {
      action();
   } catch (Exception const& exception) {
      return exception.text().str();
   }
   return "";
}

/// The text of a refused find-or-create; empty when it was not refused.
template <class Action>
std::string nameInUse(Action const& action) {
   return refusalOf<Fen::NameInUseException>(action);
}

} // namespace ModelTest
