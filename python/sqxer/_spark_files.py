"""The files of a Spark data frame that is nothing but the rows of some Parquet files."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any
from urllib.parse import unquote, urlsplit

import pyarrow as pa
import pyarrow.dataset as ds
from pyspark.sql import functions as F  # noqa: N812 (as Spark's own documents call it)
from pyspark.sql.pandas.types import to_arrow_schema

if TYPE_CHECKING:
    from collections.abc import Sequence

    from pyspark.sql import Column, DataFrame

# What both read alike. Other moments have several forms in Parquet, and settings of Spark's own.
_SAME = (
    pa.types.is_boolean,
    pa.types.is_integer,
    pa.types.is_floating,
    pa.types.is_decimal128,
    pa.types.is_date32,
    pa.timestamp("us").equals,
)
# Options that choose files, not what their values mean.
_PLAIN_OPTIONS = {"path", "paths", "pathglobfilter", "recursivefilelookup", ""}


def files_of(frame: DataFrame, columns: Sequence[str]) -> ds.Dataset | None:
    """Those columns of the frame as a dataset that pyarrow reads, with the same values.

    None for any other frame: one with conditions or computed columns, one that is kept in memory,
    files of another format, of another machine, with columns in the names of their folders, or
    where the two do not read the columns alike.
    """
    paths = _local_paths(frame)
    names = frame.columns
    if not paths or len(set(names)) < len(names):
        return None
    wanted = to_arrow_schema(frame.select(*map(quoted, columns)).schema, timezone="UTC")
    dataset = ds.dataset(paths, format="parquet", schema=wanted)
    fragments = list(dataset.get_fragments())
    if not all(_reads_alike(fragment.physical_schema, wanted) for fragment in fragments):
        return None
    return dataset


def quoted(column: str) -> Column:
    """A column by its name, which may have a point."""
    return F.col(f"`{column.replace('`', '``')}`")


def _local_paths(frame: DataFrame) -> list[str]:
    inner: Any = getattr(frame, "_jdf", None)
    # A session of Spark Connect does not show its plans.
    if inner is None or frame.storageLevel.useMemory or frame.storageLevel.useDisk:
        return []
    plan = inner.queryExecution().analyzed()
    while _class_of(plan) in ("SubqueryAlias", "View") or _chooses_columns(plan):
        plan = plan.child()
    if _class_of(plan) != "LogicalRelation" or _class_of(plan.relation()) != "HadoopFsRelation":
        return []
    relation = plan.relation()
    options = relation.options().keySet().mkString(",").lower().split(",")
    is_plain = (
        _class_of(relation.fileFormat()) == "ParquetFileFormat"
        and relation.partitionSchema().isEmpty()
        and set(options) <= _PLAIN_OPTIONS
    )
    if not is_plain:
        return []
    addresses = [urlsplit(file) for file in frame.inputFiles()]
    if any(address.scheme != "file" or address.netloc for address in addresses):
        return []
    return sorted(unquote(address.path) for address in addresses)


def _class_of(plan: Any) -> str:  # noqa: ANN401
    return str(plan.getClass().getSimpleName())


def _chooses_columns(plan: Any) -> bool:  # noqa: ANN401
    if _class_of(plan) != "Project":
        return False
    columns = plan.projectList()
    return all(_class_of(columns.apply(i)) == "AttributeReference" for i in range(columns.size()))


def _reads_alike(physical: pa.Schema, wanted: pa.Schema) -> bool:
    """Whether a file has the columns, each once, in types that mean the same."""
    return all(
        len(physical.get_all_field_indices(field.name)) == 1
        and _is_same(physical.field(field.name).type, field.type)
        for field in wanted
    )


def _is_same(read: pa.DataType, wanted: pa.DataType) -> bool:
    if pa.types.is_string(wanted):
        text = read.value_type if pa.types.is_dictionary(read) else read
        return bool(pa.types.is_string(text) or pa.types.is_large_string(text))
    return bool(read == wanted) and any(is_kind(wanted) for is_kind in _SAME)
