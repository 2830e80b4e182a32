"""Expressions without a statement around them."""

from __future__ import annotations

from decimal import Decimal
from typing import TYPE_CHECKING, Any

from . import _tables
from ._marks import numbered
from .result import Result

if TYPE_CHECKING:
    from collections.abc import Mapping

    from . import _engine
    from .connection import Connection, Numerics


class Expression:
    """An expression over the columns of a table.

    >>> import sqxer
    >>> dear = sqxer.expr("price * quantity > 5")
    >>> dear({"price": [1.5, 4.0], "quantity": [2, 3]}).fetchall()
    [(False,), (True,)]
    >>> dear.row({"price": 4.0, "quantity": 3})
    True
    """

    def __init__(self, connection: Connection, text: str, parameters: list[str]) -> None:
        self._connection = connection
        self._parameters = parameters
        self._for_rows: dict[tuple[tuple[str, type], ...], _engine.Evaluator] = {}
        # A value of each column, the last one that was not None: it tells the column's type.
        self._samples: dict[str, object] = {}
        self.text = text

    def __repr__(self) -> str:
        """What would make it."""
        return f"sqxer.expr({self.text!r})"

    def _compile(self, stream: object) -> _engine.Evaluator:
        with numbered(self.text) as text:
            return self._connection.session.compile(text, stream, self._parameters)

    def __call__(self, table: Any, *, numerics: Numerics = "settled") -> Result:  # noqa: ANN401
        """The value for each row of a table, as a result of one column.

        A table is whatever `Connection.register` takes. Of a dataset, such as a Parquet file, only
        the columns are read that the expression names.
        """
        dataset = _tables.dataset_of(table)
        if dataset is not None:
            named = self._compile(dataset.schema.empty_table().__arrow_c_stream__()).inputs()
            table = dataset.scanner(columns=named).to_reader()
        stream = _tables.stream_of(table)
        evaluator = self._compile(stream)
        with numbered(self.text):
            return Result(evaluator.evaluate(stream, numerics))

    def row(self, row: Mapping[str, object]) -> Any:  # noqa: ANN401
        """The value for one row. Dates and times come as texts.

        A column that is None has the type that it had in a row before, or that of texts.
        """
        for name, value in row.items():
            if value is not None:
                self._samples[name] = value
        key = tuple((name, type(self._samples.get(name))) for name in row)
        evaluator = self._for_rows.get(key)
        if evaluator is None:
            stream = _tables.stream_of({name: [self._samples.get(name)] for name in row})
            evaluator = self._compile(stream)
            self._for_rows[key] = evaluator
        value = evaluator.evaluate_row(list(row.values()))
        if isinstance(value, str) and evaluator.column()[1] == "numeric":
            number = Decimal(value)
            return int(number) if number == number.to_integral_value() else number
        return value
