"""The Python module: formats, detection, reading real files of each format family into
DataFrames checked against independent readers, options, errors, the released
interpreter lock, conversion, and the Dask example on a folder of files."""
import csv
import os
import pathlib
import pickle
import subprocess
import sys
import threading

import numpy
import pandas
import pytest

import zmimport

ROOT = pathlib.Path(__file__).resolve().parents[2]
CORPUS = ROOT.parent / "shared" / "corpus"
DATA = ROOT / "tests" / "data"


def test_formats_and_detection():
    formats = {f.name: f for f in zmimport.formats()}
    assert formats["CSV File"].can_read
    assert formats["Matlab File"].can_write
    assert ".xlsx" in formats["Excel2007 File"].extensions
    assert [f.index for f in zmimport.formats()] == list(range(1, len(formats) + 1))
    chosen, answers = zmimport.detect(DATA / "xlsx" / "xlsxwriter.xlsx")
    assert chosen == "Excel2007 File"
    assert set(answers) == set(formats)


def test_csv_against_pandas():
    path = ROOT / "examples" / "data" / "grain-reference.csv"
    ours = zmimport.read(path).to_pandas()
    theirs = pandas.read_csv(path)
    assert ours.shape == theirs.shape
    assert list(ours.columns) == list(theirs.columns)
    pandas.testing.assert_frame_equal(ours, theirs, check_dtype=False)
    assert ours["Moisture %"].dtype == numpy.float64
    assert ours["Origin"].dtype == object

    # Object columns own references to their strings: they outlive the sheet, take new
    # values, and give every reference back when dropped.
    origins = ours["Origin"].to_numpy()
    label = origins[0]
    held = sys.getrefcount(label)
    del ours
    origins[1] = "changed"
    assert origins[0] == theirs["Origin"][0] and origins[1] == "changed"
    del origins
    assert sys.getrefcount(label) < held


def test_workbooks_against_their_readers():
    import openpyxl
    import xlrd

    xlsx = CORPUS / "xlsx" / sorted(os.listdir(CORPUS / "xlsx"))[0]
    path = DATA / "xlsx" / "gnumeric.xlsx"
    sheet = zmimport.read(path)
    book = openpyxl.load_workbook(path, data_only=True).active
    assert sheet.shape == (book.max_row, book.max_column)
    assert sheet.cells[1][1] == book.cell(2, 2).value
    assert sheet.cells[-1][0] == book.cell(book.max_row, 1).value
    assert xlsx.exists()

    xls = ROOT / "examples" / "data" / "grain-reference.xls"
    frame = zmimport.read(xls).to_pandas(header=False)
    other = xlrd.open_workbook(str(xls)).sheet_by_index(0)
    assert frame.shape == (other.nrows, other.ncols)
    assert frame.iloc[-1, 1] == other.cell_value(other.nrows - 1, 1)

    xlsb = zmimport.read(DATA / "xlsx" / "sheetjs.xlsb").to_pandas()
    assert list(xlsb.columns[:4]) == ["name", "value", "when", "ok"]
    assert xlsb["value"].tolist() == [1.5, -2.25, 1e20]


def test_matrix_and_worksheet_formats():
    import scipy.io

    path = DATA / "mat" / "level4_doubles.mat"
    matrix = scipy.io.loadmat(path)["X"]
    ours = zmimport.read(path).to_numpy()
    numpy.testing.assert_array_equal(ours, matrix)
    lotus = zmimport.read(DATA / "lotus" / "sheetjs.wk1").to_pandas()
    assert lotus.shape == (3, 4)
    assert lotus.iloc[0, 0] == "alpha"


