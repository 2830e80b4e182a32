// The queries of the suite. `sql` is what sqxer reads; an engine with another spelling has its own
// text under its name, and null where it has no such function. Constants that stand in
// suite/ByHand*.cpp too: change both.

const every = (count, make) => Array.from({ length: count }, (_, i) => make(i + 1)).join(', ');

/** The eight aggregates over the given columns. */
const summary = (price, discount, tax) => `
  SELECT l_returnflag, l_linestatus, SUM(l_quantity), SUM(${price}),
         SUM(${price} * (1 - ${discount})), SUM(${price} * (1 - ${discount}) * (1 + ${tax})),
         AVG(l_quantity), AVG(${price}), AVG(${discount}), COUNT(*)
  FROM lines WHERE l_shipdate <= DATE '1998-09-02' GROUP BY l_returnflag, l_linestatus`;

const fiveWays = (first, end) => `
  SELECT SUM(l_price * l_discount) FROM lines
  WHERE l_shipdate >= ${first} AND l_shipdate < ${end}
    AND l_discount BETWEEN 0.05 AND 0.07 AND l_quantity < 24`;

export const GROWTH = 1.1;
const SORT_GROWTH = 1.25;

/** SQLite compares days as texts. */
const withoutDates = (sql) => sql.replaceAll("DATE '", "'");

/**
 * name     what the results call the query
 * what     what the documents call it
 * columns  for a result of many rows the names of its columns: engines are then compared by one row
 *          that digests it, made outside the clock
 * growth   the exponent of time against rows that it has at most, GROWTH if not given
 * growthReason  why it has more all the same
 */
