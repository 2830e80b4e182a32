#include "ErrorCatalogue.h"

namespace sqxer {

std::vector<ErrorCatalogueEntry> ErrorCatalogueCompiler() {
  return {
      {58001, 1, "{0}"},
      {58002, 0,
       "there is no such statement here: queries, EXPLAIN, CREATE and DROP of views and tables, "
       "INSERT, COPY, DESCRIBE, SUMMARIZE, SHOW, SET and RESET are understood"},
      {58003, 1, "this is not understood, write the query without it: {0}"},
      {58004, 3, "there is no {0} \"{1}\"{2}"},
      {58005, 1,
       "the statement is too large, one may have this many levels, nodes or columns: {0}"},
      {58006, 2, "{0} cannot use an aggregate (HAVING filters groups): {1}"},
      {58007, 1, "an aggregate cannot stand inside another one: {0}"},
      {58008, 1,
       "a query with groups can use this column only in GROUP BY or in an aggregate: \"{0}\""},
      {58009, 2, "{0} names a position that is not in the select list: {1}"},
      {58010, 2, "this text does not read as {1}: \"{0}\""},
      {58011, 2, "this number is beyond the range of {1}: {0}"},
      {58012, 1, "DISTINCT is not available here: {0}"},
      {58013, 3, "{0} takes {1}, not {2}"},
      {58014, 1, "an aggregate with several results can only be a whole select item: {0}"},
      {58015, 2, "this name is ambiguous, it may mean {1}: \"{0}\""},
      {58016, 1, "the query reads no table of this name: \"{0}\""},
      {58017, 1, "{0} takes a whole number that is not negative"},
      {58018, 2, "{0} needs a truth value, such as a comparison, and not {1}"},
      {58019, 0, "SELECT DISTINCT can only be sorted by what it selects"},
      {58020, 1, "a constant that is no position in the select list does not fit in {0}"},
      {58021, 0, "* needs a table, add FROM"},
      {58022, 1, "there is no column without a table, add FROM: \"{0}\""},
      {58023, 1,
       "there is no type of this name, use smallint, integer, bigint, real, double precision, "
       "numeric, "
       "char(n), varchar(n), text, date, time, timestamp or interval: \"{0}\""},
      {58024, 2, "a text has from 1 to {0} characters, and not {1}"},
      {58025, 2, "{0} takes its {1} as a text in quotation marks, which is the same in every row"},
      {58026, 1, "the parameter ${0} has no value, give one with --param for each from $1 on"},
      {58030, 1,
       "JSON_VALUE takes first a column of the table that holds JSON documents as text, and not "
       "{0}"},
      {58031, 0, "JSON_VALUE takes second a path in quotation marks, such as '$.name' or '$.a[0]'"},
      {58032, 3,
       "{0} needs a table whose first two columns are of {2} and of text, unlike those of: "
       "\"{1}\""},
      {58033, 3, "this is no {0}, use one of {1}: \"{2}\""},
      {58035, 1, "{0} takes this argument as a number that is the same in every row: no column"},
      {58036, 1, "there is no window of this name before here in WINDOW: \"{0}\""},
      {58037, 2, "a window cannot build on \"{0}\" like this: {1}"},
      {58038, 2, "{0} cannot use a function with OVER (the select list and ORDER BY can): {1}"},
      {58039, 1, "{0} needs a window, write OVER (...) behind it"},
      {58040, 1, "there is no switch of this name (--help-switches lists them all): \"{0}\""},
      {58041, 3, "the switch \"{1}\" takes {2}, not \"{0}\""},
      {58042, 1, "this function cannot have OVER, which is for aggregates and ranks: {0}"},
      {58043, 1, "{0} looks at its whole partition, and takes no frame"},
      {58044, 2, "in its window {0} takes {1}"},
      {58046, 1, "FILTER is for aggregates that leave out NULLs, which this one is not: {0}"},
      {58047, 1, "a percentile takes a fraction from 0 to 1, and not {0}"},
      {58045, 1,
       "a NUMERIC has from 1 to {0} digits, and at most as many of them before or behind the "
       "point"},
      {58048, 0,
       "RANGE takes a distance that is a number (an INTERVAL over dates), not negative, the same "
       "for every row"},
      {58049, 2, "a frame of {0} needs {1}"},
      {58074, 2, "{0} has no argument of this name, or has it already: {1}"},
      {58075, 1,
       "there is no time zone of this name, give one of the tz database (Europe/Berlin) or an "
       "INTERVAL: \"{0}\""},
      {58060, 1, "{0}"},
      {58061, 0, "the arguments of GROUPING must be keys of GROUP BY"},
      {58062, 0, "the first keys of ORDER BY must be those of DISTINCT ON, in any order"},
      {58063, 1, "GROUP BY ALL is not understood: write GROUP BY {0}"},
      {58070, 1,
       "ORDER BY within a call is for aggregates, and {0} takes its rows in its own order"},
      {58071, 1, "with DISTINCT {0} can be in the order of its arguments alone"},
      {58072, 1, "of several values {0} takes DISTINCT ones alone"},
      {58080, 1, "several tables here have this name, give one of them another: \"{0}\""},
      {58081, 3, "{0} has to have {1} columns here, and not {2}"},
      {58082, 3, "column {0} is {1} on one side and {2} on the other, cast one of them"},
      {58083, 1, "a subquery has to have one column here, and not {0}"},
      {58084, 1,
       "GENERATE_SERIES takes a first and a last whole number, and perhaps a step that is not 0; "
       "or "
       "two dates or timestamps and an interval that is not 0; it gives {0} rows at most"},
      {58090, 3, "the option {0} of COPY takes {1}, not \"{2}\""},
      {58091, 2, "there is no switch \"{0}\"{1}"},
      {58100, 1,
       "{0} takes one fraction: write a call for each, (0.25) and (0.5), which share the values of "
       "their group"},
  };
}

}  // namespace sqxer
