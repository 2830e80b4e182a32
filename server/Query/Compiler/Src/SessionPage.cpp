// The page of the reference about what a session has.

#include "FunctionReference.h"

namespace sqxer {

const char* const kSessionText =
    R"(A session is what runs statements one after the other: those of one call of the command, of its shell, of a
connection in Python, of an `engine::Session`. What these statements make lasts as long as the session.

```
CREATE [OR REPLACE] VIEW name [(column, ...)] AS query
CREATE [OR REPLACE] [TEMP] TABLE [IF NOT EXISTS] name [(column, ...)] AS query [WITH NO DATA]
CREATE [OR REPLACE] [TEMP] TABLE [IF NOT EXISTS] name (column type, ...)
DROP {VIEW | TABLE} [IF EXISTS] name, ...
[WITH ...] INSERT INTO table [(column, ...)] query
COPY {table [(column, ...)] | (query)} TO 'file' [[WITH] (option, ...)]
DESC[RIBE] {table | query}
SUMMARIZE {table | query}
SHOW TABLES
SHOW {switch | ALL}
SET switch {= | TO} value
RESET {switch | ALL}
EXPLAIN [ANALYZE | (ANALYZE [, NODES]) | ANALYZE (NODES)] {query | CREATE TABLE ... AS query | INSERT ... query}
```

A statement that fails, or is cancelled, leaves everything as it was. The command prints nothing for one without rows.
`RunReport::tag`, and in Python `Result.tag`, tell what it has done as PostgreSQL does: `CREATE VIEW`, `SELECT 5` (of
CREATE TABLE AS), `INSERT 0 12`, `COPY 12`, `SET`.

## Views and tables

- A view is a query by another name. It is checked when it is made, under the switches of that moment, and run when a
  statement reads it, once for the statement, its rows kept in memory meanwhile, as those of WITH. Rows that are read
  once, by a query that does no more than choose and compute or by a join, are not kept. A view may read other views,
  64 deep, but not itself, and has no parameters. An error in it names the view, and its place is where the statement
  does.
- A table keeps its rows in memory. Its columns have the types that the query gives them, or those that are written, as
  CAST takes them. Constraints, defaults and collations are refused by name.
- Names are found without regard to letter case. In a query a name means, in this order, a query of WITH, a view or
  table of these statements, a table that the session was given (`--table`, `register`), and `NAME.csv` in the folder.
  A new view or table needs OR REPLACE where there is one of its name, or a table that the session was given, which it
  hides until it is dropped. A file of the folder is hidden without asking. The name of a path (`x.csv`) is refused.
- DROP takes what CREATE has made, all of the names or none. A view that reads something dropped fails when it is read.
- INSERT takes tables of these statements alone. Values are cast to the types of the columns, literals of VALUES one by
  one; one that does not fit is an error, and nothing is inserted. A text longer than its column was declared is an
  error, blanks at its end apart; in a column that a query has made texts may have any length. Columns that are left
  out are NULL; without a list of columns the query may have fewer than the table, which are its first.

## COPY

Writes rows while they are made, beside the file, and renames when all are written: until then, and where it fails or is
cancelled, an old file stays. So a query may read the file that it replaces. A path that is relative is one of the
current folder. The ending of the name tells the format: `.csv`, `.tsv`, `.jsonl` or `.ndjson` (an object a line),
`.json` (an array of objects), `.arrow` (Arrow's IPC format, which is Feather, version 2), each also packed: `.gz`,
`.zst`. Pipes and devices are written to at once. Tables that were read from the file are read anew by the next
statement. Of Arrow data alone the rows are kept in memory until the last one is there.

| option | |
|---|---|
| `FORMAT csv`, `tsv`, `jsonl`, `json` or `arrow` | in the place of what the ending tells |
| `HEADER [true or false]` | of CSV: whether the first line names the columns, as without the option |
| `DELIMITER 'c'` | of CSV: what parts the fields |
| `NULL 'text'` | of CSV: what is written for NULL, nothing without it; a text that reads so is in quotation marks |

Files are read by queries: `INSERT INTO t SELECT * FROM 'file.csv'` does what COPY FROM does elsewhere.

## What there is

- DESCRIBE gives a row for each column: `column_name`, `type` as `--schema` takes it, `nullable`.
- SUMMARIZE gives a row for each column, of one pass over the rows: `column_name`, `type`, `rows`, `nulls`, `distinct`,
  `min`, `max`, `mean`, `q25`, `median`, `q75`. Different values are counted as APPROX_COUNT_DISTINCT does: exactly up
  to some hundreds, else about. Quantiles are those of APPROX_QUANTILE: exact for few rows, else about. The mean and
  quantiles of texts, times and truth values are NULL.
- SHOW TABLES gives `name`, `kind` (file, table, view, or arrow for data that a program gave), and `rows` and `columns`
  where they are known, of a file once a statement has read it.
- SHOW ALL gives `name`, `value` and `description` of the switches, which `--set` and `sqxer --help-switches` have, too.
  SET holds for the statements to come, RESET puts back what the program has set
  (the command, by `--set`), or else what the session began with. A value stands in quotation marks, or without, as far as the statement goes: `SET GroupMemory = 64MiB`.

## Limits

What a statement may take is bounded by switches; beyond one it ends with an error that names it, and leaves nothing.

| switch | |
|---|---|
| `MemoryLimit` | memory, by default 80 % of the machine's, or of the control group's where that is less |
| `TempLimit` | bytes of temporary files at once |
| `StatementTimeout` | milliseconds |
| `StatementLength` | bytes of its text. Expressions nest 1,000 deep at most, views 64 |
| `UnpackRatio` | bytes that may come of one byte of a packed file |

- `MemoryLimit` counts rows of tables, groups, values that aggregates hold, joins, sorts, windows and results, and what
  the session keeps of statements before: tables of CREATE TABLE, tables of files, results that a program has not
  released. Tables of files are let go, and read again, where they would leave less than half.
- Groups, distinct values, medians and quantiles, sorts and windows go to temporary files when they have taken their
  share of what is left, and of a table of CSV or JSON lines a statement that reads the rows once keeps none. INNER and
  LEFT joins of such tables keep no left rows, and send both sides to temporary files where the right one is too large.
  What has to be in memory as a whole ends the statement: rows of other joins, rows that windows, WITH, views and most
  subqueries go over, or that the result keeps.
- Blocks of less than 4 KiB do not count, nor do libraries, stacks and the program's own data: some 64 MiB.

A session can be *untrusted* (`sqxer --untrusted`, `sqxer.connect(untrusted=True)`, `Session::SetUntrusted`): its
statements come from people that nobody knows.

- They read regular files below the folder of `-C` (Python: `directory`), wherever links lead; a path with `..` is
  refused, and so are pipes, devices and standard input. Tables that the program or the command line gives may be
  anywhere.
- They write nothing: no COPY, in the shell no `\o` and no history; `--out` is the caller's own.
- Views of SQLite call no extensions and no pragmas, and end when they take 100 million steps for a row. A database is
  read as it stands, without what a writer of the moment has not finished.
- The limits are 1 GiB of memory, 4 GiB of temporary files, a minute, 1 MiB of SQL and a ratio of 200. `--set` widens
  them; SET can only lower them, and RESET takes that back. SET refuses `TempDirectory`.

## EXPLAIN ANALYZE

Runs the query, throws its rows away, and tells behind the plan what each kind of step has taken, without what the
steps within it have: rows that came in and went out, and time. Steps of the same kind, of all queries of the statement,
are one line. `scan` is the reading of files, too; `write` is what taking the rows costs, without any format. The query
runs on one thread, so that times add up: with more threads it takes less.

With NODES each node of the expressions tells its own time, without its operands, and its share of all nodes; those of
a query whose rows become a table stand before the plan. The clock is read for one batch of rows in eight, which
counts for the others, so that it costs less than runs differ from each other. A node that is evaluated row by row
("by rows") counts with its operands; where no batches are made there are no times of nodes.
)";

}  // namespace sqxer
