// JSON lines, lines for people, and tables.

#include <hosts/gantry-controller/StatusBoard.h>
#include <hosts/support/TextTable.h>
#include <hosts/support/ValueText.h>
#include <hosts/support/WallTime.h>

#include <cstdio>
#include <ctime>
#include <iostream>
#include <utility>

namespace Host {

namespace {

using Fields = std::vector<std::pair<char const*, std::string>>;

class JsonOutput : public StatusOutput {
 public:
   void mount(MountRow const& row) override {
      Fields fields{{"service", row.service}, {"system", row.system}, {"switch", row.switchName},
                    {"group", row.group},     {"path", row.path},     {"state", row.state}};
      if (!row.reason.empty()) {
         fields.emplace_back("reason", row.reason);
      }
      line(row.since, "mount", fields);
   }
   void knownSwitch(SwitchRow const& row) override {
      Fields fields{{"switch", row.name}, {"system", row.system}, {"state", row.state}};
      if (!row.reason.empty()) {
         fields.emplace_back("reason", row.reason);
      }
      line(row.since, "switch", fields);
   }
   void service(ServiceRow const& row, bool isGone) override {
      line(row.since, "service",
           {{"service", row.service}, {"system", row.system}, {"switch", row.switchName}},
           isGone ? ",\"gone\":true"
                  : ",\"version\":" + std::to_string(row.version) +
                       ",\"compatible\":" + (row.version != 0 ? "true" : "false") +
                       ",\"description\":" + jsonText(row.description));
   }
   void refusal(std::string const& peer, std::string const& reason) override {
      line(wallTime(), "refused", {{"peer", peer}, {"reason", reason}});
   }
   void initialMounts(InitialRow const& row) override {
      std::string switches;
      for (InitialSwitch const& each : row.switches) {
         switches += (switches.empty() ? "" : ",") + ("{\"switch\":" + jsonText(each.name)) +
                     ",\"outcome\":" + jsonText(each.outcome) +
                     (each.detail.empty() ? "" : ",\"detail\":" + jsonText(each.detail)) + "}";
      }
      line(row.finished, "initialMounts", {{"service", row.service}, {"group", row.group}},
           ",\"switches\":[" + switches + "]");
   }
   void initialMountsChanged() override {}
   void configuration(std::size_t operations, std::string const& fault) override {
      line(wallTime(), "configuration", {},
           fault.empty() ? ",\"changes\":" + std::to_string(operations)
                         : ",\"fault\":" + jsonText(fault));
   }

 private:
   static void line(double time, char const* event, Fields const& fields,
                    std::string const& more = {}) {
      char text[40];
      std::snprintf(text, sizeof text, "%.6f", time);
      std::cout << "{\"time\":" << text << ",\"event\":\"" << event << "\"";
      for (auto const& [name, value] : fields) {
         std::cout << ",\"" << name << "\":" << jsonText(value);
      }
      std::cout << more << "}" << std::endl;
   }
};

class LineOutput : public StatusOutput {
 public:
   void mount(MountRow const& row) override {
      begin() << plainText(row.switchName) << ": " << plainText(row.service) << "/"
              << plainText(row.group) << " " << plainText(row.path) << ": " << row.state
              << reasonText(row.reason) << std::endl;
   }
   void knownSwitch(SwitchRow const& row) override {
      begin() << plainText(row.name) << " (" << row.system << "): " << row.state
              << reasonText(row.reason) << std::endl;
   }
   void service(ServiceRow const& row, bool isGone) override {
      begin() << plainText(row.switchName) << ": " << plainText(row.service) << ": "
              << (isGone             ? std::string("not negotiated any more")
                  : row.version != 0 ? "version " + std::to_string(row.version)
                                     : std::string("incompatible"))
              << reasonText(row.description) << std::endl;
   }
   void refusal(std::string const& peer, std::string const& reason) override {
      begin() << "refused: " << plainText(peer) << ": " << plainText(reason) << std::endl;
   }
   void initialMounts(InitialRow const& row) override {
      begin() << plainText(row.service) << "/" << plainText(row.group)
              << ": first mounts complete: " << plainText(row.switchesText()) << std::endl;
   }
   void initialMountsChanged() override {}
   void configuration(std::size_t operations, std::string const& fault) override {
      if (fault.empty()) {
         begin() << "the file was read again, changes: " << operations << std::endl;
      } else {
         begin() << "the file was not taken: " << fault << std::endl;
      }
   }

 private:
   static std::string reasonText(std::string const& reason) {
      return reason.empty() ? reason : ": " + plainText(reason);
   }
   static std::ostream& begin() {
      double const seconds = wallTime();
      auto const whole = static_cast<std::time_t>(seconds);
      std::tm local{};
      localtime_r(&whole, &local);
      char time[32];
      std::snprintf(time, sizeof time, "%02d:%02d:%02d.%03d ", local.tm_hour, local.tm_min,
                    local.tm_sec, static_cast<int>((seconds - static_cast<double>(whole)) * 1000));
      return std::cout << time;
   }
};

class TableOutput : public StatusOutput {
 public:
   explicit TableOutput(StatusBoard const& board)
      : screen_([&board] { return board.tables(terminalWidth()); }) {
      std::cout << "\033[2J";
   }
   void mount(MountRow const&) override { screen_.changed(); }
   void knownSwitch(SwitchRow const&) override { screen_.changed(); }
   void service(ServiceRow const&, bool) override { screen_.changed(); }
   void refusal(std::string const&, std::string const&) override { screen_.changed(); }
   void initialMounts(InitialRow const&) override { screen_.changed(); }
   void initialMountsChanged() override { screen_.changed(); }
   void configuration(std::size_t, std::string const&) override { screen_.changed(); }

 private:
   ScreenText screen_;
};

} // namespace

std::unique_ptr<StatusOutput> jsonOutput() { return std::make_unique<JsonOutput>(); }
std::unique_ptr<StatusOutput> lineOutput() { return std::make_unique<LineOutput>(); }
std::unique_ptr<StatusOutput> tableOutput(StatusBoard const& board) {
   return std::make_unique<TableOutput>(board);
}

} // namespace Host
