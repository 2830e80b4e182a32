"""The queries of the suite. `sql` is what sqxer reads; an engine with another spelling has its own
text in `spellings`, and None where it has no such function. Polars has its expressions in
peers/polars_queries.py. Constants that stand there and in suite/ByHand*.cpp too: change all.
Those of several tables have their texts in queries_of_sales.py.
"""

from collections.abc import Callable, Mapping
from dataclasses import dataclass, field

from driver import queries_of_sales as sales

GROWTH = 1.1
SORT_GROWTH = 1.25


@dataclass(frozen=True)
class Query:
    """What the suite asks.

    name           what the results call the query
    what           what the documents call it
    columns        for a result of many rows the names of its columns: engines are then compared by
                   one row that digests it, made outside the clock
    growth         the exponent of time against rows that it has at most
    growth_reason  why it has more all the same
    several        it reads several tables, and has a table of its own in the documents
    """

    name: str
    what: str
    sql: str
    spellings: Mapping[str, str | None] = field(default_factory=dict)
    columns: tuple[str, ...] = ()
    growth: float = GROWTH
    growth_reason: str | None = None
    several: bool = False


def _every(count: int, make: Callable[[int], int]) -> str:
    return ", ".join(str(make(i)) for i in range(1, count + 1))


def _summary(price: str, discount: str, tax: str) -> str:
    """The eight aggregates over the given columns."""
    return f"""
    SELECT l_returnflag, l_linestatus, SUM(l_quantity), SUM({price}),
           SUM({price} * (1 - {discount})), SUM({price} * (1 - {discount}) * (1 + {tax})),
           AVG(l_quantity), AVG({price}), AVG({discount}), COUNT(*)
    FROM lines WHERE l_shipdate <= DATE '1998-09-02' GROUP BY l_returnflag, l_linestatus"""


def without_dates(sql: str) -> str:
    """As SQLite reads it, which compares days as texts."""
    return sql.replace("DATE '", "'")


FIVE_WAYS = """
    SELECT SUM(l_price * l_discount) FROM lines
    WHERE l_shipdate >= DATE '1994-01-01' AND l_shipdate < DATE '1995-01-01'
      AND l_discount BETWEEN 0.05 AND 0.07 AND l_quantity < 24"""
TAXED_BY_TEXTS = """
    SELECT l_returnflag, l_linestatus, SUM(l_amount * (1 - l_rebate) * (1 + l_duty))
    FROM lines GROUP BY l_returnflag, l_linestatus"""
PROMOTION_BY_MONTH = """
    SELECT EXTRACT(month FROM l_shipdate) AS m,
           SUM(CASE WHEN l_comment LIKE 'special%' THEN l_price * (1 - l_discount) ELSE 0 END),
           SUM(l_price * (1 - l_discount))
    FROM lines GROUP BY EXTRACT(month FROM l_shipdate)"""
SUMMARY_DOUBLE = _summary("l_price", "l_discount", "l_tax")
SUMMARY_NUMERIC = _summary("l_amount", "l_rebate", "l_duty")

