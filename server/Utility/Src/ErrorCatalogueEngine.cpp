#include "ErrorCatalogue.h"

namespace sqxer {

std::vector<ErrorCatalogueEntry> ErrorCatalogueEngine() {
  return {
      {57001, 2,
       "the table \"{0}\" has no file, name one with --table or a folder with --dir: {1}"},
      {57002, 2, "\"{0}\" cannot be read: {1}"},
      {57003, 1, "the file is empty, its first line must name the columns: \"{0}\""},
      {57004, 4, "{1} of \"{0}\" must have as many fields as the header, {3}, and not {2}"},
      {57005, 2,
       "{1} of \"{0}\" opens a quotation that does not end: close it, or quote the field whole and "
       "double the quotation marks in it"},
      {57006, 2,
       "{1} of \"{0}\" has text beside a quotation: quote whole fields and double the quotation "
       "marks in them"},
      {57007, 2,
       "{1} of \"{0}\" holds a NUL byte, which text files have not: remove it, or name the "
       "encoding of the file with --encoding"},
      {57008, 2,
       "{1} of \"{0}\" is not valid UTF-8: save the file as UTF-8, or name its encoding with "
       "--encoding"},
      {57009, 2, "two columns of \"{0}\" have the same name, rename one: \"{1}\""},
      {57010, 5, "{1} of \"{0}\" has a text too long for the column \"{2}\", {3}: \"{4}\""},
      {57011, 5, "{1} of \"{0}\" has a value that the column \"{2}\", {3}, cannot take: \"{4}\""},
      {57012, 2, "{1} of \"{0}\" has a field of more than 64 MiB: is a quotation left open?"},
      {57013, 2,
       "the declared types of \"{0}\" name a column that it has not, write its name as the file "
       "does, letter case included: \"{1}\""},
      {57014, 1,
       "types are declared as COL:TYPE,COL:TYPE, each column once, with bit, int1, uint1, int2, "
       "uint2, int4, uint4, float, double, numeric, char(n), varchar(n), date, time, timestamp or "
       "boolean: \"{0}\""},
      {57015, 1,
       "a table is a file that ends in .csv, .tsv or .jsonl, also packed (.gz, .zst), a pipe, - "
       "for standard "
       "input, or FILE.db:table: \"{0}\""},
      {57016, 3, "the database \"{0}\" has no table \"{1}\", {2}"},
      {57017, 3, "{1} of \"{0}\" has a blob, which expressions cannot read, in the column \"{2}\""},
      {57018, 2, "\"{0}\" has too many columns, a table may have 65535: {1}"},
      {57019, 3, "the parameter {0} does not read as {1}: \"{2}\""},
      {57020, 1, "\"{0}\" has changed while it was read: read a copy, or wait until it is written"},
      {57021, 2, "\"{0}\" cannot be unpacked: {1}"},
      {57022, 3, "{1} of \"{0}\" is not valid {2}, the encoding of the file"},
      {57023, 1,
       "no encoding of texts has this name, give one such as latin1 or UTF-16LE: \"{0}\""},
      {57024, 3, "\"{0}\" must have the header of \"{1}\" to be one table with it: {2}"},
      {57025, 2, "{1} of \"{0}\" has more than 2 GiB: is a quotation left open?"},
      {57026, 4, "{1} of \"{0}\" must have as many fields as the first record, {3}, and not {2}"},

      {57027, 1,
       "\"{0}\" has been read as far as a statement before wanted it, and cannot be read again: "
       "save "
       "it to a file, and name that"},
      {57028, 1, "no file matches the pattern: \"{0}\""},
      {57029, 3,
       "{1} of \"{0}\" is not one whole JSON object, as each line must be: mend or remove it: "
       "\"{2}\""},
      {57030, 3, "{1} of \"{0}\" has a key more than once, rename one: \"{2}\""},
      {57031, 2, "\"{0}\" is {1} file, which is not read: save it as CSV, and name that"},
      {57032, 0,
       "standard input cannot be both the SQL and a table: give the SQL as an argument, or with "
       "-f"},
      {57033, 2, "{1} of \"{0}\" has more than 64 MiB: is each JSON object on a line of its own?"},
      {57034, 1, "no line of the file has a JSON object with a key, which names a column: \"{0}\""},
      {57035, 5,
       "{1} of \"{0}\" has a value that the column \"{2}\" cannot take, which the rows before it "
       "made {3}: declare its type with --schema, or raise the switch TableMemory: \"{4}\""},
      {57036, 3,
       "{1} of \"{0}\" has a key that the rows before, which told the columns, had not: \"{2}\"; "
       "name the columns in the statement, or let more rows tell them: --set TableMemory=BYTES"},
      {57037, 2,
       "{1} of \"{0}\" has a string with the character \\u0000, which texts have not: remove it"},
      {57038, 3,
       "{1} of \"{0}\" has values more than {2} levels deep in each other: flatten them, or write "
       "them as a string"},
      {57039, 0,
       "the fields of CSV are parted by one ASCII character, which is no quotation mark or line "
       "end"},
      {57040, 2,
       "\"{0}\" unpacks to more than {1} times its size, which may be meant to do harm: raise the "
       "switch UnpackRatio if it is not"},

      {57100, 1, "an expression ended with a status that is neither a value nor NULL: {0}"},
      {57101, 1, "an expression that is never NULL gave NULL for the column \"{0}\""},
      {57102, 2, "a text is longer than the {1} characters of the column \"{0}\""},
      {57103, 2, "an expression gave another type than was planned for the column \"{0}\": {1}"},
      {57104, 1,
       "a frame of {0} rows that moves along takes more memory than the switch GroupMemory gives"},
      {57110, 0, "the statement was cancelled"},
      {57111, 1, "this is not one expression over the columns of one table: \"{0}\""},
      {57112, 2, "the expression was bound to other columns than those of \"{0}\": {1}"},
      {57113, 0,
       "the rows of this result were handed on, or are made while they are read, which is done "
       "once"},
      {57114, 3, "the function {0} gave {1} values for {2} rows"},
      {57115, 3, "the function {0} gave what cannot be {1}: {2}"},
      {57116, 3,
       "the function {0} gave a text of {1} characters, and was added with {2}: add it with a "
       "longer result"},
      {57117, 1,
       "this cannot be the name of an added function, since it is no plain name or one of a "
       "function that is there: \"{0}\""},
      {57118, 1,
       "functions that are added have no such type, but boolean, int2, int4, float, double, "
       "numeric, varchar, varchar(n), date, time and timestamp: \"{0}\""},
      {57119, 1, "no thread can be started for the rows of a stream: {0}"},
      {57120, 1, "the statement cannot be run on many machines: {0}"},
      {57121, 2,
       "these states have version {0}, and this library reads version {1}: run one release of it "
       "on "
       "all machines"},
      {57122, 0,
       "these states are those of another statement, or of another table, switch or parameter"},
      {57123, 1, "these rows are no states of a statement: {0}"},
      {57124, 1,
       "the rows of the statement are finished where they are read: there is nothing to {0}"},
      {57131, 1, "a subquery in an expression gives {0} rows: it may give one"},
      {57132, 1, "a subquery gives more than {0} different values to compare with: join it"},
      {57130, 2,
       "{0} of a join has more than {1} rows: filter the rows before they are joined, or join by "
       "more columns"},
      {57140, 2, "in the view \"{0}\": {1}"},
      {57141, 1, "the view reads itself: \"{0}\""},
      {57142, 2,
       "there is {1} of this name, which CREATE OR REPLACE would take the place of: \"{0}\""},
      {57143, 1, "this is the name of a file, a view or table needs another: \"{0}\""},
      {57144, 3, "no statement has made {0} \"{1}\"{2}"},
      {57145, 3, "\"{0}\" is {1}: DROP {2} drops it"},
      {57146, 2, "INSERT takes tables that CREATE TABLE has made, and \"{0}\" is {1}"},
      {57147, 3, "the table \"{0}\" has no column \"{1}\"{2}"},
      {57148, 1, "the column stands here twice: \"{0}\""},
      {57149, 3, "INSERT has {1} columns of \"{0}\" to fill, and the query {2}"},
      {57150, 2, "the column \"{0}\" takes texts of {1} characters, and one is longer"},
      {57151, 2, "two columns of \"{0}\" have the same name, give one another by AS: \"{1}\""},
      {57152, 2, "\"{0}\" cannot be written: {1}"},
      {57153, 1,
       "COPY writes files that end in .csv, .tsv, .jsonl, .ndjson, .json or .arrow, also packed "
       "(.gz, .zst), or of a FORMAT that is named: \"{0}\""},
      {57154, 1, "the option {0} of COPY is for CSV alone"},
      {57155, 3, "\"{0}\" is given {1} names for columns, and the query has {2}"},
      {57156, 2, "views read each other more than {1} deep: \"{0}\""},
      {57170, 0,
       "there is nothing to draw: a chart takes a column of labels, numbers or times, and columns "
       "of numbers behind it"},
      {57173, 0, "the statement took longer than the switch StatementTimeout allows"},
      {57171, 1, "a chart cannot show more than {0} points: group the rows"},
      {57174, 1, "the statement needs more memory than the switch MemoryLimit gives, {0}"},
      {57175, 2,
       "the rows read of \"{1}\" need more memory than the switch MemoryLimit gives, {0}: name "
       "fewer "
       "columns, or go over the rows once, since what groups or filters them keeps none of a table "
       "beyond TableMemory"},
      {57176, 1,
       "the groups need more memory than the switch MemoryLimit gives, {0}: lower the switch "
       "GroupMemory, beyond which groups are sorted on disk, or filter the rows"},
      {57177, 2,
       "the values that {1} holds of a group need more memory than the switch MemoryLimit gives, "
       "{0}: "
       "filter the rows, or make smaller groups"},
      {57178, 1,
       "the rows of a join need more memory than the switch MemoryLimit gives, {0}: filter the "
       "rows "
       "before they are joined, or read fewer columns of them"},
      {57179, 1,
       "sorting needs more memory than the switch MemoryLimit gives, {0}: read fewer columns, or "
       "let "
       "LIMIT say how many rows are wanted"},
      {57180, 1,
       "the windows need more memory than the switch MemoryLimit gives, {0}: filter the rows, or "
       "make "
       "smaller partitions"},
      {57181, 1,
       "the result needs more memory than the switch MemoryLimit gives, {0}: have it written to a "
       "file, or read it while it is made, or filter its rows"},
      {57182, 1,
       "the rows of a subquery, a view, a query of WITH or a new table need more memory than the "
       "switch MemoryLimit gives, {0}: filter them there, or take fewer columns"},
      {57183, 1,
       "the statement needs more room in temporary files than the switch TempLimit gives, {0}"},
      {57184, 2,
       "the statement has {0} bytes, and the switch StatementLength gives {1}: hand over a table "
       "instead of a list, or run the statements one by one"},

      {57190, 1,
       "an untrusted session reads the regular files of its folder alone, and this is none of "
       "them: "
       "\"{0}\""},
      {57191, 1, "an untrusted session writes no files: \"{0}\""},
      {57192, 1,
       "the statements of an untrusted session cannot raise its limits, nor say where its files "
       "are: {0}"},
      {57193, 1,
       "\"{0}\" takes too many steps of SQLite for a row, as a view without an end would: an "
       "untrusted session does not wait for it"},

      {57200, 1,
       "the Arrow data of \"{0}\" have been read or released before: hand over a new stream"},
      {57201, 2, "the Arrow stream of \"{0}\" broke off: {1}"},
      {57202, 2, "the Arrow data of \"{0}\" are no table: {1}"},
      {57203, 4,
       "the column \"{0}\" of \"{1}\" has an Arrow type that expressions cannot read, {3}: "
       "\"{2}\""},
      {57204, 3, "the Arrow array of the column \"{0}\" of \"{1}\" contradicts its type: {2}"},
      {57205, 3,
       "row {0} of \"{2}\" has a text in the column \"{1}\" that is not valid UTF-8, or holds a "
       "NUL character: mend or remove it"},
      {57206, 5, "row {0} of \"{2}\" has a value in the column \"{1}\" that no {3} can be: {4}"},
      {57207, 5,
       "row {0} of \"{2}\" has a text in the column \"{1}\" longer than the {3} characters that "
       "the first rows led to: read the table whole, or say how long its texts are: \"{4}\""},
      {57208, 3,
       "row {0} of \"{2}\" is NULL in the column \"{1}\", which says that it has no NULLs: declare "
       "it nullable"},
      {57220, 3,
       "a value of the column \"{0}\" does not fit the Arrow type {1} that the rows before led to, "
       "ask for doubles or cast it: {2}"},
      {57221, 1,
       "the texts of the column \"{0}\" take more than 2 GiB in one array: ask for large texts"},
      {57222, 2, "values of this type have no Arrow layout, cast the column \"{0}\": {1}"},
  };
}

}  // namespace sqxer
