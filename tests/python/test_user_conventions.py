"""The module as a pandas user expects it: sheet names listed and checked, unknown keys
warned about, list options, paths and file objects, errors that name the file, sheets
that pickle, progress calls, read_frame and date columns."""
import io
import os
import pathlib
import pickle
import warnings

import numpy
import pandas
import pytest

import zmimport

ROOT = pathlib.Path(__file__).resolve().parents[2]
DATA = ROOT / "tests" / "data"
TWO_SHEETS = DATA / "xlsx" / "two-sheets.xlsx"
TWO_MATRICES = DATA / "mat" / "level4_two.mat"


def test_sheets_lists_what_the_file_offers():
    assert zmimport.sheets(TWO_SHEETS) == ["Data", "Notes"]
    assert zmimport.sheets(str(TWO_MATRICES)) == ["A", "B"]
    assert zmimport.sheets(ROOT / "examples" / "data" / "grain-reference.csv") == []


def test_matrices_and_variables_are_sheets_too():
    variables = DATA / "netcdf" / "mva_two_variables.cdf"
    assert zmimport.sheets(DATA / "mat" / "level5_names.mat") == ["X", "Y"]
    passed_over = DATA / "mat" / "level5_passed_over.mat"
    assert zmimport.sheets(passed_over) == ["X"]
    with pytest.raises(ValueError, match=r'matrix "s" is a structure, which cannot be read'):
        zmimport.read_frame(passed_over, sheet="s")
    with pytest.raises(ValueError, match=r'no matrix "Z" in the file \(matrices: X, Y\)'):
        zmimport.read(DATA / "mat" / "level5_names.mat", options={"Sheets": "Z"})
    assert zmimport.sheets(variables) == ["observation", "baseline"]
    assert zmimport.read_frame(variables, sheet="baseline").iloc[0, 2] == -10
    with pytest.raises(ValueError, match=r'no variable "base" in the file'):
        zmimport.read_frame(variables, sheet="base")


@pytest.mark.parametrize("choice", [{"Sheets": "Nope"}, {"Sheets": "data"},
                                    {"Sheets": "2"}, {"UseIndexes": True, "Sheets": 3}])
def test_a_sheet_the_file_lacks_raises(choice):
    with pytest.raises(ValueError, match=r"two-sheets.xlsx: no sheet .* \(sheets: Data, Notes"):
        zmimport.read(TWO_SHEETS, options=choice)
    with pytest.raises(ValueError):
        zmimport.read_frame(TWO_SHEETS, sheet=choice["Sheets"] if "UseIndexes" not in choice
                            else 2)


def test_sheet_by_name_and_by_position_read_that_sheet():
    notes = zmimport.read(TWO_SHEETS, options={"Sheets": "Notes"}).cells
    assert zmimport.read(TWO_SHEETS, options={"UseIndexes": True, "Sheets": 2}).cells == notes
    data = zmimport.read_frame(TWO_SHEETS, sheet="Data")
    pandas.testing.assert_frame_equal(zmimport.read_frame(TWO_SHEETS, sheet=0), data)
    assert list(data.columns) == ["name", "value", "when", "flag"]


def test_unknown_keys_warn_and_bad_values_raise_naming_the_key():
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        zmimport.read(TWO_SHEETS, options={"Sheets": "Data", "Bogus": 1})
    assert len(caught) == 1
    assert '"Bogus"' in str(caught[0].message) and "Sheets" in str(caught[0].message)
    with pytest.raises(ValueError, match='the key "ReadOrder" takes a whole number'):
        zmimport.read(TWO_SHEETS, options={"ReadOrder": "stacked"})


def test_list_options_are_joined_into_the_key(tmp_path):
    two = zmimport.read(TWO_SHEETS, options={"Sheets": ["Data", "Notes"]})
    assert two.cells == zmimport.read(TWO_SHEETS, options={"Sheets": "Data;Notes"}).cells
    assert two.shape[0] > zmimport.read(TWO_SHEETS, options={"Sheets": ("Data",)}).shape[0]


def test_spectral_x_ranges_as_lists():
    path = DATA / "spc" / "float-multi.spc"
    sheet = zmimport.read(path, options={"IncludeAllValues": False,
                                         "NumberOfIncludedIntervals": 2,
                                         "IncludeXStartPt": [100, 104],
                                         "IncludeXEndPt": [100, 104.0]})
    assert sheet.cells[0][3:] == ["t 100", "t 104"]


def test_paths_and_file_objects(tmp_path):
    expected = zmimport.read(str(TWO_SHEETS)).cells
    assert zmimport.read(pathlib.Path(TWO_SHEETS)).cells == expected
    with open(TWO_SHEETS, "rb") as f:
        assert zmimport.read(f).cells == expected
    assert zmimport.read(io.BytesIO(TWO_SHEETS.read_bytes())).cells == expected
    text = zmimport.read(io.StringIO("a,b\n1,2\n"), format="CSV File")
    assert text.cells == [["a", "b"], [1.0, 2.0]]


def test_read_error_names_the_file(tmp_path):
    broken = tmp_path / "broken.xlsx"
    broken.write_bytes(TWO_SHEETS.read_bytes()[:300])
    with pytest.raises(zmimport.ReadError) as raised:
        zmimport.read(broken, format="Excel2007 File")
    assert raised.value.filename == str(broken)
    assert str(raised.value).startswith(str(broken) + ": ")
    assert raised.value.format == "Excel2007 File"


