"""Profile records of the VEL co-processor in Python: text, fields, names, arrays, SQL.

A record is 48 bytes. `decode` returns the text of records, `records` reads them from anything that `velstat decode`
reads, `to_numpy` and `to_dataframe` return them as columns, `query` runs SQL over them. All failures raise `Error`.

The module needs libvelprofile.so, and the command velstat for all sources except files of raw records. It finds both in
the prefix that it is installed in, or at the paths in the environment variables VELPROFILE_LIBRARY and VELSTAT.
"""

from . import names
from ._arrays import dtype, select, shows, to_numpy
from ._frames import to_dataframe
from ._layouts import Field, Kind, Layout, layouts
from ._places import Error
from ._query import Row, Value, query
from ._records import Record, decode, records
from ._sources import RECORD_SIZE, Source, Sources

__all__ = [
    "RECORD_SIZE",
    "Error",
    "Field",
    "Kind",
    "Layout",
    "Record",
    "Row",
    "Source",
    "Sources",
    "Value",
    "decode",
    "dtype",
    "layouts",
    "names",
    "query",
    "records",
    "select",
    "shows",
    "to_dataframe",
    "to_numpy",
]
