// The module's pandas conveniences, written in Python over the functions the module defines
// in C++: to_pandas with date columns as datetime64, and read_frame. The module runs this
// text in its own namespace when it is imported.
#pragma once

namespace zmpy {

inline constexpr const char* kPandasHelpers = R"(
import re as _re

_DATE_TEXT = _re.compile(r"\d{4}-\d{2}-\d{2}(?:[ T]\d{2}:\d{2}(?::\d{2}(?:\.\d+)?)?)?\Z")
_columns_to_pandas = Sheet.to_pandas


def _parse_dates(frame):
    """Columns whose texts are all dates or date-times, as the workbook readers write them
    (2024-03-01, 2024-03-01 12:30:00), become datetime64; missing cells become NaT."""
    import pandas
    for position in range(frame.shape[1]):
        column = frame.iloc[:, position]
        if column.dtype != object:
            continue
        texts = column.dropna()
        if len(texts) == 0 or not all(isinstance(t, str) and _DATE_TEXT.match(t) for t in texts):
            continue
        try:
            dates = pandas.to_datetime(column)
        except (ValueError, OverflowError):
            continue
        frame.isetitem(position, dates) if hasattr(frame, "isetitem") else frame.__setitem__(
            frame.columns[position], dates)
    return frame


def _to_pandas(self, header=True, index=False, parse_dates=True):
    """A DataFrame: with header, the first row names the columns; with index, the first
    column is the index. Columns of numbers are float64; columns whose texts are all dates
    or date-times are datetime64 (parse_dates=False keeps the texts); others are object."""
    frame = _columns_to_pandas(self, header, False)
    if parse_dates:
        frame = _parse_dates(frame)
    if index and frame.shape[1] > 0:
        frame = frame.set_index(frame.columns[0])
    return frame


Sheet.to_pandas = _to_pandas


def _takes_one(callback):
    """Whether a progress callback takes one argument (a Progress), not (cells, total)."""
    import inspect
    try:
        signature = inspect.signature(callback)
    except (TypeError, ValueError):
        return False

    def binds(*arguments):
        try:
            signature.bind(*arguments)
            return True
        except TypeError:
            return False

    return binds(None) and not binds(None, None)


def read_frame(path, sheet=None, header=True, parse_dates=True, format=None, progress=None,
               **options):
    """read_frame(path, sheet=None, header=True, parse_dates=True, format=None,
    progress=None, **options) -> pandas.DataFrame

    Reads a file straight into a DataFrame: read(path, ...).to_pandas(header, ...).
    `sheet` chooses a sheet (matrix) by name, or by 0-based position when it is an int; a
    sheet the file lacks raises ValueError. Further keywords are settings keys, e.g.
    Delimiter=";"."""
    if sheet is not None:
        if isinstance(sheet, int) and not isinstance(sheet, bool):
            options["UseIndexes"] = True
            options["Sheets"] = str(sheet + 1)
        else:
            options["Sheets"] = sheet
    sheet_read = read(path, format=format, options=options or None, progress=progress)
    return sheet_read.to_pandas(header=header, parse_dates=parse_dates)
)";

}  // namespace zmpy
