"""The queries as Polars' own expressions, by their names. NULL follows SQL; where Polars differs,
the expression says so.
"""

from collections.abc import Callable
from datetime import date

import polars as pl
from polars import col

Expression = Callable[[pl.LazyFrame], pl.LazyFrame]


def _summary(lines: pl.LazyFrame, price: pl.Expr, discount: pl.Expr, tax: pl.Expr) -> pl.LazyFrame:
    reduced = price * (1 - discount)
    return (
        lines.filter(col("l_shipdate") <= date(1998, 9, 2))
        .group_by("l_returnflag", "l_linestatus")
        .agg(
            col("l_quantity").sum().alias("sum_quantity"),
            price.sum().alias("sum_price"),
            reduced.sum().alias("sum_reduced"),
            (reduced * (1 + tax)).sum().alias("sum_taxed"),
            col("l_quantity").mean().alias("avg_quantity"),
            price.mean().alias("avg_price"),
            discount.mean().alias("avg_discount"),
            pl.len(),
        )
    )


def _summary_double(lines: pl.LazyFrame) -> pl.LazyFrame:
    return _summary(lines, col("l_price"), col("l_discount"), col("l_tax"))


def _summary_numeric(lines: pl.LazyFrame) -> pl.LazyFrame:
    # A product keeps the scale of its operands and would be rounded to hundredths.
    return _summary(lines, col("l_amount").cast(pl.Decimal(38, 6)), col("l_rebate"), col("l_duty"))


def _five_ways(lines: pl.LazyFrame) -> pl.LazyFrame:
    day = col("l_shipdate")
    passing = lines.filter(
        (day >= date(1994, 1, 1))
        & (day < date(1995, 1, 1))
        & col("l_discount").is_between(0.05, 0.07)
        & (col("l_quantity") < 24)
    )
    return passing.select((col("l_price") * col("l_discount")).sum())


def _case_of_three(lines: pl.LazyFrame) -> pl.LazyFrame:
    price, quantity = col("l_price"), col("l_quantity")
    reduced = pl.when(quantity < 10).then(price).when(quantity < 30).then(price * 0.9)
    return lines.select(reduced.otherwise(price * 0.8).sum())


def _count_where(lines: pl.LazyFrame, condition: pl.Expr) -> pl.LazyFrame:
    return lines.filter(condition).select(pl.len())


def _part_in(lines: pl.LazyFrame, parts: range) -> pl.LazyFrame:
    return _count_where(lines, col("l_partkey").is_in(parts))


def _by_part(lines: pl.LazyFrame) -> pl.LazyFrame:
    # A sum of nothing but NULL is 0 here.
    price = col("l_price")
    total = pl.when(price.count() > 0).then(price.sum())
    return lines.group_by(col("l_partkey").alias("k")).agg(total.alias("s"), pl.len().alias("n"))


def _rank(lines: pl.LazyFrame) -> pl.LazyFrame:
    # A NULL has no rank of its own here, and the last one in SQL.
    price = col("l_price")
    rank = price.rank("min", descending=True).fill_null(price.count() + 1)
    return lines.select(col("l_id").alias("k"), rank.over("l_suppkey").alias("r"))


def _running_sum(lines: pl.LazyFrame) -> pl.LazyFrame:
    # The sum goes on over a NULL, which has none of its own here.
    ordered = lines.select("l_id", "l_shipdate", "l_quantity").sort(
        "l_shipdate", "l_id", nulls_last=True
    )
    total = col("l_quantity").cum_sum().forward_fill()
    return ordered.select(col("l_id").alias("k"), total.alias("s"))


def _taxed_by_texts(lines: pl.LazyFrame) -> pl.LazyFrame:
    # The scale of the product, as in the summary.
    amount = col("l_amount").cast(pl.Decimal(38, 6))
    taxed = amount * (1 - col("l_rebate")) * (1 + col("l_duty"))
    return lines.group_by("l_returnflag", "l_linestatus").agg(taxed.sum())