def test_a_read_of_several_files_names_the_one_that_failed(tmp_path):
    good, bad = DATA / "netcdf" / "aia_run1.cdf", DATA / "netcdf" / "aia_delay.cdf"
    # A file cut short, after or before a whole one.
    cut = tmp_path / "cut.ch"
    cut.write_bytes((DATA / "chemstation" / "v130-differences.ch").read_bytes()[:3000])
    whole = DATA / "chemstation" / "v130-differences.ch"
    for files, failed in (([good, bad], bad), ([whole, cut], cut), ([cut, whole], cut)):
        with pytest.raises(zmimport.ReadError) as raised:
            zmimport.read(files)
        assert raised.value.filename == str(failed)
        assert str(raised.value).startswith(str(failed) + ": ")


def test_sheets_pickle_whole():
    sheet = zmimport.read(TWO_SHEETS)
    again = pickle.loads(pickle.dumps(sheet))
    assert again.cells == sheet.cells
    assert (again.shape, again.format, again.warning) == (sheet.shape, sheet.format,
                                                          sheet.warning)
    pandas.testing.assert_frame_equal(again.to_pandas(), sheet.to_pandas())


def test_progress_is_called_with_cells_and_total(tmp_path, monkeypatch):
    scipy_io = pytest.importorskip("scipy.io")
    path = tmp_path / "m.mat"
    scipy_io.savemat(path, {"X": numpy.ones((300, 100))})
    calls = []
    # Shown at once rather than after a second, so that a short read reports too.
    monkeypatch.setenv("ZMIMPORT_PROGRESS_AFTER_MS", "0")
    zmimport.read(path, progress=lambda cells, total: calls.append((cells, total)))
    # Numbers arrive a column run at a time, so the first call comes once a few thousand
    # cells are in, with the total the reader announced.
    assert calls and 4096 <= calls[0][0] < 30000 and calls[0][1] == 30000
    assert all(0 < cells <= total for cells, total in calls)


def test_a_progress_callback_of_one_argument_gets_bytes_and_time_left(tmp_path, monkeypatch):
    path = tmp_path / "big.csv"
    path.write_text("a,b,c\n" + "1,2,3\n" * 200000)
    monkeypatch.setenv("ZMIMPORT_PROGRESS_AFTER_MS", "0")
    calls = []
    zmimport.read(path, progress=lambda state: calls.append(state))
    by_bytes = [state for state in calls if state.bytes_read < state.bytes_total]
    assert by_bytes and by_bytes[0].bytes_total == path.stat().st_size
    assert 0 < by_bytes[0].bytes_read and by_bytes[0].seconds_left is not None
    assert str(by_bytes[0]).startswith("reading ") and " of 1.2 MB (" in str(by_bytes[0])


def test_progress_counts_the_bytes_of_every_file_and_of_a_workbook_being_opened(monkeypatch):
    # Every report shown, so that reads of a few kilobytes report too.
    monkeypatch.setenv("ZMIMPORT_PROGRESS_AFTER_MS", "0")
    monkeypatch.setenv("ZMIMPORT_PROGRESS_EVERY_MS", "0")
    spectra = [DATA / "netcdf" / "aia_run1.cdf", DATA / "netcdf" / "aia_run2.cdf"]
    calls = []
    zmimport.read(spectra, progress=calls.append)
    total = sum(path.stat().st_size for path in spectra)
    assert [(p.bytes_read, p.bytes_total) for p in calls if p.bytes_read < total] == [
        (spectra[0].stat().st_size, total)]
    # A workbook's sheets are parsed as it is opened, before a cell is delivered.
    calls = []
    zmimport.read(DATA / "xlsx" / "gnumeric.xlsx", progress=calls.append)
    assert any(p.cells == 0 and 0 < p.bytes_read < p.bytes_total for p in calls)


def test_date_texts_become_datetime64_unless_parse_dates_is_off():
    frame = zmimport.read_frame(TWO_SHEETS, sheet="Data")
    assert frame["when"].dtype == "datetime64[ns]"
    assert frame["when"][0] == pandas.Timestamp("2024-03-01")
    assert frame["name"].dtype == object
    texts = zmimport.read_frame(TWO_SHEETS, sheet="Data", parse_dates=False)
    assert texts["when"][0] == "2024-03-01"
    assert zmimport.read(TWO_SHEETS, options={"Sheets": "Data"}).to_pandas(
        parse_dates=False)["when"].dtype == object


def test_help_texts():
    for function in (zmimport.read, zmimport.read_frame, zmimport.sheets):
        assert len(function.__doc__) > 80


def test_a_file_object_that_fails_names_what_it_can(tmp_path):
    broken = TWO_SHEETS.read_bytes()[:300]
    with pytest.raises(zmimport.ReadError) as raised:
        zmimport.read(io.BytesIO(broken), format="Excel2007 File")
    assert raised.value.filename  # the temporary file's name: a BytesIO has none
    path = tmp_path / "cut.xlsx"
    path.write_bytes(broken)
    with open(path, "rb") as f, pytest.raises(zmimport.ReadError) as raised:
        zmimport.read(f, format="Excel2007 File")
    assert raised.value.filename == str(path)
