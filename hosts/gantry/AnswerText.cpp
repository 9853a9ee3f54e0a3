// Layout of answers.

#include <hosts/gantry/AnswerText.h>

#include <hosts/support/TextTable.h>
#include <hosts/support/ValueText.h>

#include <cstdio>

namespace Host {

namespace {

constexpr std::size_t indent = 3;

Json const& member(Json const& json, char const* name) {
   static Json const nothing;
   auto const found = json.is_object() ? json.find(name) : json.end();
   return found == json.end() ? nothing : *found;
}

void treeLines(std::string& out, Json const& node, std::string const& above, std::size_t level) {
   std::string const path = memberOf(node, "path");
   bool const isBelow = level > 0 && path.compare(0, above.size(), above) == 0;
   std::size_t const from =
      isBelow ? above.size() + (above.empty() || above.back() != '/' ? 1 : 0) : 0;
   out.append(level * indent, ' ');
   out += plainText(path.size() > from ? path.substr(from) : path) + "  " +
          plainText(memberOf(node, "type"));
   Json const& below = member(node, "below");
   if (below.is_number() && below != 0) {
      out += "  (" + below.dump() + " below)";
   }
   if (std::string const at = memberOf(node, "at"); !at.empty()) {
      out += "  (as " + plainText(at) + ")";
   }
   out += '\n';
   for (Json const& each : member(node, "members")) {
      treeLines(out, each, path, level + 1);
   }
}

void attributeLines(std::string& out, Json const& attribute, std::string const& before) {
   std::string const name = before + plainText(memberOf(attribute, "name"));
   if (!attribute.contains("members")) {
      out += name + " = " + plainText(memberOf(attribute, "text")) + "\n";
      return;
   }
   if (attribute["members"].empty()) {
      out += name + "[] is empty\n";
   }
   for (Json const& each : attribute["members"]) {
      out += name + "[" + plainText(memberOf(each, "key")) +
             "] = " + plainText(memberOf(each, "text")) + "\n";
   }
}

std::string attributeMarks(Json const& attribute) {
   std::string marks;
   auto const mark = [&](char const* name, char const* text) {
      if (attribute.value(name, false)) {
         marks += (marks.empty() ? "" : ", ") + std::string(text);
      }
   };
   mark("isConstructorParameter", "constructor parameter");
   mark("isMutable", "mutable");
   mark("isCollection", "collection");
   mark("isOwning", "owning");
   return marks;
}

std::string oneType(Json const& type) {
   std::string out = memberOf(type, "name") + "  " + memberOf(type, "kind") +
                     (type.contains("base") ? " of " + memberOf(type, "base") : "");
   std::vector<TextRow> rows{{"ID", "ATTRIBUTE", "TYPE", "KEY", "IS"}};
   for (Json const& each : member(type, "attributes")) {
      rows.push_back({memberOf(each, "id"), memberOf(each, "name"), memberOf(each, "type"),
                      memberOf(each, "keyType"), attributeMarks(each)});
   }
   return plainText(out) + "\n" + textTable(rows, 0, 0);
}

/// Text as it stands in the format of Prometheus; a label's value is in quotes.
std::string escaped(std::string const& text, bool isQuoted) {
   std::string out;
   for (char const c : plainText(text)) {
      out += c == '\\' || (c == '"' && isQuoted) ? "\\" : "";
      out += c;
   }
   return out;
}

std::string labelsText(Json const& labels) {
   std::string out;
   for (auto const& [name, value] : labels.items()) {
      out += (out.empty() ? "{" : ",") + name + "=\"" +
             escaped(memberOf(labels, name.c_str()), true) + "\"";
   }
   return out.empty() ? out : out + "}";
}

/// A number as people read it: without a power of ten.
std::string numberText(Json const& value) {
   if (!value.is_number_float()) {
      return value.dump();
   }
   char text[64];
   std::snprintf(text, sizeof text, "%.9f", value.get<double>());
   return text;
}

} // namespace

std::string memberOf(Json const& json, char const* name) {
   Json const& found = member(json, name);
   return found.is_string() ? found.get<std::string>()
          : found.is_null() ? std::string()
                            : found.dump();
}

std::string treeText(Json const& answer) {
   std::string out;
   treeLines(out, member(answer, "tree"), "", 0);
   return out;
}

std::string valuesText(Json const& answer) {
   std::string out;
   if (answer.contains("attribute")) {
      Json const& attribute = answer["attribute"];
      if (!attribute.contains("members")) {
         return plainText(memberOf(attribute, "text")) + "\n";
      }
      attributeLines(out, attribute, "");
      return out;
   }
   out = plainText(memberOf(answer, "path")) + "  " + plainText(memberOf(answer, "type")) +
         (answer.value("readOnly", false) ? "  (read-only)" : "") + "\n";
   for (Json const& each : member(answer, "attributes")) {
      attributeLines(out, each, std::string(indent, ' '));
   }
   return out;
}

std::string typesText(Json const& answer) {
   if (answer.contains("type")) {
      return oneType(answer["type"]);
   }
   std::vector<TextRow> rows{{"TYPE", "KIND", "BASE"}};
   for (Json const& each : member(answer, "types")) {
      rows.push_back({memberOf(each, "name"), memberOf(each, "kind"), memberOf(each, "base")});
   }
   return textTable(rows, 0, 0);
}

std::string metricsText(Json const& answer) {
   std::vector<TextRow> rows{{"NAME", "VALUE"}};
   for (Json const& metric : member(answer, "metrics")) {
      std::string const name = memberOf(metric, "name");
      for (Json const& sample : member(metric, "samples")) {
         rows.push_back(
            {name + labelsText(member(sample, "labels")), numberText(member(sample, "value"))});
      }
      if (metric.contains("count")) {
         rows.push_back({name + "_sum", numberText(metric["sum"])});
         rows.push_back({name + "_count", numberText(metric["count"])});
      }
   }
   return textTable(rows, 0, 0);
}

std::string prometheusText(Json const& answer) {
   std::string out;
   for (Json const& metric : member(answer, "metrics")) {
      std::string const name = memberOf(metric, "name");
      out += "# HELP " + name + " " + escaped(memberOf(metric, "help"), false) + "\n# TYPE " +
             name + " " + memberOf(metric, "kind") + "\n";
      for (Json const& sample : member(metric, "samples")) {
         out += name + labelsText(member(sample, "labels")) + " " + member(sample, "value").dump() +
                "\n";
      }
      if (metric.contains("count")) {
         out += name + "_sum " + metric["sum"].dump() + "\n" + name + "_count " +
                metric["count"].dump() + "\n";
      }
   }
   return out;
}

std::string eventText(Json const& event) {
   std::string const path = plainText(memberOf(event, "path"));
   std::string const kind = memberOf(event, "event");
   if (kind == "ended") {
      return "";
   }
   if (kind == "removed") {
      return path + " is gone\n";
   }
   if (kind == "changed") {
      std::string const key = event.contains("key") ? "[" + memberOf(event, "key") + "]" : "";
      return path +
             plainText("." + memberOf(event, "attribute") + key + " = " +
                       memberOf(event, "value")) +
             "\n";
   }
   std::string out = path + "  " + plainText(memberOf(event, "type")) + "\n";
   for (auto const& [name, value] : member(event, "attributes").items()) {
      out += std::string(indent, ' ') +
             plainText(name + " = " + memberOf(event["attributes"], name.c_str())) + "\n";
   }
   return out;
}

} // namespace Host
