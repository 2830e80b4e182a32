#include "FunctionReference.h"

// What the pages of the reference say apart from the rows of the function table.

namespace sqxer {

const char* const kStatementsText = R"(## Statements

```
[EXPLAIN] query, or one of the [statements of a session](sql/session.md)

query:   [WITH name [(column, ...)] AS (query), ...] select
select:  SELECT [DISTINCT [ON (key, ...)]] item, ...
  [FROM relation, ...]
  [WHERE condition]
  [GROUP BY [DISTINCT] element, ...]
  [HAVING condition]
  [WINDOW name AS (window), ...]
  [ORDER BY key [ASC | DESC] [NULLS FIRST | NULLS LAST], ...]
  [LIMIT count] [OFFSET count]
or       select {UNION | INTERSECT | EXCEPT} [ALL] select [ORDER BY ...] [LIMIT ...]
or       VALUES (expression, ...), ...
relation:  {table | (query) | GENERATE_SERIES(first, last [, step])} [AS name [(column, ...)]]
or       relation [INNER | LEFT | RIGHT | FULL] JOIN relation {ON condition | USING (column, ...)}
or       relation {CROSS | NATURAL [LEFT | RIGHT | FULL]} JOIN relation
```

The grammar is PostgreSQL's. A part of it that is not listed here (LATERAL, WITH RECURSIVE, FETCH WITH TIES) is
refused by name.

- A table is a name or a path in quotation marks of either kind: `FROM 'data/sales.csv'`,
  `FROM 'logs/2024-*.csv.gz'` (files of one header), `FROM '-'` (standard input). Without FROM a SELECT
  is evaluated once, over no columns.
- A column of a CSV file takes the first of these types that all its values have: BOOLEAN (`true` and
  `false`, or `t` and `f` as PostgreSQL's COPY writes them), INTEGER, NUMERIC, DOUBLE, DATE, TIMESTAMP,
  TIME; else it is text. Where `t` and `f` are marks of something else, name the type:
  `--schema 'sales=mark:text'`. A column that is declared as `text`, or as `varchar` without a length, has
  texts of any length; one that is declared as `bigint` is a NUMERIC of whole numbers of 64 bits, and takes no others.
- A join pairs the rows for which the condition is true; LEFT, RIGHT and FULL keep those of a side, or of both, that
  have no partner, with NULLs in the place of the other. USING and NATURAL compare columns of one name, which the
  result has once. Equalities between the sides are looked up, other conditions looked at pair by pair; conditions of
  one table alone are applied before. Rows come in the order of the left side, then of the right.
- A query in parentheses is also an expression: of one column and at most one row, `(SELECT MAX(x) FROM t)`;
  `EXISTS (query)`; `x IN (query)`, `x > ANY (query)`, `x <= ALL (query)`, in which a NULL among the values leaves
  open what no other one decides. IN over many values is a join where it is a condition of WHERE; anywhere else 40,000
  different values are the most.
- Rows are compared value by value, where the first that differs decides: `(a, b) = (1, 2)`, `(day, id) > (d, 7)`,
  `(a, b) IN ((1, 2), (3, 4))`. An array stands behind ANY and ALL alone, written out: `x = ANY (ARRAY[1, 2])`,
  `s LIKE ANY (ARRAY['a%', '%z'])`, `x > ALL (ARRAY[y, z])`.
- Such a query may read columns of the queries around it, in the select list, WHERE, HAVING, ORDER BY and ON, and with
  groups the keys: `(SELECT MAX(x) FROM t WHERE t.k = s.k)`. It is joined with their rows, by what WHERE says of both:
  equalities are looked up, other conditions looked at pair by pair. It is run for all rows that the conditions of WHERE
  without such queries leave, also for those that CASE, AND or OR would not ask for. Only in its own select list and
  clauses, and in queries in expressions there, may it name what is around: not in its FROM, WITH, VALUES or LIMIT.
- Queries of WITH, in FROM and in expressions are run once, and their rows kept in memory until the statement ends; those
  of a query in FROM that does no more than choose and compute are read while they are used.
- The columns of UNION, INTERSECT, EXCEPT and of the rows of VALUES come to a common type. Those of VALUES are
  called `column1`, `column2` and so on.
- An item is an expression, `*` or `name.*`. Column names are found exactly as spelled, else without
  regard to letter case; quote a name with blanks or capitals that matter: `"Cost Repair"`.
- A key is an expression, an alias, or a position in the select list. ORDER BY looks for aliases
  first, GROUP BY for columns first; HAVING may name aliases too.
- NULL comes last, ascending and descending, unless NULLS FIRST is asked for.
- An element of GROUP BY is a key, keys in parentheses, `ROLLUP (element, ...)`, `CUBE (element, ...)`
  or `GROUPING SETS (element, ...)`; `()` is no key. ROLLUP groups by all its elements, by all but the last
  one, and so on down to the whole; CUBE by every choice of them; GROUPING SETS by each alone. Several
  elements are combined each with each. A key that a set leaves out is NULL in its groups, and
  `GROUPING(key)` tells that from a NULL of the rows. Groups come set by set; DISTINCT makes equal sets one.
- DISTINCT ON keeps the first row, by ORDER BY, of those whose keys are equal. The keys are also the first
  of ORDER BY, and the rows come in their order.
- A query with an aggregate and no GROUP BY has one group, even over no rows.
- A column is called by its alias, else by the column or function that it is or converts, `case`
  where it is one, else `?column?`. An aggregate with several results appends to that name.

- `$1`, `$2`, ... are the values of `--param`, the first one `$1`. `--param int4:5` gives a type, with
  the types of `--schema`; without one the value takes the type that a CSV column of it would have,
  except that `t` and `f` are texts. An empty value is NULL, except that of a text
  type (`varchar:`, `char(3):`) it is the empty text.
  Parameters of the types DATE and TIME compute as TIMESTAMP (a time on 1900-01-01).
)";

const char* const kTypesText = R"(| literal | type |
|---|---|
| `12`, `-12` | INTEGER within 32 bits, else NUMERIC |
| `1.5` | NUMERIC |
| `1e5` | DOUBLE |
| `'text'` | text |
| `TRUE`, `FALSE` | BOOLEAN |
| `DATE '2012-01-31'`, `TIME '23:59:59.5'`, `TIMESTAMP '2012-01-31 23:59:59'` | as named |
| `INTERVAL '1 year 2 mons -3 days 04:05:06.7'`, `INTERVAL 'P1Y2M'`, `INTERVAL '3' DAY` | INTERVAL |
| `NUMERIC '1'`, `DOUBLE PRECISION 'NaN'`, `INTEGER '1'`, `UINT4 '1'`, `BOOLEAN 't'`, `TEXT 'a'` | as named |
| `NULL` | that of its partner |

- A literal takes the type that its partner needs: `price > 5` compares doubles when `price` is one,
  `day >= '2012-01-31'` compares dates, `amount = '12.5'` numbers. A text that does not read as its
  partner's type is an error. What was cast or computed is no literal: `'12'::text` stays a text, and
  NULL of a type counts like any value of it.
- Signed and unsigned integers meet as NUMERIC, so that -1 is below every unsigned number. A
  literal takes its partner's type instead where it can.
- SUM over integers is NUMERIC, AVG and AVG_ALL over integers are DOUBLE, and COUNT is NUMERIC in
  arithmetic, also as a column of a subquery: none of them overflows, is truncated or stops at zero.
  `--set IntegerAggregates=native` keeps the integers of the argument instead.
- `--set IntegerMathAsDouble=on` computes `+ - *` of integers in doubles,
  `--set IntegerDivideAsDouble=on` does so for `/`.
- An INTERVAL is months, days and a time, which keep their own signs. Intervals compare by months of 30 days and days of
  24 hours, so that `INTERVAL '1 month' = INTERVAL '30 days'`, and are one group then. How they are written:
  [formats.md](../formats.md).
- A timestamp has no zone. NOW() and its like are in UTC; `AT TIME ZONE` goes from a zone to UTC and on to another one
  (`value AT TIME ZONE 'UTC' AT TIME ZONE 'Asia/Tokyo'`, or FROM_UTC).
- Truth values compare as 0 and 1; a bit counts as an integer.
- What is constant is computed once; a constant that raises an error raises it for the row that
  meets it.
- The results of CAST AS SMALLINT and CAST AS REAL have 16 and 32 bits; what computes with them widens
  them to INTEGER and DOUBLE.
)";

