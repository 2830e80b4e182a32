"""Statements on two worker processes of Dask."""

from __future__ import annotations

from pathlib import Path
from typing import TYPE_CHECKING, Any

import pytest

for package in ("pyarrow", "pandas", "dask.dataframe", "distributed"):
    pytest.importorskip(package, reason=f"Dask is not tested: {package} is missing")

import dask.dataframe as dd  # noqa: E402
import pandas as pd  # noqa: E402
import parts  # noqa: E402
import pyarrow as pa  # noqa: E402
import sqxer  # noqa: E402
import sqxer.dask  # noqa: E402
from distributed import Client, LocalCluster  # noqa: E402

if TYPE_CHECKING:
    from collections.abc import Iterator


@pytest.fixture(scope="module")
def client() -> Iterator[Client]:
    """Two processes of a thread each."""
    # Neither is typed.
    make_cluster: Any = LocalCluster
    connect: Any = Client
    with (
        make_cluster(
            n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None
        ) as cluster,
        connect(cluster) as made,
    ):
        yield made


def _rows(computed: pd.DataFrame) -> list[tuple[Any, ...]]:
    table = pa.table(
        [pa.array(computed.iloc[:, i]) for i in range(computed.shape[1])],
        names=[str(i) for i in range(computed.shape[1])],
    )
    return list(zip(*(column.to_pylist() for column in table.columns), strict=True))


def test_gives_what_one_machine_gives(client: Client, tmp_path: Path) -> None:
    """Every kind of statement."""
    parts.write_parts(tmp_path / "t", 20000, 4)
    frame = dd.read_parquet(tmp_path / "t")
    assert len(client.scheduler_info()["workers"]) == 2
    for statement, in_order in parts.STATEMENTS:
        got = parts.lines(_rows(sqxer.dask.sql(statement, t=frame).compute()), in_order)
        assert got == parts.expected(statement, tmp_path / "t", in_order), statement
    with pytest.raises(sqxer.Error) as raised:
        sqxer.dask.sql(parts.WRONG_VALUE, t=frame).compute()
    assert raised.value.code == 59008
