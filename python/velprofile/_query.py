"""SQL over sources, answered by `velstat query`."""

import json
import tempfile
from collections.abc import Iterator
from typing import Union

from ._records import primed
from ._sources import Sources, blocks, paths

Value = Union[int, float, str, None]


class Row(dict[str, Value]):
    """A row of a result: values by column name, also as attributes (`row.n`)."""

    def __getattr__(self, name: str) -> Value:
        """The value of the column with this name."""
        try:
            return self[name]
        except KeyError:
            raise AttributeError(f"the row has no column {name!r}; it has {', '.join(self)}") from None


def query(sources: Sources, sql: str) -> Iterator[Row]:
    """The rows of the SQL's result, as they arrive; docs/velstat-query.md describes the tables.

    Numbers are int or float, NULL is None, text is str; dumps of bytes are str of hexadecimal digits. Wrong SQL and
    unreadable sources raise Error.
    """
    return primed(_rows(sources, sql))


def _rows(sources: Sources, sql: str) -> Iterator[Row]:
    with tempfile.NamedTemporaryFile("w", suffix=".sql", encoding="utf-8", errors="surrogateescape") as file:
        file.write(sql)
        file.flush()
        rest = b""
        for block in blocks(["query", "--format", "json", "--file", file.name, "--", *paths(sources)]):
            *lines, rest = (rest + block).split(b"\n")
            for line in lines:
                yield Row(json.loads(line))
