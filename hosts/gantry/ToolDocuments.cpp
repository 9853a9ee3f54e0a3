// From the description of the command line to other forms of it.

#include <hosts/gantry/ToolDocuments.h>

#include <vector>

namespace Host {

namespace {

/// The commands that people see.
std::vector<CLI::App const*> commandsOf(CLI::App const& app) {
   return app.get_subcommands(
      [](CLI::App const* command) { return !command->get_group().empty(); });
}

std::string optionWords(CLI::App const& app) {
   std::string words;
   for (CLI::Option const* each : app.get_options()) {
      for (std::string const& name : each->get_lnames()) {
         words += (words.empty() ? "--" : " --") + name;
      }
   }
   return words;
}

/// Text in which man finds nothing to obey.
std::string manText(std::string const& text) {
   std::string out;
   for (char const c : text) {
      if (c == '\\' || c == '-') {
         out += '\\';
      } else if ((c == '.' || c == '\'') && (out.empty() || out.back() == '\n')) {
         out += "\\&";
      }
      out += c;
   }
   return out;
}

std::string manOptions(CLI::App const& app) {
   std::string out;
   for (CLI::Option const* each : app.get_options()) {
      out += ".TP\n.B " + manText(each->get_name(!each->nonpositional(), each->nonpositional())) +
             "\n" + manText(each->get_description()) + "\n";
   }
   return out;
}

} // namespace

std::string completionText(CLI::App const& app) {
   std::string names;
   std::string cases;
   for (CLI::App const* each : commandsOf(app)) {
      names += (names.empty() ? "" : " ") + each->get_name();
      cases += "         " + each->get_name() + ") words=\"" + optionWords(*each) + "\" ;;\n";
   }
   return "# Completion of " + app.get_name() + " for bash.\n_" + app.get_name() +
          "() {\n"
          "   local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n"
          "   local words=\"" +
          optionWords(app) + " " + names +
          "\" word\n"
          "   if [[ $previous == --control ]]; then\n"
          "      COMPREPLY=($(compgen -f -- \"$current\"))\n"
          "      return\n"
          "   fi\n"
          "   for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
          "      case $word in\n" +
          cases +
          "      esac\n"
          "   done\n"
          "   COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
          "}\n"
          "complete -F _" +
          app.get_name() + " " + app.get_name() + "\n";
}

std::string manualText(CLI::App const& app) {
   std::string const name = app.get_name();
   std::string out = ".TH " + name + " 1\n.SH NAME\n" + name + " \\- " +
                     manText(app.get_description()) + "\n.SH SYNOPSIS\n.B " + name +
                     "\n\\-\\-control PATH COMMAND [OPTIONS]\n.SH OPTIONS\n" + manOptions(app) +
                     ".SH COMMANDS\n";
   for (CLI::App const* each : commandsOf(app)) {
      out += ".SS " + manText(each->get_name()) + "\n" + manText(each->get_description()) + "\n" +
             manOptions(*each) + ".PP\n" + manText(each->get_footer()) + "\n";
   }
   return out + ".SH EXIT STATUS\n" + manText(app.get_footer()) + "\n";
}

} // namespace Host
