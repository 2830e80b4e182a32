#include "Options.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <map>
#include <sstream>
#include <system_error>
#include <thread>

#include "Engine/Reference.h"
#include "HelpText.h"
#include "OutputStream.h"
#include "Terminal.h"

namespace sqxer {
namespace {

/// Splits NAME=VALUE.
Options::Assignments Split(const std::vector<std::string>& texts, const char* option,
                           const char* form) {
  Options::Assignments assignments;
  for (const std::string& text : texts) {
    const std::size_t equals = text.find('=');
    if (equals == 0 || equals == std::string::npos) {
      throw CLI::ValidationError(option, fmt::format("must be {} and not {}", form, text));
    }
    assignments.emplace_back(text.substr(0, equals), text.substr(equals + 1));
  }
  return assignments;
}

/// What is wrong with the text of a count; nothing when it is one.
std::string CheckCount(const std::string& text) {
  int count = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  if (error == std::errc() && stop == end && count > 0) return {};
  return fmt::format("must be a whole number above 0 and not {}", text);
}

std::string CheckRows(const std::string& text) { return text == "all" ? "" : CheckCount(text); }

std::string CheckThreads(const std::string& text) {
  // More than any machine has cores, and few enough to be started.
  constexpr int kMostThreads = 1024;
  const std::string wrong = CheckCount(text);
  if (!wrong.empty()) return wrong;
  if (std::stoi(text) <= kMostThreads) return {};
  return fmt::format("must be at most {} and not {}", kMostThreads, text);
}

char ReadDelimiter(const std::string& text) {
  if (text == "tab" || text == "\\t") return '\t';
  const bool isOne = text.size() == 1 && static_cast<unsigned char>(text[0]) < 0x80;
  if (!isOne || std::string_view("\"\r\n").find(text[0]) != std::string_view::npos) {
    throw CLI::ValidationError(
        "--delimiter", fmt::format("must be one ASCII character but a quotation mark, or tab, and "
                                   "not {}",
                                   text));
  }
  return text[0];
}

}  // namespace

const std::map<std::string, engine::TextOptions::Format>& OutputFormats() {
  using Format = engine::TextOptions::Format;
  static const std::map<std::string, Format> formats = {
      {"table", Format::kTable},    {"line", Format::kLines},      {"markdown", Format::kMarkdown},
      {"html", Format::kHtml},      {"csv", Format::kCsv},         {"tsv", Format::kTsv},
      {"json", Format::kJsonLines}, {"jsonl", Format::kJsonLines}, {"chart", Format::kChart},
      {"svg", Format::kSvg},        {"arrow", Format::kArrow}};
  return formats;
}

std::variant<Options, ExitStatus> ReadOptions(int count, const char* const* arguments) {
  Options options;
  options.threads = std::max(1u, std::thread::hardware_concurrency());
  std::vector<std::string> tables, schemas, switches;
  std::string delimiter, header, plot, rows, errors;
  std::string format;

  CLI::App app(kDescription, "sqxer");
  app.footer(MakeFooter());
  // Told of with the other pages.
  app.set_help_flag();
  app.add_option("arguments", options.arguments,
                 "The statement or statements; and files that are tables, each by its bare name")
      ->option_text("[FILE...] [SQL]");

  app.option_defaults()->group("SQL");
  app.add_option("-c,--command", options.sql, "Run this SQL; may be given several times")
      ->type_name("SQL")
      ->allow_extra_args(false);
  app.add_option("-f,--file", options.sqlFile, "Read the SQL from a file")
      ->type_name("FILE")
      ->allow_extra_args(false);
  app.add_option(
         "--param", options.parameters,
         "A query parameter, $1 first: VALUE, or TYPE:VALUE with a type as for --schema; an "
         "empty value is NULL, of a text type the empty text")
      ->type_name("VALUE")
      ->allow_extra_args(false);

  app.option_defaults()->group("Tables");
  app.add_option("-t,--table", tables,
                 "A table by name; PATH is as in quotation marks, or FILE.db:table")
      ->type_name("NAME=PATH")
      ->allow_extra_args(false);
  app.add_option("-C,--dir", options.directory,
                 "Where NAME means NAME.csv (default: the current folder)")
      ->type_name("DIR");
  app.add_option("--schema", schemas,
                 "Types instead of the inferred ones: bit, int1, uint1, int2, uint2, int4, uint4, "
                 "bigint, float, double, numeric, char(n), varchar(n), date, time, "
                 "timestamp, "
                 "interval, boolean, and SQL's other names of these")
      ->type_name("NAME=COL:TYPE,...")
      ->allow_extra_args(false);
  app.add_option("--delimiter", delimiter,
                 "What parts the fields of text files: one character, or tab (default: the comma, "
                 "tab, semicolon or bar that is found by looking)")
      ->type_name("C");
  app.add_option("--header", header,
                 "Whether the first line of text files names the columns (default: yes); they are "
                 "column1, column2, ... otherwise")
      ->type_name("yes|no")
      ->check(CLI::IsMember({"yes", "no"}));
  app.add_option("--null", options.files.nullText,
                 "A field without quotation marks that is NULL, as an empty one always is")
      ->type_name("TEXT");
  app.add_option("--encoding", options.files.encoding,
                 "Of text files without a byte order mark, such as latin1 (default: UTF-8)")
      ->type_name("NAME");

  app.add_flag(
      "--untrusted", options.untrusted,
      "The SQL is not the caller's own: it reads files below DIR alone, besides the tables "
      "named here, writes none, and has tighter limits, which --set can widen");

  app.option_defaults()->group("Results");
  app.add_option(
         "-o,--output", format,
         "table (default on a terminal), line (a column a line), markdown, html, csv (default "
         "elsewhere), tsv, json or jsonl (an object a line), chart (bars or lines of "
         "characters), svg (the same as a picture), arrow (a file of its IPC format)")
      ->type_name("FORMAT")
      ->check(CLI::IsMember(OutputFormats()));
  app.add_option("--out", options.out,
                 "The file of the results, which appears when all are complete (default: standard "
                 "output, where csv and json are written as they come)")
      ->type_name("FILE");
  app.add_option("--plot", plot,
                 "Draw the result into a file, as -o svg --out FILE does: the columns of numbers "
                 "over the first one, bars for labels, lines for numbers and times")
      ->type_name("FILE.svg")
      ->excludes("--out")
      ->excludes("--output");
  app.add_option("--rows", rows,
                 "How many rows -o table and -o line show, or all (default: 40 on a terminal, all "
                 "elsewhere)")
      ->type_name("N")
      ->check(&CheckRows);
  app.add_flag_callback(
      "--no-header", [&] { options.output.hasHeader = false; }, "No header line in csv output");

  app.option_defaults()->group("Running");
  app.add_option(
         "--threads", options.threads,
         "How many threads read files and evaluate rows at most (default: the cores); results do "
         "not depend on it")
      ->type_name("N")
      ->check(&CheckThreads);
  app.add_option("--set", switches, "Set a configuration switch (see --help-switches)")
      ->type_name("SWITCH=VALUE")
      ->allow_extra_args(false);
  app.add_option(
         "--errors", errors,
         "text (default), or json: an object a line with code, message, line, column, offset, "
         "row, inputs and sql")
      ->type_name("FORM")
      ->check(CLI::IsMember({"text", "json"}));
  app.add_option("--repeat", options.output.runs,
                 "Run each statement N times over the loaded table")
      ->type_name("N")
      ->check(&CheckCount);
  app.add_flag(
      "--timing", options.timing,
      "Load, bind and run times, and the bytes that the runs spilled to temporary files, as one "
      "JSON line a statement on standard error");
  app.add_flag_callback(
      "--no-progress", [&] { options.progress = false; },
      "No progress bar (shown on a terminal, for work over a second)");

  app.option_defaults()->group("Reference");
  std::string function;
  const CLI::Option* const functions =
      app.add_option("--functions", function,
                     "Print all operators and functions, what one of them does, or a page of the "
                     "reference of SQL, and exit")
          ->type_name("[NAME]")
          ->expected(0, 1);
  app.add_flag("--help-switches", options.showSwitches, "Print the switches of --set and exit");
  app.set_help_flag("-h,--help", "Print this help and exit")->group("Reference");
  app.set_version_flag("--version", engine::GetVersion(), "Print the version and exit")
      ->group("Reference");
  // The build makes the manual of it.
  bool isManWanted = false;
  app.add_flag("--help-man", isManWanted, "Print the manual page and exit")->group("");

  try {
    app.parse(count, arguments);
    if (isManWanted) {
      WriteOut(MakeManPage(app));
      return kDone;
    }
    options.tables = Split(tables, "--table", "NAME=PATH");
    options.schemas = Split(schemas, "--schema", "NAME=COL:TYPE,...");
    options.switches = Split(switches, "--set", "SWITCH=VALUE");
    if (app.count("--delimiter") > 0) options.files.delimiter = ReadDelimiter(delimiter);
    if (functions->count() > 0) options.functions = function;
    options.errorsAreJson = errors == "json";
    options.isHeaderGiven = !header.empty();
    options.files.hasHeader = header != "no";
  } catch (const CLI::Success& success) {
    std::ostringstream text;
    app.exit(success, text, text);
    WriteOut(text.str());
    return kDone;
  } catch (const CLI::ParseError& error) {
    const auto line = fmt::format("sqxer: {} (--help shows the options)\n", error.what());
    std::fputs(line.c_str(), stderr);
    return kWrongOptions;
  }
  if (!plot.empty()) {
    options.out = plot;
    format = "svg";
  }
  options.isFormatGiven = !format.empty();
  const bool isOnTerminal = !options.out && isatty(STDOUT_FILENO);
  if (format.empty()) format = isOnTerminal ? "table" : "csv";
  if (isOnTerminal && format == "arrow") {
    std::fputs("sqxer: Arrow data are not for a terminal: --out FILE\n", stderr);
    return kWrongOptions;
  }
  options.output.format = OutputFormats().at(format);
  if (isOnTerminal) {
    options.output.width = TerminalWidth(STDOUT_FILENO);
    options.output.mostRows = kRowsOnTerminal;
  }
  options.areRowsGiven = !rows.empty();
  if (options.areRowsGiven) options.output.mostRows = rows == "all" ? 0 : std::stoull(rows);
  return options;
}

}  // namespace sqxer