def test_missing_text_and_number_cells_keep_their_kind(tmp_path):
    import scipy.io

    path = tmp_path / "mixed.csv"
    path.write_text("a,b,c\n1,x,\n2,3,4\n,5,nan\n")
    sheet = zmimport.read(path)
    assert sheet.cells == [["a", "b", "c"], [1.0, "x", None], [2.0, 3.0, 4.0], [None, 5.0, "nan"]]
    frame = sheet.to_pandas()
    assert frame["a"].dtype == numpy.float64 and numpy.isnan(frame["a"][2])
    assert frame["b"].tolist() == ["x", 3.0, 5.0]
    assert frame["c"].tolist() == [None, 4.0, "nan"]
    numbers = sheet.to_numpy()
    assert numbers.shape == (4, 3) and numpy.isnan(numbers[1, 1]) and numbers[2, 2] == 4.0
    # Number forms on and off the plain-decimal shortcut, typed as the command line types
    # them, and labels repeated often enough to be shared.
    forms = tmp_path / "forms.csv"
    cells = ["1e5", "-0", ".5", "1.", "+3", " 7 ", "\t-2", "nan", "inf", "-", ".", "1.2.3",
             "12345678901234567890", "0.1000000000000000055511", '"1,5"', "x", "y", "x"]
    forms.write_text("v\n" + "\n".join(cells * 300) + "\n")
    values = zmimport.read(forms).to_pandas()["v"].tolist()
    expected = [1e5, -0.0, 0.5, 1.0, 3.0, 7.0, -2.0, "nan", "inf", "-", ".", "1.2.3",
                12345678901234567890.0, 0.1, "1,5", "x", "y", "x"] * 300
    assert values == expected
    assert numpy.signbit(values[1]) and not numpy.signbit(values[2])
    matrix = tmp_path / "signed.mat"
    scipy.io.savemat(matrix, {"X": numpy.array([[1.0, -0.0]])})
    assert numpy.signbit(zmimport.read(matrix).cells[0][1])


def test_arrays_share_the_sheets_block(tmp_path):
    import scipy.io

    path = tmp_path / "block.mat"
    matrix = numpy.arange(12.0).reshape(3, 4)
    scipy.io.savemat(path, {"X": matrix})
    sheet = zmimport.read(path)
    first, second = sheet.to_numpy(), sheet.to_numpy()
    assert numpy.shares_memory(first, second)
    numpy.testing.assert_array_equal(first, matrix)
    # What the array writes reads back as cells without harm, a NaN that looks like a
    # text marker included, and the array keeps the block alive.
    first.view(numpy.uint64)[0, 0] = 0x7FF9000000000005
    first[0, 1] = 42.0
    for cells in (sheet.cells, pickle.loads(pickle.dumps(sheet)).cells):
        assert numpy.isnan(cells[0][0]) and cells[0][1:3] == [42.0, 2.0]
    del sheet, second
    assert first[2, 3] == 11.0
    # Sheets with missing and text cells, tall and wide, share their block too: the cells
    # that hold no number are NaNs that arithmetic takes without an invalid operation.
    csv = tmp_path / "mixed.csv"
    csv.write_text("h,i\n1,\n2,3\n")
    mixed = zmimport.read(csv)
    wide = zmimport.read(CORPUS / "netcdf" / "agilent_hplc.cdf")
    for read in (mixed, wide):
        numbers = read.to_numpy()
        assert numpy.shares_memory(numbers, read.to_numpy())
        cells = numpy.array([[c if isinstance(c, float) else numpy.nan for c in row]
                             for row in read.cells])
        numpy.testing.assert_array_equal(numbers, cells)
        with numpy.errstate(all="raise"):
            assert numpy.isnan(numbers + 1.0).sum() == numpy.isnan(cells).sum() > 0
    assert numbers.shape[1] > 100 * numbers.shape[0]
    frame = mixed.to_pandas()
    assert frame["h"].tolist() == [1.0, 2.0] and numpy.isnan(frame["i"][0])


def test_cells_placed_far_apart_are_cut_with_a_warning(tmp_path):
    import xlsxwriter

    path = tmp_path / "far.xlsx"
    book = xlsxwriter.Workbook(str(path))
    sheet = book.add_worksheet()
    sheet.write(0, 0, "near")
    for col in range(40):  # 40 cells that would make 40 columns of a million rows
        sheet.write(1048575, col, col)
    book.close()
    with pytest.warns(UserWarning) as told:
        read = zmimport.read(path)
    last = read.to_numpy()[-1]
    kept = int(numpy.count_nonzero(~numpy.isnan(last)))
    assert 1 <= kept < 40
    assert last[:kept].tolist() == list(range(kept))
    assert read.warning == "%d cells outside the sheet were ignored" % (40 - kept)
    assert [str(w.message) for w in told] == [read.warning]


