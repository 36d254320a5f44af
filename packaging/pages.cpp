// Writes what is installed beside the programs, from the texts and tables of their own --help:
// pages gpuprobe|gpureport VERSION DESCRIPTION, pages completion

#include <algorithm>
#include <cctype>
#include <iostream>
#include <regex>
#include <string>
#include <vector>

#include "app/MySniffer.h"
#include "gpureport/Commands.h"

namespace {

/// For groff, which reads backslashes anywhere, and lines that begin with a dot or quote.
std::string roff(const std::string& text) {
  std::string escaped;
  for (const char each : text) {
    const bool lineBegins = escaped.empty() || escaped.back() == '\n';
    if (lineBegins && (each == '.' || each == '\'')) escaped += "\\&";
    if (each == '\\')
      escaped += "\\e";
    else if (each == '-')
      escaped += "\\-";
    else
      escaped += each;
  }
  return escaped;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t place = 0; (place = text.find(from, place)) != std::string::npos;
       place += to.size())
    text.replace(place, from.size(), to);
  return text;
}

/// A text of several paragraphs, which empty lines part.
std::string paragraphs(std::string text) {
  text.erase(text.find_last_not_of('\n') + 1);
  return ".PP\n" + replaced(roff(text), "\n\n", "\n.PP\n") + "\n";
}

void writeHead(const std::string& program, const std::string& version,
               const std::string& description) {
  std::string title = program;
  std::transform(title.begin(), title.end(), title.begin(), [](char letter) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
  });
  std::cout << ".TH " << title << " 1 \"\" \"gpuprobe " << version << "\"\n.SH NAME\n"
            << program << " \\- " << roff(description) << "\n.SH SYNOPSIS\n";
}

void writeOption(const std::string& names, const std::string& help) {
  std::cout << ".TP\n.B " << roff(names) << '\n' << roff(help) << '\n';
}

/// " FILE", or nothing for an option that is on or off.
std::string value(const CLI::Option& option) {
  const std::string name = option.get_type_name();
  return name.empty() ? name : ' ' + name;
}

void writeProbe() {
  std::cout << "\\fBgpuprobe\\fR [options]\n.SH DESCRIPTION\n"
               "Asks the drivers of this machine's GPUs a series of questions and writes each\n"
               "answer at once as a line \"Key=value\" on standard output. Hosts start it;\n"
               "people start\n.BR gpureport (1).\n.SH OPTIONS\n";
  std::vector<std::string> lines;
  MySniffer().GetUsage(lines);
  const std::regex option(R"( *(-[^ ]+)( [^{]*)?\{(.*)\})");
  for (const std::string& line : lines)
    if (std::smatch part; std::regex_match(line, part, option))
      // The usage text names one system; on those with manual pages the option works as well.
      writeOption(part[1], replaced(part[3], "Mac only, ", ""));
  std::cout << ".SH SEE ALSO\n.BR gpureport (1)\n";
}

void writeCommand(const CLI::App& app) {
  std::cout << paragraphs(app.get_description());
  for (const CLI::Option* option : app.get_options())
    writeOption(option->get_name(false, true) + value(*option), option->get_description());
  std::cout << paragraphs(app.get_footer());
}

void writeReport() {
  std::cout << "\\fBgpureport\\fR [show] [options]\n.br\n"
               "\\fBgpureport guard\\fR [options] \\-\\- \\fIPROGRAM\\fR [arguments]\n"
               ".SH GPUREPORT [SHOW]\n";
  writeCommand(gpureport::ShowCommand().app);
  std::cout << ".SH GPUREPORT GUARD\n";
  writeCommand(gpureport::GuardCommand().app);
  std::cout << ".SH SEE ALSO\n.BR gpuprobe (1)\n";
}

/// A row of the shell's table: what may stand behind an option, or instead of one.
void writeChoices(const std::string& command, const std::string& before, const std::string& words) {
  std::cout << "    '" << command << ' ' << before << "') " << words << " ;;\n";
}

void completeCommand(const std::string& command, const CLI::App& app) {
  std::string names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      names += " --" + name;
      const std::string type = option->get_type_name();
      if (type == "FILE" || type == "PATH")
        writeChoices(command, "--" + name, "files=yes");
      else if (type == "FORMAT")
        writeChoices(
            command, "--" + name,
            "words='" + replaced(replaced(option->get_description(), ",", ""), " or ", " ") + "'");
      else if (!type.empty())
        writeChoices(command, "--" + name, "");
    }
  }
  std::cout << "    '" << command << " '*) words='" << names << "' ;;\n";
}

void writeCompletion() {
  std::cout << R"(# bash completion for gpureport, made from its table of options
_gpureport() {
  local command=show current=$2 previous=$3 words= files= i
  [ "${COMP_WORDS[1]}" != guard ] || command=guard
  for ((i = 2; i < COMP_CWORD; i++)); do
    [ "$command ${COMP_WORDS[i]}" = 'guard --' ] || continue
    ! declare -F _command_offset >/dev/null || _command_offset $((i + 1))
    return
  done
  # --option=value is three words here.
  [ "$current" != = ] || { current= previous==; i=$((COMP_CWORD + 1)); }
  [ "$previous" != = ] || previous=${COMP_WORDS[i - 2]}
  case "$command $previous" in
    *' -o') files=yes ;;
)";
  completeCommand("guard", gpureport::GuardCommand().app);
  completeCommand("show", gpureport::ShowCommand().app);
  std::cout << R"(  esac
  [ "$COMP_CWORD" -ne 1 ] || words+=' show guard'
  if [ "$files" ]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
  fi
}
complete -F _gpureport gpureport
)";
}

}  // namespace

int main(int argc, char** argv) {
  const std::string page = argc > 1 ? argv[1] : "";
  if (page == "completion") {
    writeCompletion();
  } else if (argc == 4 && (page == "gpuprobe" || page == "gpureport")) {
    writeHead(page, argv[2], argv[3]);
    page == "gpuprobe" ? writeProbe() : writeReport();
  } else {
    std::cerr << "usage: pages gpuprobe|gpureport VERSION DESCRIPTION, or pages completion\n";
    return 2;
  }
  return std::cout.flush() ? 0 : 1;
}
