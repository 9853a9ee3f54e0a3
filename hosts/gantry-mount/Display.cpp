// JSON lines and lines for people.

#include <hosts/gantry-mount/Display.h>
#include <hosts/support/ValueText.h>
#include <hosts/support/WallTime.h>

#include <cstdio>
#include <ctime>
#include <iostream>

namespace Host {

namespace {

/// Calls `visit( attribute )` for each attribute that can be read.
template <class Visit>
void eachReadable(Fen::Entity const& entity, Visit const& visit) {
   for (Fen::AttrDesc const& each : entity.fwkType()->attributes()) {
      if (each.view != nullptr) {
         visit(each);
      }
   }
}

class JsonDisplay : public Display {
 public:
   void mountState(std::string const& peer, std::string const& state,
                   std::string const& reason) override {
      begin(peer, "mountState");
      std::cout << ",\"state\":" << jsonText(state);
      if (!reason.empty()) {
         std::cout << ",\"reason\":" << jsonText(reason);
      }
      end();
   }
   void entityAdded(std::string const& peer, std::string const& path,
                    Fen::Entity const& entity) override {
      begin(peer, "entity");
      std::cout << ",\"path\":" << jsonText(path)
                << ",\"type\":" << jsonText(entity.fwkType()->fullTypeName().view())
                << ",\"attributes\":{";
      bool first = true;
      eachReadable(entity, [&](Fen::AttrDesc const& attribute) {
         std::cout << (first ? "" : ",") << jsonText(attribute.name) << ":"
                   << valueText(entity, attribute, true);
         first = false;
      });
      std::cout << "}";
      end();
   }
   void entityRemoved(std::string const& peer, std::string const& path) override {
      begin(peer, "removed");
      std::cout << ",\"path\":" << jsonText(path);
      end();
   }
   void valueChanged(std::string const& peer, std::string const& path, Fen::Entity const& entity,
                     Fen::AttrDesc const& attribute, void const* key) override {
      begin(peer, "changed");
      std::cout << ",\"path\":" << jsonText(path) << ",\"attribute\":" << jsonText(attribute.name);
      std::string value;
      if (attribute.view->memberValue != nullptr && key != nullptr) {
         std::cout << ",\"key\":" << jsonText(attribute.view->keyText(key).view());
         value = memberText(entity, attribute, key, true);
      } else {
         value = valueText(entity, attribute, true);
      }
      std::cout << ",\"value\":" << (value.empty() ? "null" : value);
      end();
   }

 private:
   void begin(std::string const& peer, char const* event) {
      char time[32];
      std::snprintf(time, sizeof time, "%.6f", wallTime());
      std::cout << "{\"time\":" << time << ",\"peer\":" << jsonText(peer) << ",\"event\":\""
                << event << '"';
   }
   void end() { std::cout << "}" << std::endl; }
};

class LineDisplay : public Display {
 public:
   void mountState(std::string const& peer, std::string const& state,
                   std::string const& reason) override {
      begin(peer, "");
      std::cout << state << (reason.empty() ? "" : ": " + plainText(reason)) << std::endl;
   }
   void entityAdded(std::string const& peer, std::string const& path,
                    Fen::Entity const& entity) override {
      begin(peer, path);
      std::cout << "is there";
      char const* separator = ": ";
      eachReadable(entity, [&](Fen::AttrDesc const& attribute) {
         std::string const value = valueText(entity, attribute, false);
         if (!value.empty() && attribute.view->value != nullptr) {
            std::cout << separator << attribute.name << " " << value;
            separator = ", ";
         }
      });
      std::cout << std::endl;
   }
   void entityRemoved(std::string const& peer, std::string const& path) override {
      begin(peer, path);
      std::cout << "is gone" << std::endl;
   }
   void valueChanged(std::string const& peer, std::string const& path, Fen::Entity const& entity,
                     Fen::AttrDesc const& attribute, void const* key) override {
      begin(peer, path);
      bool const isMember = attribute.view->memberValue != nullptr && key != nullptr;
      std::cout << attribute.name;
      if (isMember) {
         std::cout << "[" << plainText(attribute.view->keyText(key).view()) << "]";
      }
      std::cout << " is now "
                << (isMember ? memberText(entity, attribute, key, false)
                             : valueText(entity, attribute, false))
                << std::endl;
   }

 private:
   static void begin(std::string const& peer, std::string const& path) {
      double const seconds = wallTime();
      auto const whole = static_cast<std::time_t>(seconds);
      std::tm local{};
      localtime_r(&whole, &local);
      char time[32];
      std::snprintf(time, sizeof time, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min,
                    local.tm_sec, static_cast<int>((seconds - static_cast<double>(whole)) * 1000));
      std::cout << time << " " << peer << (path.empty() ? "" : " " + plainText(path)) << ": ";
   }
};

} // namespace

std::unique_ptr<Display> jsonDisplay() { return std::make_unique<JsonDisplay>(); }
std::unique_ptr<Display> lineDisplay() { return std::make_unique<LineDisplay>(); }

} // namespace Host