export const queries = [
  {
    name: 'sum_of_sums',
    what: 'sum of a sum of two int columns',
    sql: 'SELECT SUM(l_quantity + l_linenumber) FROM lines',
  },
  {
    name: 'product_by_region',
    what: 'filter, product and sum by region',
    sql: `SELECT l_region, SUM(l_price * l_quantity) FROM lines WHERE l_quantity > 5
          GROUP BY l_region`,
  },
  {
    name: 'five_way_filter',
    what: 'filter of five comparisons, one sum',
    sql: fiveWays("DATE '1994-01-01'", "DATE '1995-01-01'"),
    sqlite: fiveWays("'1994-01-01'", "'1995-01-01'"),
  },
  {
    name: 'summary_double',
    what: 'eight aggregates by two texts, doubles',
    sql: summary('l_price', 'l_discount', 'l_tax'),
    sqlite: withoutDates(summary('l_price', 'l_discount', 'l_tax')),
  },
  {
    name: 'summary_numeric',
    what: 'the same over numeric(15,2)',
    sql: summary('l_amount', 'l_rebate', 'l_duty'),
    sqlite: withoutDates(summary('l_amount', 'l_rebate', 'l_duty')),
  },
  {
    name: 'like',
    what: "LIKE '%special%'",
    sql: `SELECT COUNT(*) FROM lines WHERE l_comment LIKE '%special%'`,
  },
  {
    name: 'case_of_three',
    what: 'CASE of three branches',
    sql: `SELECT SUM(CASE WHEN l_quantity < 10 THEN l_price WHEN l_quantity < 30 THEN l_price * 0.9
                     ELSE l_price * 0.8 END) FROM lines`,
  },
  {
    name: 'in_8',
    what: 'IN of 8',
    sql: `SELECT COUNT(*) FROM lines WHERE l_partkey IN (${every(8, (i) => i * 111111)})`,
  },
  {
    name: 'in_1000',
    what: 'IN of 1,000',
    sql: `SELECT COUNT(*) FROM lines WHERE l_partkey IN (${every(1000, (i) => i * 997)})`,
  },
  {
    name: 'upper_substring',
    what: 'upper(substring(...))',
    sql: `SELECT COUNT(*) FROM lines WHERE UPPER(SUBSTRING(l_comment FROM 3 FOR 5)) = 'RIOUS'`,
    sqlite: `SELECT COUNT(*) FROM lines WHERE UPPER(SUBSTR(l_comment, 3, 5)) = 'RIOUS'`,
  },
  {
    name: 'round_sqrt_ln',
    what: 'round(sqrt(x) * ln(x), 2)',
    sql: 'SELECT SUM(ROUND(SQRT(l_price) * LN(l_price), 2)) FROM lines',
  },
  {
    name: 'count_distinct_1k',
    what: 'COUNT(DISTINCT) of 1,000 values',
    sql: 'SELECT COUNT(DISTINCT l_suppkey) FROM lines',
  },
  {
    name: 'count_distinct_1m',
    what: 'COUNT(DISTINCT) of 1 million values',
    sql: 'SELECT COUNT(DISTINCT l_partkey) FROM lines',
  },
  {
    name: 'group_by_1m',
    what: 'sum and count by 1 million keys',
    columns: ['k', 's', 'n'],
    sql: 'SELECT l_partkey AS k, SUM(l_price) AS s, COUNT(*) AS n FROM lines GROUP BY l_partkey',
    growthReason:
      'the keys grow with the rows, from 0.4 to 1 million, and their groups out of the caches; ' +
      'from 4 to 8 million rows, where all keys are there, it grows by 1.0',
  },
  {
    name: 'median_by_1k',
    what: 'median by 1,000 groups',
    sql: 'SELECT l_suppkey, MEDIAN(l_price) FROM lines GROUP BY l_suppkey',
    clickhouse:
      'SELECT l_suppkey, quantileExactInclusive(0.5)(l_price) FROM lines GROUP BY l_suppkey',
    sqlite: null,
  },
  {
    name: 'rank_by_1k',
    what: 'rank in 1,000 partitions',
    growth: SORT_GROWTH,
    columns: ['k', 'r'],
    sql: `SELECT l_id AS k,
                 RANK() OVER (PARTITION BY l_suppkey ORDER BY l_price DESC NULLS LAST) AS r
          FROM lines`,
  },
  {
    name: 'running_sum',
    what: 'running sum in the order of days',
    growth: SORT_GROWTH,
    columns: ['k', 's'],
    sql: `SELECT l_id AS k, SUM(l_quantity) OVER (ORDER BY l_shipdate NULLS LAST, l_id
                                                 ROWS UNBOUNDED PRECEDING) AS s FROM lines`,
  },
  {
    name: 'extract_year',
    what: 'sum by the year of a date',
    sql: `SELECT EXTRACT(year FROM l_shipdate) AS y, SUM(l_quantity) FROM lines
          GROUP BY EXTRACT(year FROM l_shipdate)`,
    sqlite: `SELECT CAST(strftime('%Y', l_shipdate) AS INTEGER) AS y, SUM(l_quantity) FROM lines
             GROUP BY y`,
  },
  {
    name: 'timestampdiff',
    what: 'timestampdiff in days',
    sql: 'SELECT SUM(TIMESTAMPDIFF(day, l_shipdate, l_receiptdate)) FROM lines',
    duckdb: `SELECT SUM(date_diff('day', l_shipdate, l_receiptdate)) FROM lines`,
    clickhouse: `SELECT SUM(dateDiff('day', l_shipdate, l_receiptdate)) FROM lines`,
    sqlite: `SELECT SUM(CAST(julianday(l_receiptdate) - julianday(l_shipdate) AS INTEGER))
             FROM lines`,
  },
  {
    name: 'min_max_text',
    what: 'MIN and MAX of text',
    sql: 'SELECT MIN(l_comment), MAX(l_comment) FROM lines',
  },
];

/** The text for an engine, on one line; null when the engine has no such function. */
export function sqlFor(query, engine) {
  const text = query[engine] === undefined ? query.sql : query[engine];
  return text === null ? null : text.replace(/\s+/g, ' ').trim();
}

/** SQL that makes one row of a result of many, as suite/Digest.cpp does; '' for a short result. */
export function digestFor(query, engine) {
  if (!query.columns) return '';
  const first = query.columns[0];
  const sums = query.columns.flatMap((column) => [
    `COUNT(${column})`,
    `SUM(${column} * 1e0)`,
    ...(column === first ? [] : [`SUM(${first} * 1e0 * ${column})`]),
  ]);
  return `SELECT COUNT(*), ${sums.join(', ')} FROM (${sqlFor(query, engine)}) AS q`;
}
