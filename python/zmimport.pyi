"""Reads measurement and spreadsheet files of many formats into sheets of cells."""
import os
from types import SimpleNamespace
from typing import Any, Callable, Mapping, Optional, Sequence, Union

import numpy
import pandas

PathLike = Union[str, bytes, "os.PathLike[str]"]

class ReadError(Exception):
    """A file could not be read: the reader's own message."""
    code: int
    format: Optional[str]

class Sheet:
    @property
    def shape(self) -> tuple[int, int]: ...
    @property
    def cells(self) -> list[list[Union[float, str, None]]]: ...
    @property
    def warning(self) -> Optional[str]: ...
    @property
    def format(self) -> str: ...
    def to_numpy(self) -> numpy.ndarray: ...
    def to_pandas(self, header: bool = True, index: bool = False) -> pandas.DataFrame: ...

class Progress:
    """How far a read is; str() gives the command line's progress line."""
    cells: int  # cells delivered so far
    cells_total: int  # cells the reader announced; 0 when it did not
    bytes_read: int  # bytes of the files read so far, from their opening on
    bytes_total: int  # the sizes of all the files of the read; 0 when not told
    seconds: float  # seconds the read has run
    @property
    def seconds_left(self) -> Optional[float]: ...

def formats() -> list[SimpleNamespace]: ...
def detect(path: PathLike) -> tuple[Optional[str], dict[str, str]]: ...
def read(
    path: Union[PathLike, Sequence[PathLike]],
    format: Optional[Union[str, int]] = None,
    options: Optional[Mapping[str, Any]] = None,
    progress: Optional[Callable[..., Any]] = None,
) -> Sheet: ...
def convert(
    source: PathLike,
    target: PathLike,
    format: Optional[str] = None,
    options: Optional[Mapping[str, Any]] = None,
) -> None: ...