const char* const kDifferencesText = R"(| subject | here | elsewhere |
|---|---|---|
| `2 NOT IN (1, NULL)` | true: a NULL member matches nothing | NULL |
| `CASE x WHEN NULL` | matches a NULL | never matches |
| LIKE | letter case counts, a backslash escapes without ESCAPE | SQLite ignores the case of ASCII letters and has no escape of its own |
| `a || NULL` | a | NULL |
| `'a' = 'a '` | true: blanks at the end do not count, in LIKE they do | false in SQLite |
| `7 / 2` | 3 for integers; NUMERIC divides exactly | SQLite has no decimals, and makes 3.5 of `7 / 2.0` only |
| `1 / 0` | an error, also where integers overflow | SQLite gives NULL, and a double |
| `CAST('12x' AS integer)` | an error with the text | SQLite gives 12 |
| `CAST(2.5 AS integer)`, `CAST(2.5 AS bigint)` | 2, the fraction is cut | PostgreSQL rounds to 3 |
| `2.50 || ''`, `CONCAT(true)` | 2.5, true | PostgreSQL gives 2.50 and t |
| `POSITION('' IN s)` | 0; STRPOS gives 1 | 1 |
| `LEFT(s, -1)`, `SUBSTRING(s FROM 1 FOR 0)` | an error | all but the last character; the empty text |
| `COALESCE(NULL, NULL)` | an error: nothing has a type | NULL |
| `s ~ '(a)\1'`, `s ~ 'a(?=b)'` | an error: patterns are matched in a time that grows with the text alone, without back references and looking around | understood |
| `\y`, `\b` in patterns | edges of words of ASCII letters; `\b` is one as well | of all letters; PostgreSQL takes `\b` for a backspace |
| `REGEXP_SUBSTR('XY1234Z', 'Y*?([0-9]{1,3})')` | Y123: each repetition has its own greed | PostgreSQL gives Y1: the first one decides |
| `COUNT(DISTINCT a, b)` | how many combinations there are without a NULL | MySQL and Spark alike; PostgreSQL has `COUNT(DISTINCT (a, b))`, which counts NULLs |
| `COUNT(DISTINCT x) OVER (...)`, `STRING_AGG(x, ',' ORDER BY y) OVER (...)` | computed, over any frame | PostgreSQL refuses them |
| `FIRST(x ORDER BY y)`, `LISTAGG(x ORDER BY y)` | the rows in that order | SUM and others, to which order does not matter, are not given one |
| `LISTAGG(x)` | joins by `; `, leaves out blank texts, and is cut at 4000 characters; with a delimiter it is STRING_AGG | an error elsewhere |
| `7::bigint / 2` | 3.5: a BIGINT is a NUMERIC | 3 |
| `EXTRACT(year FROM MAKE_DATE(-1, 1, 1))` | 0 | PostgreSQL gives -1 |
| `QUOTE_IDENT('select')` | select | "select" |
| `TO_CHAR(day, '')`, `TO_CHAR(9.996, '9.99EEEE')` | the empty text; 1.00e+01 | PostgreSQL gives NULL and 10.00e+00 |
| `STRING_TO_ARRAY(s, ',')`, `UNNEST(...)`, `REGEXP_MATCH(s, p)`, `ARRAY_AGG(x)` | there are no arrays: SPLIT_PART, joined with GENERATE_SERIES for all parts, REGEXP_SUBSTR and STRING_AGG give texts | PostgreSQL has them |
| `SHA256(s)` | hexadecimal digits | PostgreSQL takes and gives bytes |
| `COVAR_SAMP(y, x)`, `CORR(y, x)` over no rows | 0, NaN | NULL |
| `1 BETWEEN 2 AND NULL` | NULL: a NULL bound makes it so, whatever the other one | false |
| infinities | `+` and `*` that come to one are an error, also of an infinite operand; `-` and `/` give it | values like others |
| `STDDEV_POP(x)` of one NaN or infinity | 0: one value does not deviate | NaN |
| `ROUND(1.14, 2)`, `ROUND(x, 400)`, `ROUND(-0.2)`, `TRUNC(5.09, 2)` | 1.1400000000000001, NaN, -0, 5.08 | 1.14, x, 0, 5.09 (PostgreSQL, of numerics) |
| `NTILE(n)` | tiles are parted by quantiles of the values: equal values share one, and sizes differ | tiles of as many rows each |
| `LENGTH('ab  ')` | 2, without the blanks at the end; CHAR_LENGTH counts them | 4 |
| `OCTET_LENGTH('ab')`, `BIT_LENGTH('ab')` | 8, 64: four bytes a character | PostgreSQL gives 2 and 16 |
| `TRIM('xy' FROM s)`, `LTRIM(s, 'xy')` | an error: one character at a time | each of the characters is removed |
| `EXTRACT(week FROM d)` | week 1 holds January 1st, and the others start on the first day of the week | PostgreSQL counts ISO weeks: 2012-01-01 is in week 52 |
| `value AT TIME ZONE 'Europe/Berlin'` | a TIMESTAMP in UTC | PostgreSQL gives a TIMESTAMP WITH TIME ZONE |
| zones such as `'PST'`, `'+02'` | an error: the tz database has no such names (`'EST'` it has); an INTERVAL is a distance to UTC | PostgreSQL takes abbreviations, and counts `'+02'` west of Greenwich |
| `GENERATE_SERIES(day, day, interval)` | gives TIMESTAMP | PostgreSQL gives TIMESTAMP WITH TIME ZONE |
| `CASE WHEN ok THEN (SELECT x FROM t WHERE t.k = s.k) END` | an error if several rows of t have the k of a row that is not ok | PostgreSQL does not look there |
| SUM of intervals | an error where the sum is beyond intervals | PostgreSQL also where a sum on the way is |
| `EXTRACT(dow FROM d)` | 1 to 7 from Sunday | PostgreSQL gives 0 to 6 from Sunday |
| `ROUND(-2.5)` | -2: halves go up | PostgreSQL gives -3 |
| `ROUND(x)` of a NUMERIC | a double, so 17 digits | PostgreSQL stays exact |
| `day = 'x'`, `flag = 'x'` | an error of the statement, also over no rows | SQLite compares with the text |
| NULL in ORDER BY, also in windows | last, ascending and descending | SQLite puts it first, PostgreSQL last ascending only |
)";

