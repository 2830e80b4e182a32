"""The queries of several tables as Polars' own expressions, by their names."""

from collections.abc import Callable, Mapping

import polars as pl
from polars import col

Tables = Mapping[str, pl.LazyFrame]


def _star_join(tables: Tables) -> pl.LazyFrame:
    customers = tables["customers"].filter(col("c_balance") >= 1000)
    products = tables["products"].filter(col("p_weight") < 500)
    return (
        tables["sales"]
        .join(customers, left_on="s_custkey", right_on="c_custkey")
        .join(products, left_on="s_prodkey", right_on="p_prodkey")
        .group_by("c_segment", "p_category")
        .agg((col("s_price") * col("s_quantity")).sum())
    )


def _top_per_customer(tables: Tables) -> pl.LazyFrame:
    def first(name: str) -> pl.Expr:
        return (
            col(name).sort_by("s_price", "s_id", descending=[True, False], nulls_last=True).first()
        )

    dearest = tables["sales"].group_by("s_custkey").agg(first("s_id"), first("s_price"))
    return dearest.select(
        col("s_id").alias("k"), col("s_custkey").alias("c"), col("s_price").alias("p")
    )


def _semi_join(tables: Tables) -> pl.LazyFrame:
    customers = tables["customers"].filter(col("c_region") == "ASIA")
    kept = tables["sales"].join(customers, left_on="s_custkey", right_on="c_custkey", how="semi")
    return kept.select(pl.len(), col("s_price").sum())


def _union_of_groups(tables: Tables) -> pl.LazyFrame:
    def groups(table: str, own: str, other: str, key: str) -> pl.LazyFrame:
        joined = tables["sales"].join(tables[table], left_on=own, right_on=other)
        return joined.group_by(col(key).alias("k")).agg(
            pl.len().alias("n"), col("s_price").sum().alias("s")
        )

    return pl.concat(
        (
            groups("customers", "s_custkey", "c_custkey", "c_region"),
            groups("products", "s_prodkey", "p_prodkey", "p_category"),
        )
    )


SALES_QUERIES: dict[str, Callable[[Tables], pl.LazyFrame]] = {
    "star_join": _star_join,
    "top_per_customer": _top_per_customer,
    "semi_join": _semi_join,
    "union_of_groups": _union_of_groups,
}