def test_options_reach_the_reader(tmp_path):
    path = tmp_path / "semi.txt"
    path.write_text("a;b\n1;2\n3;4\n")
    whole = zmimport.read(path, format="Text File", options={"Delimiter": ";"})
    assert whole.shape == (3, 2)
    assert whole.cells[2] == [3.0, 4.0]
    one = zmimport.read(DATA / "xlsx" / "two-sheets.xlsx", options={"Sheets": 2,
                                                                    "UseIndexes": True})
    both = zmimport.read(DATA / "xlsx" / "two-sheets.xlsx")
    assert one.shape != both.shape


def test_errors(tmp_path):
    with pytest.raises(FileNotFoundError):
        zmimport.read(tmp_path / "missing.csv")
    with pytest.raises(zmimport.ReadError) as refused:
        zmimport.read(ROOT / "README.md", format="Excel2007 File")
    assert refused.value.code == 770
    assert refused.value.format == "Excel2007 File"
    assert str(refused.value) == str(ROOT / "README.md") + ": Unable to open Excel file."
    assert refused.value.filename == str(ROOT / "README.md")
    with pytest.raises(ValueError):
        zmimport.read(ROOT / "README.md", format="No Such Format")
    with pytest.raises(TypeError):
        zmimport.read(ROOT / "README.md", options=["Delimiter", ";"])
    with pytest.raises(zmimport.ReadError):
        zmimport.read(tmp_path)  # a folder
    cut = tmp_path / "cut.xlsx"
    cut.write_bytes((DATA / "xlsx" / "xlsxwriter.xlsx").read_bytes()[:1500])
    with pytest.raises(zmimport.ReadError):
        zmimport.read(cut)


def test_the_interpreter_runs_while_a_file_is_read(tmp_path):
    path = tmp_path / "big.csv"
    with open(path, "w", newline="") as out:
        writer = csv.writer(out)
        for r in range(400000):
            writer.writerow([r, r * 0.5, "x%d" % (r % 7), r * 3])
    counted = [0]

    def count():
        while not done.is_set():
            counted[0] += 1

    done = threading.Event()
    counter = threading.Thread(target=count)
    counter.start()
    before = counted[0]
    sheet = zmimport.read(path)
    during = counted[0] - before
    done.set()
    counter.join()
    assert sheet.shape == (400000, 4)
    # A read that held the interpreter lock throughout would have let the other thread
    # count almost nothing while it ran.
    assert during > 1000


def test_convert_round_trip(tmp_path):
    scipy_io = pytest.importorskip("scipy.io")
    source = tmp_path / "table.csv"
    source.write_text("a,b\n1,2.5\n3,4\n")
    target = tmp_path / "table.mat"
    zmimport.convert(source, target)
    data = scipy_io.loadmat(target)["DATA"]
    assert data.shape == (2, 2)
    assert data[0, 1] == 2.5
    with pytest.raises(ValueError):
        zmimport.convert(source, tmp_path / "table.unknown")


def test_the_dask_example_reads_a_folder(tmp_path):
    for i in range(300):
        (tmp_path / ("run%03d.csv" % i)).write_text("t,v\n%d,%d.5\n%d,%d.25\n" % (i, i, i + 1, i))
    example = ROOT / "examples" / "python" / "many_files.py"
    done = subprocess.run([sys.executable, str(example), str(tmp_path), "--workers", "2"],
                          capture_output=True, text=True, timeout=600, env=os.environ.copy())
    assert done.returncode == 0, done.stderr[-2000:]
    assert "600 rows from 300 files" in done.stdout
    # One damaged file among them costs its own rows only, and is named at the end.
    (tmp_path / "run999.csv").write_bytes(b"\x7fELF" + bytes(range(256)) * 40)
    done = subprocess.run([sys.executable, str(example), str(tmp_path), "--workers", "2"],
                          capture_output=True, text=True, timeout=600, env=os.environ.copy())
    assert done.returncode == 1
    assert "600 rows from 300 files" in done.stdout
    assert "1 files could not be read:" in done.stderr
    assert "run999.csv: " in done.stderr and "binary content" in done.stderr
