// Watches a tree of counters and prints each change as it happens.
// Reactors run synchronously, inside the setter that changed an attribute, on the one thread of
// the program. The example checks what was printed and exits with 1 when it is not as expected.

#include <counter/Counter.fen.h>

#include <cstdint>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

namespace {

/// Prints each new value of one counter. The watch owns what it watches, and stops when it goes.
class CounterWatch : public Example::Counter::NotifieeConst {
 public:
   CounterWatch(Fen::Ptr<Example::Counter> const& counter, std::ostream& out)
      : Example::Counter::NotifieeConst(counter), out_(out) {
      isRegisteredNotifieeIs(true);
   }

   void onSeen() override {
      out_ << notifier()->name().charPtr() << " is now " << notifier()->seen() << '\n';
   }

 private:
   std::ostream& out_;
};

/// Prints which counters come and go, and keeps a watch on each that is there.
class TallyWatch : public Example::Tally::NotifieeConst {
 public:
   TallyWatch(Fen::Ptr<Example::Tally> const& tally, std::ostream& out)
      : Example::Tally::NotifieeConst(tally), out_(out) {
      isRegisteredNotifieeIs(true);
   }

   // One notification for every change of the collection: whether the member came or went is seen
   // from the present state.
   void onCounter(Fen::Name name) override {
      if (auto const counter = notifier()->counter(name)) {
         out_ << name.charPtr() << " appears\n";
         watches_[name.charPtr()] = Fen::makePtr<CounterWatch>(counter, out_);
      } else {
         out_ << name.charPtr() << " is gone\n";
         watches_.erase(name.charPtr());
      }
   }

 private:
   std::ostream& out_;
   std::map<std::string, Fen::Ptr<CounterWatch>> watches_;
};

} // namespace

int main() {
   std::ostringstream out;
   {
      auto const tally = Example::tallyFactory("birds");
      auto const watch = Fen::makePtr<TallyWatch>(tally, out);
      tally->counterIs("sparrow")->seenIs(2);
      tally->counterIs("heron")->seenIs(1);
      tally->counter("heron")->seenIs(1); // the same value: nobody is told
      tally->counterIs("sparrow")->seenIs(3);
      tally->counterDel("heron");
   }
   std::cout << out.str();
   return out.str() == "sparrow appears\nsparrow is now 2\nheron appears\nheron is now 1\n"
                       "sparrow is now 3\nheron is gone\n"
             ? 0
             : 1;
}