QUERIES = (
    Query(
        name="sum_of_sums",
        what="sum of a sum of two int columns",
        sql="SELECT SUM(l_quantity + l_linenumber) FROM lines",
    ),
    Query(
        name="product_by_region",
        what="filter, product and sum by region",
        sql="""SELECT l_region, SUM(l_price * l_quantity) FROM lines WHERE l_quantity > 5
               GROUP BY l_region""",
    ),
    Query(
        name="five_way_filter",
        what="filter of five comparisons, one sum",
        sql=FIVE_WAYS,
        spellings={"sqlite": without_dates(FIVE_WAYS)},
    ),
    Query(
        name="summary_double",
        what="eight aggregates by two texts, doubles",
        sql=SUMMARY_DOUBLE,
        spellings={"sqlite": without_dates(SUMMARY_DOUBLE)},
    ),
    Query(
        name="summary_numeric",
        what="the same over numeric(15,2)",
        sql=SUMMARY_NUMERIC,
        spellings={"sqlite": without_dates(SUMMARY_NUMERIC)},
    ),
    Query(
        name="like",
        what="LIKE '%special%'",
        sql="SELECT COUNT(*) FROM lines WHERE l_comment LIKE '%special%'",
    ),
    Query(
        name="case_of_three",
        what="CASE of three branches",
        sql="""SELECT SUM(CASE WHEN l_quantity < 10 THEN l_price
                               WHEN l_quantity < 30 THEN l_price * 0.9
                               ELSE l_price * 0.8 END) FROM lines""",
    ),
    Query(
        name="in_8",
        what="IN of 8",
        sql=f"SELECT COUNT(*) FROM lines WHERE l_partkey IN ({_every(8, lambda i: i * 111111)})",
    ),
    Query(
        name="in_1000",
        what="IN of 1,000",
        sql=f"SELECT COUNT(*) FROM lines WHERE l_partkey IN ({_every(1000, lambda i: i * 997)})",
    ),
    Query(
        name="upper_substring",
        what="upper(substring(...))",
        sql="""SELECT COUNT(*) FROM lines
               WHERE UPPER(SUBSTRING(l_comment FROM 3 FOR 5)) = 'RIOUS'""",
        spellings={
            "sqlite": "SELECT COUNT(*) FROM lines WHERE UPPER(SUBSTR(l_comment, 3, 5)) = 'RIOUS'",
        },
    ),
    Query(
        name="round_sqrt_ln",
        what="round(sqrt(x) * ln(x), 2)",
        sql="SELECT SUM(ROUND(SQRT(l_price) * LN(l_price), 2)) FROM lines",
    ),
    Query(
        name="count_distinct_1k",
        what="COUNT(DISTINCT) of 1,000 values",
        sql="SELECT COUNT(DISTINCT l_suppkey) FROM lines",
    ),
    Query(
        name="count_distinct_1m",
        what="COUNT(DISTINCT) of 1 million values",
        sql="SELECT COUNT(DISTINCT l_partkey) FROM lines",
    ),
    Query(
        name="group_by_1m",
        what="sum and count by 1 million keys",
        columns=("k", "s", "n"),
        sql="SELECT l_partkey AS k, SUM(l_price) AS s, COUNT(*) AS n FROM lines GROUP BY l_partkey",
        growth_reason=(
            "the keys grow with the rows, from 0.4 to 1 million, and their groups out of the "
            "caches; from 4 to 8 million rows, where all keys are there, it grows by 1.0"
        ),
    ),
    Query(
        name="median_by_1k",
        what="median by 1,000 groups",
        sql="SELECT l_suppkey, MEDIAN(l_price) FROM lines GROUP BY l_suppkey",
        spellings={
            "clickhouse": """SELECT l_suppkey, quantileExactInclusive(0.5)(l_price) FROM lines
                             GROUP BY l_suppkey""",
            "sqlite": None,
        },
    ),
    Query(
        name="rank_by_1k",
        what="rank in 1,000 partitions",
        growth=SORT_GROWTH,
        columns=("k", "r"),
        sql="""SELECT l_id AS k,
                      RANK() OVER (PARTITION BY l_suppkey ORDER BY l_price DESC NULLS LAST) AS r
               FROM lines""",
    ),
    Query(
        name="running_sum",
        what="running sum in the order of days",
        growth=SORT_GROWTH,
        columns=("k", "s"),
        sql="""SELECT l_id AS k, SUM(l_quantity) OVER (ORDER BY l_shipdate NULLS LAST, l_id
                                                      ROWS UNBOUNDED PRECEDING) AS s FROM lines""",
    ),
    Query(
        name="extract_year",
        what="sum by the year of a date",
        sql="""SELECT EXTRACT(year FROM l_shipdate) AS y, SUM(l_quantity) FROM lines
               GROUP BY EXTRACT(year FROM l_shipdate)""",
        spellings={
            "sqlite": """SELECT CAST(strftime('%Y', l_shipdate) AS INTEGER) AS y, SUM(l_quantity)
                         FROM lines GROUP BY y""",
        },
    ),
    Query(
        name="timestampdiff",
        what="timestampdiff in days",
        sql="SELECT SUM(TIMESTAMPDIFF(day, l_shipdate, l_receiptdate)) FROM lines",
        spellings={
            "duckdb": "SELECT SUM(date_diff('day', l_shipdate, l_receiptdate)) FROM lines",
            "clickhouse": "SELECT SUM(dateDiff('day', l_shipdate, l_receiptdate)) FROM lines",
            "sqlite": """SELECT SUM(CAST(julianday(l_receiptdate) - julianday(l_shipdate)
                                    AS INTEGER)) FROM lines""",
        },
    ),
    Query(
        name="min_max_text",
        what="MIN and MAX of text",
        sql="SELECT MIN(l_comment), MAX(l_comment) FROM lines",
    ),
    Query(
        name="taxed_by_texts",
        what="product of three numeric by two texts",
        sql=TAXED_BY_TEXTS,
    ),
    Query(
        name="promotion_by_month",
        what="CASE over a LIKE by month",
        sql=PROMOTION_BY_MONTH,
        spellings={
            "sqlite": PROMOTION_BY_MONTH.replace(
                "EXTRACT(month FROM l_shipdate)", "CAST(strftime('%m', l_shipdate) AS INTEGER)"
            ),
        },
    ),
    Query(
        name="three_ors",
        what="filter of three ORs over texts",
        sql="""SELECT COUNT(*), SUM(l_price) FROM lines
               WHERE l_region = 'ASIA' AND l_returnflag = 'R'
                  OR l_region = 'EUROPE' AND l_comment LIKE '%deposits%'
                  OR l_comment BETWEEN 'pending' AND 'quickly'
                  OR l_region < 'AMERICA' AND l_comment >= 'slyly'""",
    ),
    Query(
        name="top_100",
        what="the first 100 by two keys",
        columns=("k", "p"),
        sql="""SELECT l_id AS k, l_price AS p FROM lines
               ORDER BY l_price DESC NULLS LAST, l_id LIMIT 100""",
    ),
    Query(
        name="star_join",
        what="two joins, two filters, sum of a product by two texts",
        several=True,
        sql=sales.STAR_JOIN,
    ),
    Query(
        name="top_per_customer",
        what="the dearest sale of each customer, by ROW_NUMBER in a subquery",
        growth=SORT_GROWTH,
        columns=("k", "c", "p"),
        several=True,
        sql=sales.TOP_PER_CUSTOMER,
    ),
    Query(
        name="semi_join",
        what="count and sum of the sales whose customer is IN a subquery",
        several=True,
        sql=sales.SEMI_JOIN,
    ),
    Query(
        name="union_of_groups",
        what="UNION ALL of two joins, counted and summed by a text",
        several=True,
        sql=sales.UNION_OF_GROUPS,
    ),
)


def sql_for(query: Query, engine: str) -> str | None:
    """The text for an engine, on one line; None when the engine has no such function."""
    text = query.spellings.get(engine, query.sql)
    return None if text is None else " ".join(text.split())


def digest_for(query: Query, engine: str) -> str:
    """SQL that makes one row of a result of many, as suite/Digest.cpp does; '' for a short one."""
    if not query.columns:
        return ""
    first = query.columns[0]
    sums = ["COUNT(*)"]
    for column in query.columns:
        sums += [f"COUNT({column})", f"SUM({column} * 1e0)"]
        if column != first:
            sums.append(f"SUM({first} * 1e0 * {column})")
    return f"SELECT {', '.join(sums)} FROM ({sql_for(query, engine)}) AS q"
