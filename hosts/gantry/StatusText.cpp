// Tables and steps of a controller's answers.

#include <hosts/gantry/AnswerText.h>
#include <hosts/gantry/StatusText.h>

#include <hosts/support/TextTable.h>
#include <hosts/support/ValueText.h>

#include <cstdio>
#include <ctime>

namespace Host {

namespace {

std::string clockText(Json const& row) {
   auto const found = row.find("since");
   if (found == row.end() || !found->is_number()) {
      return "";
   }
   auto const whole = static_cast<std::time_t>(found->get<double>());
   std::tm local{};
   localtime_r(&whole, &local);
   char text[32];
   std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
   return text;
}

struct Column {
   char const* head;
   char const* member;
};

std::string table(Json const& answer, char const* list, std::vector<Column> const& columns) {
   TextRow heads;
   for (Column const& each : columns) {
      heads.emplace_back(each.head);
   }
   std::vector<TextRow> rows{heads};
   auto const found = answer.find(list);
   for (Json const& each : found == answer.end() ? Json::array() : *found) {
      TextRow row;
      for (Column const& column : columns) {
         bool const isTime = std::string_view(column.member) == "since";
         row.push_back(isTime ? clockText(each) : plainText(memberOf(each, column.member)));
      }
      rows.push_back(std::move(row));
   }
   return textTable(rows, 0, 0);
}

} // namespace

std::string statusText(Json const& answer) {
   Json const total = answer.value("total", Json::object());
   std::string const filtered = memberOf(total, "filteredOut");
   std::string out = "wanted " + memberOf(total, "wanted") + ", mounted " +
                     memberOf(total, "mounted") + ", failed " + memberOf(total, "failed") +
                     ", pending " + memberOf(total, "pending") + ", filtered out " +
                     (filtered.empty() ? "not counted" : filtered) + "\n\n";
   out += table(answer, "switches",
                {{"SWITCH", "switch"},
                 {"SYSTEM", "system"},
                 {"STATE", "state"},
                 {"SINCE", "since"},
                 {"REASON", "reason"}}) +
          "\n";
   out += table(answer, "services",
                {{"SERVICE", "service"},
                 {"SWITCH", "switch"},
                 {"VERSION", "version"},
                 {"SINCE", "since"},
                 {"NEGOTIATED", "description"}}) +
          "\n";
   out += table(answer, "groups",
                {{"SERVICE", "service"},
                 {"SYSTEM", "system"},
                 {"GROUP", "group"},
                 {"STATE", "state"},
                 {"SINCE", "since"}}) +
          "\n";
   return out + table(answer, "mounts",
                      {{"SERVICE", "service"},
                       {"SWITCH", "switch"},
                       {"GROUP", "group"},
                       {"PATH", "path"},
                       {"STATE", "state"},
                       {"SINCE", "since"},
                       {"REASON", "reason"}});
}

std::string explanationText(Json const& answer) {
   std::vector<TextRow> rows;
   for (Json const& each : answer.value("steps", Json::array())) {
      std::string const since = clockText(each);
      rows.push_back(
         {each.value("holds", false) ? "yes" : "no", plainText(memberOf(each, "step")),
          plainText(memberOf(each, "text")) + (since.empty() ? "" : " (since " + since + ")")});
   }
   return plainText(memberOf(answer, "path") + " of " + memberOf(answer, "switch") + " for " +
                    memberOf(answer, "service") + ": " + memberOf(answer, "verdict")) +
          "\n" + textTable(rows, 0, 0);
}

} // namespace Host
