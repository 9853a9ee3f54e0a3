// Emits the bodies of nested reactors: from each notification to its handlers.

#include <fenc/EmitParts.h>

namespace Fenc {

void emitHandlerCall(EmitText& out, Type const& type, Handler const& handler,
                     std::string const& argument, std::string access, unsigned reached) {
   std::string const call = handler.operation->name + "(" + argument + ");";
   if (handler.outward == 0) {
      out.line(call);
      return;
   }
   // Each class on the way outward may have lost its owner.
   Type const* at = &type;
   for (unsigned i = 0; i < handler.outward; ++i) {
      if (i < reached) {
         at = at->outer;
         continue;
      }
      std::string next = "fenMachine()";
      if (at->kind == TypeKind::machine) {
         for (Attribute const* parameter : at->parameters) {
            if (parameter->kind == AttributeKind::back && parameter->type == at->outer) {
               next = parameter->name + "()";
            }
         }
      }
      at = at->outer;
      std::string const name = "outer" + std::to_string(i + 1);
      // Held, since a handler may drop the last reference to the machine that runs.
      out.open("if (Fen::Ptr<" + scopedName(*at) + "> const " + name + " = " + access + next +
               ") {");
      access = name + "->";
   }
   out.line(access + call);
   for (unsigned i = reached; i < handler.outward; ++i) {
      out.close("}");
   }
}

namespace {

class ReactorSource {
 public:
   ReactorSource(EmitText& out, Type const& type)
      : out_(out), type_(type), name_(scopedName(type)),
        outer_("Fen::Ptr<" + scopedName(*type.outer) + ">") {}

   void run() {
      out_.gap();
      out_.line("// " + name_);
      if (type_.holder->kind == AttributeKind::timer) {
         timer();
      }
      for (Slot const& slot : slotsOf(type_)) {
         isCollection(slot.event->kind) ? collectionSlot(slot) : scalarSlot(slot);
      }
      handleAll();
      birth();
   }

 private:
   /// Opens a block in which the machine is held; nothing runs in a zombie.
   void openRun() { out_.open("if (" + outer_ + " const machine = fenRunning()) {"); }

   /// Calls each handler in a run of its own, since the one before may have ended the reactor.
   void call(std::vector<Handler> const& handlers, std::string const& argument,
             std::string const& condition) {
      for (Handler const& handler : handlers) {
         openRun();
         if (!condition.empty()) {
            out_.open("if (" + condition + ") {");
         }
         emitHandlerCall(out_, type_, handler, argument, "machine->", 1);
         if (!condition.empty()) {
            out_.close("}");
         }
         out_.close("}");
      }
   }

   void timer() {
      out_.gap();
      out_.open("void " + name_ + "::onTime() {");
      call(type_.reactions.front().handlers, "", "");
      out_.close("}");
   }

   /// The object through which a follower is reached.
   std::string followerAccess(Attribute const& follower) const {
      return follower.owner == &type_ ? std::string() : "machine->";
   }

   void scalarSlot(Slot const& slot) {
      std::string const& event = slot.event->name;
      out_.gap();
      out_.open("void " + name_ + "::on" + upperFirst(event) + "() {");
      for (Attribute const* follower : slot.followers) {
         openRun();
         out_.open("if (auto const watched = notifier()) {");
         out_.line(followerAccess(*follower) + follower->name + "Is(watched->" + event + "());");
         out_.close("}");
         out_.close("}");
      }
      if (slot.plain != nullptr) {
         bool const whenTrue = slot.plain->condition == ReactionSyntax::Condition::whenTrue;
         call(slot.plain->handlers, "",
              whenTrue ? "auto const watched = notifier(); watched && watched->" + event + "()"
                       : "");
      }
      out_.close("}");
   }

   void collectionSlot(Slot const& slot) {
      std::string const& event = slot.event->name;
      std::string const start = "void " + name_ + "::on" + upperFirst(event);
      if (slot.plain != nullptr || !slot.followers.empty()) {
         out_.gap();
         out_.open(start + "(" + slotKeyType(*slot.event->keyType) + " key) {");
         for (Attribute const* follower : slot.followers) {
            std::string const access = followerAccess(*follower) + follower->name;
            openRun();
            out_.line("auto const watched = notifier();");
            out_.open("if (auto const member = watched ? watched->" + event + "(key) : nullptr) {");
            out_.line(access + "Is(member);");
            out_.close("} else {");
            out_.line("   " + access + "Del(key);");
            out_.line("}");
            out_.close("}");
         }
         if (slot.plain != nullptr) {
            call(slot.plain->handlers, "key", "");
         }
         out_.close("}");
      }
      if (slot.immediate != nullptr || !slot.followers.empty()) {
         out_.gap();
         out_.open(start + "fenImmediate() {");
         for (Attribute const* follower : slot.followers) {
            followAll(slot, *follower);
         }
         if (slot.immediate != nullptr) {
            call(slot.immediate->handlers, "", "");
         }
         out_.close("}");
      }
   }