def _promotion_by_month(lines: pl.LazyFrame) -> pl.LazyFrame:
    reduced = col("l_price") * (1 - col("l_discount"))
    promoted = pl.when(col("l_comment").str.starts_with("special")).then(reduced).otherwise(0)
    month = col("l_shipdate").dt.month().alias("m")
    return lines.group_by(month).agg(promoted.sum().alias("promoted"), reduced.sum().alias("all"))


def _three_ors(lines: pl.LazyFrame) -> pl.LazyFrame:
    region, comment = col("l_region"), col("l_comment")
    passing = lines.filter(
        ((region == "ASIA") & (col("l_returnflag") == "R"))
        | ((region == "EUROPE") & comment.str.contains("deposits", literal=True))
        | comment.is_between(pl.lit("pending"), pl.lit("quickly"))
        | ((region < "AMERICA") & (comment >= "slyly"))
    )
    return passing.select(pl.len(), col("l_price").sum())


def _top_100(lines: pl.LazyFrame) -> pl.LazyFrame:
    rows = lines.select(col("l_id").alias("k"), col("l_price").alias("p"))
    return rows.sort("p", "k", descending=[True, False], nulls_last=True).head(100)


QUERIES: dict[str, Expression] = {
    "sum_of_sums": lambda lines: lines.select((col("l_quantity") + col("l_linenumber")).sum()),
    "product_by_region": lambda lines: (
        lines.filter(col("l_quantity") > 5)
        .group_by("l_region")
        .agg((col("l_price") * col("l_quantity")).sum())
    ),
    "five_way_filter": _five_ways,
    "summary_double": _summary_double,
    "summary_numeric": _summary_numeric,
    "like": lambda lines: _count_where(
        lines, col("l_comment").str.contains("special", literal=True)
    ),
    "case_of_three": _case_of_three,
    "in_8": lambda lines: _part_in(lines, range(111111, 8 * 111111 + 1, 111111)),
    "in_1000": lambda lines: _part_in(lines, range(997, 1000 * 997 + 1, 997)),
    "upper_substring": lambda lines: _count_where(
        lines, col("l_comment").str.slice(2, 5).str.to_uppercase() == "RIOUS"
    ),
    "round_sqrt_ln": lambda lines: lines.select(
        (col("l_price").sqrt() * col("l_price").log()).round(2).sum()
    ),
    "count_distinct_1k": lambda lines: lines.select(col("l_suppkey").drop_nulls().n_unique()),
    "count_distinct_1m": lambda lines: lines.select(col("l_partkey").drop_nulls().n_unique()),
    "group_by_1m": _by_part,
    "median_by_1k": lambda lines: lines.group_by("l_suppkey").agg(col("l_price").median()),
    "rank_by_1k": _rank,
    "running_sum": _running_sum,
    "extract_year": lambda lines: lines.group_by(col("l_shipdate").dt.year().alias("y")).agg(
        col("l_quantity").sum()
    ),
    "timestampdiff": lambda lines: lines.select(
        (col("l_receiptdate") - col("l_shipdate")).dt.total_days().sum()
    ),
    "min_max_text": lambda lines: lines.select(
        col("l_comment").min().alias("least"), col("l_comment").max().alias("greatest")
    ),
    "taxed_by_texts": _taxed_by_texts,
    "promotion_by_month": _promotion_by_month,
    "three_ors": _three_ors,
    "top_100": _top_100,
}

FILE_QUERIES: dict[str, Expression] = {
    "group_by_text": lambda lines: lines.group_by("l_region").agg(
        pl.len(), col("l_price").sum(), col("l_quantity").mean()
    ),
    "filter_and_sum": _five_ways,
    "count_rows": lambda lines: lines.select(pl.len()),
    "first_ten_rows": lambda lines: lines.head(10),
    "all_columns": lambda lines: lines.select(pl.all().max()),
    "all_columns_kept": lambda lines: lines.select(pl.all().max()),
}
