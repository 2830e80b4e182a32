#include "Options.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <map>
#include <sstream>
#include <system_error>

#include "ResultSpool.h"

namespace sqxer {
namespace {

constexpr const char* kDescription =
    "Evaluates SQL over files: a SELECT of one table, or EXPLAIN SELECT, which prints its bound "
    "expression trees.";

constexpr const char* kFooter = R"(
The SQL is taken from the argument, from -f FILE, or from standard input; several
statements are parted by semicolons. A table is a name, or a path in double quotes.

Exit status: 0 done; 1 a statement is wrong or failed (the others have run); 2 wrong
options; 3 a file cannot be read; 4 the processor is too old for this build. Where several
statements failed, that of the first.

Examples:
  sqxer "SELECT 7 / 2"
  sqxer -C data "SELECT region, SUM(price) FROM sales GROUP BY region"
  sqxer -o json 'SELECT * FROM "data/sales.csv" LIMIT 3')";

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

}  // namespace

std::variant<Options, ExitStatus> ReadOptions(int count, const char* const* arguments) {
  const std::map<std::string, OutputFormat> formats = {
      {"table", OutputFormat::kTable}, {"csv", OutputFormat::kCsv}, {"json", OutputFormat::kJson}};
  Options options;
  std::vector<std::string> tables, schemas, switches;
  std::string format = isatty(STDOUT_FILENO) ? "table" : "csv";

  CLI::App app(kDescription, "sqxer");
  app.footer(kFooter);
  app.set_version_flag("--version", SQXER_VERSION, "Print the version and exit");
  app.add_option("sql", options.sql, "The statement or statements");
  auto* file = app.add_option("-f,--file", options.sqlFile, "Read the SQL from a file")
                   ->type_name("FILE")
                   ->excludes(app.get_option("sql"));
  file->allow_extra_args(false);
  app.add_option("-t,--table", tables,
                 "A table by name; PATH ends in .csv, .tsv or .jsonl, or is FILE.db:table")
      ->type_name("NAME=PATH")
      ->allow_extra_args(false);
  app.add_option("-C,--dir", options.directory,
                 "Where NAME means NAME.csv (default: the current folder)")
      ->type_name("DIR");
  app.add_option("--schema", schemas,
                 "Types instead of the inferred ones: bit, int1, uint1, int2, uint2, int4, uint4, "
                 "float, double, numeric, char(n), varchar(n), date, time, timestamp, boolean")
      ->type_name("NAME=COL:TYPE,...")
      ->allow_extra_args(false);
  app.add_option("-o,--output", format,
                 "table (default on a terminal), csv (default elsewhere), json (an object a line)")
      ->type_name("FORMAT")
      ->check(CLI::IsMember(formats));
  app.add_option("--set", switches, "Set a configuration switch (see --help-switches)")
      ->type_name("SWITCH=VALUE")
      ->allow_extra_args(false);
  app.add_option(
         "--param", options.parameters,
         "A query parameter, $1 first: VALUE, or TYPE:VALUE with a type as for --schema; an "
         "empty value is NULL, of a text type the empty text")
      ->type_name("VALUE")
      ->allow_extra_args(false);
  app.add_option("--repeat", options.repeat, "Run each statement N times over the loaded table")
      ->type_name("N")
      ->check(&CheckCount);
  app.add_flag(
      "--timing", options.timing,
      "Load, bind and run times, and the bytes that the runs spilled to temporary files, as one "
      "JSON line a statement on standard error");
  app.add_flag_callback(
      "--no-header", [&] { options.header = false; }, "No header line in csv output");
  app.add_flag_callback(
      "--no-progress", [&] { options.progress = false; },
      "No progress bar (shown on a terminal, for work over a second)");
  app.add_flag("--functions", options.showFunctions, "Print the SQL that is understood and exit");
  app.add_flag("--help-switches", options.showSwitches, "Print the switches of --set and exit");

  try {
    app.parse(count, arguments);
    options.tables = Split(tables, "--table", "NAME=PATH");
    options.schemas = Split(schemas, "--schema", "NAME=COL:TYPE,...");
    options.switches = Split(switches, "--set", "SWITCH=VALUE");
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
  options.format = formats.at(format);
  return options;
}

}  // namespace sqxer