const char* const kWindowsText = R"(```
function OVER name
function OVER ([name] [PARTITION BY key, ...]
               [ORDER BY key [ASC | DESC] [NULLS FIRST | NULLS LAST], ...] [frame])
```

A function with OVER gives every row a result, which is computed from the rows of its partition: those
that WHERE keeps, in a query with groups the groups that HAVING keeps. Such calls stand in the select
list and in ORDER BY, alone or as parts of expressions. In a query with groups they are made of its keys
and aggregates: `RANK() OVER (ORDER BY SUM(x) DESC)`.

A frame says which rows of the partition the result is computed from:

```
{ROWS | RANGE | GROUPS} start [exclusion]
{ROWS | RANGE | GROUPS} BETWEEN start AND end [exclusion]
start, end:  UNBOUNDED PRECEDING | n PRECEDING | CURRENT ROW | n FOLLOWING | UNBOUNDED FOLLOWING
exclusion:   EXCLUDE CURRENT ROW | EXCLUDE GROUP | EXCLUDE TIES | EXCLUDE NO OTHERS
```

- n counts rows in ROWS, and in GROUPS groups of rows that are equal in the order. In RANGE it is a distance of the key:
  there is one then, and it is a number, or a date, timestamp or interval, from which n is an interval:
  `RANGE BETWEEN '7 days' PRECEDING AND CURRENT ROW`. CURRENT ROW means this row in ROWS, else also those equal to it.
- The end is CURRENT ROW if left out, and the frame RANGE UNBOUNDED PRECEDING: the rows so far and those that tie,
  without ORDER BY the partition.
- Aggregates, FIRST_VALUE, LAST_VALUE and NTH_VALUE look at the frame. To the other functions it does not matter;
  PERCENTILE, TOP_N, BOTTOM_N, TOP_AND_BOTTOM_N, TRENDLINE and BIN take none (error 58043).
- A partition's rows come in the order of ORDER BY. Rows that are equal in it, and all without it, come
  in the order of the table.
- A window may build on one of the WINDOW clause by its name, if that has no frame. It takes its
  PARTITION BY over, and its ORDER BY if it has one.
)";

}  // namespace sqxer