   /// Reactors for all members, and none for what is no member.
   void followAll(Slot const& slot, Attribute const& follower) {
      std::string const& event = slot.event->name;
      std::string const access = followerAccess(follower) + follower.name;
      openRun();
      out_.open("if (auto const watched = notifier()) {");
      out_.open("for (auto i = watched->" + event + "Iterator(); i; ++i) {");
      out_.line(access + "Is(watched->" + event + "(i.key()));");
      out_.close("}");
      out_.open("for (auto i = " + access + "Iterator(); i; ++i) {");
      out_.line("auto const key = i.key();");
      out_.open("if (!watched->" + event + "(key)) {");
      out_.line(access + "Del(key);");
      out_.close("}");
      out_.close("}");
      out_.close("}");
      out_.close("}");
   }

   void handleAll() {
      out_.gap();
      out_.open("void " + name_ + "::fenHandleAll() {");
      if (type_.holder->kind == AttributeKind::timer) {
         out_.line("onTime();");
      }
      for (Slot const& each : slotsOf(type_)) {
         Slot slot = each;
         std::erase_if(slot.followers,
                       [&](Attribute const* follower) { return hasTurn(follower); });
         if (!type_.hasAttach || !slot.followers.empty()) {
            handleSlot(slot);
         }
      }
      for (Reaction const& reaction : type_.reactions) {
         if (reaction.event == nullptr && reaction.isAttach) {
            for (Handler const& handler : reaction.handlers) {
               if (handler.follower != nullptr) {
                  follow({handler.follower->path.steps[1], nullptr, nullptr, {handler.follower}});
               } else {
                  call({handler}, "", "");
               }
            }
         }
      }
      out_.close("}");
   }

   /// Whether the schema says when a follower is moved among what attaching runs.
   bool hasTurn(Attribute const* follower) const {
      for (Reaction const& reaction : type_.reactions) {
         for (Handler const& handler : reaction.handlers) {
            if (handler.follower == follower) {
               return true;
            }
         }
      }
      return false;
   }

   void handleSlot(Slot const& slot) {
      std::string const on = "on" + upperFirst(slot.event->name);
      if (!isCollection(slot.event->kind)) {
         if (type_.hasAttach) {
            follow(slot);
         } else {
            out_.line(on + "();");
         }
      } else if (type_.hasAttach) {
         follow(slot);
      } else {
         bool const isWhole = slot.immediate != nullptr || !slot.followers.empty();
         if (isWhole) {
            out_.line(on + "fenImmediate();");
         }
         if (slot.immediate == nullptr && slot.plain != nullptr) {
            out_.open("if (auto const watched = notifier()) {");
            out_.open("for (auto i = watched->" + slot.event->name + "Iterator(); i; ++i) {");
            out_.line(on + "(i.key());");
            out_.close("}");
            out_.close("}");
         }
      }
   }

   /// Only moves the followers: what else runs at attaching is said by the schema.
   void follow(Slot const& slot) {
      for (Attribute const* follower : slot.followers) {
         if (isCollection(slot.event->kind)) {
            followAll(slot, *follower);
         } else {
            openRun();
            out_.open("if (auto const watched = notifier()) {");
            out_.line(followerAccess(*follower) + follower->name + "Is(watched->" +
                      slot.event->name + "());");
            out_.close("}");
            out_.close("}");
         }
      }
   }

   void birth() {
      out_.gap();
      out_.open("void " + name_ + "::fenBirth() {");
      for (auto const& attribute : type_.attributes) {
         if (attribute->kind == AttributeKind::timer && !attribute->isLate) {
            out_.line(attribute->name + "_ = Fen::makePtr<" + memberClass(*attribute) +
                      ">(Fen::ActivityFacility::clock(), this);");
         }
      }
      if (!type_.runsAtCreation) {
         for (Slot const& slot : slotsOf(type_)) {
            Slot own = slot;
            own.followers.clear();
            for (Attribute const* follower : slot.followers) {
               if (follower->owner == &type_) {
                  own.followers.push_back(follower);
               }
            }
            follow(own);
         }
      }
      for (Handler const& handler : type_.birth) {
         emitHandlerCall(out_, type_, handler, "");
      }
      if (type_.runsAtCreation) {
         out_.line("fenHandleAll();");
      }
      out_.close("}");
   }

   EmitText& out_;
   Type const& type_;
   std::string name_;
   std::string outer_;
};

} // namespace

void emitReactorSource(EmitText& out, Type const& type) {
   ReactorSource(out, type).run();
   emitHolderSource(out, type);
   for (auto const& nested : type.nested) {
      emitReactorSource(out, *nested); // a reactor holds nothing else that has a class
   }
}

} // namespace Fenc
