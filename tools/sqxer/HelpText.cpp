#include "HelpText.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <string_view>

#include "Engine/Reference.h"
#include "ShellCommands.h"

namespace sqxer {
namespace {

/// Paragraphs, parted by empty lines.
constexpr std::string_view kAbout =
    R"(The SQL is taken from the arguments, from -f FILE, or from standard input; several
statements are parted by semicolons. Without SQL on a terminal a shell starts, which
completes, remembers and explains what is typed (\? lists its commands). An argument that
is the path of a file is a table by its bare name.

A table is a name, or a path in quotation marks of either kind: of a CSV or TSV file or one
of JSON lines (.jsonl), also packed (.gz, .zst), of several as a pattern
('logs/2024-*.csv', equal headers), of a pipe, or - for standard input (the SQL then comes
from the arguments or -f). Delimiter, packing, byte order marks, and what a pipe holds are
found by looking.

A table of more than 64 MiB (--set TableMemory) is not kept in memory: a statement that
reads its rows once takes them as they come, so that a pipe may be of any length. Types of a
pipe, and the keys of JSON lines, are then those of its first rows, and a later value that
does not fit is an error.

SELECT ... LIMIT n without WHERE, GROUP BY, ORDER BY, DISTINCT or aggregates reads no more
rows than it needs. Types and keys then come from a sample of the file and those rows: a
value further on that does not fit them is not looked for.)";

constexpr std::string_view kExitStatus =
    R"(0 done, or the reader of the output has gone (| head); 1 a statement is wrong
or failed (the others have run); 2 wrong options; 3 a file cannot be read; 4 the processor
is too old for this build. Where several statements failed, that of the first. Ctrl-C and
SIGTERM end it by the same signal, which shells show as 130 and 143.)";

constexpr std::string_view kExamples =
    R"(sqxer
sqxer sales.csv
sqxer sales.csv -c "SELECT region, SUM(price) FROM sales GROUP BY region"
sqxer "SELECT 7 / 2"
sqxer -C data "SELECT region, SUM(price) FROM sales GROUP BY region"
sqxer -o json "SELECT * FROM 'data/sales.csv' LIMIT 3"
zcat sales.csv.gz | sqxer "SELECT region, SUM(price) FROM '-' GROUP BY region")";

/// Calls `use` for each line.
template <class Use>
void ForEachLine(std::string_view text, Use&& use) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    use(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

/// As a page shows it unchanged: what would be an order to the formatter is none.
std::string Escaped(std::string_view text) {
  std::string escaped;
  if (text.starts_with('.') || text.starts_with('\'')) escaped += "\\&";
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else if (c == '\'') {
      escaped += "\\(aq";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

void AddText(std::string& page, std::string_view text) {
  ForEachLine(text, [&](std::string_view line) {
    page += line.empty() ? std::string(".PP") : Escaped(line);
    page += '\n';
  });
}

std::string NamesOf(const CLI::Option& option) {
  std::string names = option.get_name(false, true);
  for (std::size_t comma = 0; (comma = names.find(',', comma)) != std::string::npos; comma += 2) {
    names.replace(comma, 1, ", ");
  }
  return names;
}

void AddOptions(std::string& page, const CLI::App& app) {
  for (const std::string& group : app.get_groups()) {
    std::string options;
    for (const CLI::Option* const option : app.get_options()) {
      if (option->get_group() != group || option->get_positional()) continue;
      const std::string type = option->get_type_size() > 0 ? option->get_type_name() : "";
      options += fmt::format(".TP\n\\fB{}\\fR", Escaped(NamesOf(*option)));
      if (!type.empty()) options += fmt::format(" \\fI{}\\fR", Escaped(type));
      options += '\n' + Escaped(option->get_description()) + '\n';
    }
    if (!group.empty() && !options.empty()) {
      page += fmt::format(".SS {}\n", Escaped(group)) + options;
    }
  }
}

void AddShell(std::string& page) {
  page += ".SH SHELL\n";
  AddText(page,
          "A statement is run when its semicolon is typed, and may take several lines. Tab "
          "completes keywords, functions, tables, columns of tables that the statement names, and "
          "files between quotation marks. Ctrl-C clears what is typed, or ends the statement that "
          "runs; Ctrl-D leaves. Lines that begin with a backslash are commands:");
  for (const ShellCommand& command : ListShellCommands()) {
    page += fmt::format(".TP\n\\fB{}\\fR\n{}\n", Escaped(FormOf(command)),
                        Escaped(command.description));
  }
}

}  // namespace

std::string MakeFooter() {
  std::string footer = fmt::format("\n{}\n\nExit status: {}\n\nExamples:", kAbout, kExitStatus);
  ForEachLine(kExamples, [&](std::string_view line) { footer += fmt::format("\n  {}", line); });
  return footer;
}

std::string MakeManPage(const CLI::App& app) {
  std::string page = fmt::format(
      ".TH SQXER 1 \"\" \"sqxer {}\" \"User Commands\"\n.SH NAME\nsqxer \\- SQL over files\n"
      ".SH SYNOPSIS\n.B sqxer\n[\\fIoption\\fR ...] [\\fIfile\\fR ...] [\\fISQL\\fR]\n"
      ".SH DESCRIPTION\n",
      engine::GetVersion());
  AddText(page, kDescription);
  page += ".PP\n";
  AddText(page, kAbout);
  page += ".SH OPTIONS\n";
  AddOptions(page, app);
  AddShell(page);
  page += ".SH EXIT STATUS\n";
  AddText(page, kExitStatus);
  page += ".SH ENVIRONMENT\n.TP\n.B PAGER\n";
  AddText(page, "Shows results of the shell that have more lines than the terminal.");
  page += ".TP\n.B XDG_STATE_HOME\n";
  AddText(page, "The folder of the shell's sqxer/history, instead of ~/.local/state.");
  page += ".SH EXAMPLES\n.nf\n";
  AddText(page, kExamples);
  page += ".fi\n";
  return page;
}

}  // namespace sqxer
