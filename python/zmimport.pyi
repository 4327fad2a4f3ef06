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
    cells: int
    cells_total: int
    bytes_read: int
    bytes_total: int
    seconds: float
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
