// The Python module `zmimport`: the formats, detection, reading into a sheet that turns
// into lists, a NumPy array or a pandas DataFrame, and conversion through the writers.
// Files are read exactly as the command line reads them (same format choice, settings
// documents and typing of text cells), with the interpreter's lock released meanwhile.
#include <pybind11/eval.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <dlfcn.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "framework/ZmImport.h"
#include "framework/host/Convert.h"
#include "framework/host/FormatChoice.h"
#include "framework/host/FormatTable.h"
#include "framework/host/LoaderFormats.h"
#include "framework/host/ReaderSession.h"
#include "framework/host/TextTyping.h"
#include "python/ColumnSheet.h"
#include "python/PandasHelpers.h"

namespace py = pybind11;

namespace {

// A reader's refusal, raised as zmimport.ReadError with the reader's own text.
struct Refusal {
    std::string message;
    int code;
    std::string format;
    std::string file;  // the file that failed, "" when none is to blame
};

py::object readErrorType;

[[noreturn]] void Raise(const Refusal& refusal) {
    const bool named = refusal.file.empty() || refusal.message.rfind(refusal.file, 0) == 0;
    py::object error =
        readErrorType(named ? refusal.message : refusal.file + ": " + refusal.message);
    error.attr("filename") =
        refusal.file.empty() ? py::object(py::none()) : py::object(py::str(refusal.file));
    error.attr("code") = refusal.code;
    error.attr("format") =
        refusal.format.empty() ? py::object(py::none()) : py::object(py::str(refusal.format));
    PyErr_SetObject(readErrorType.ptr(), error.ptr());
    throw py::error_already_set();
}

std::string PathText(const py::handle& path) {
    return py::str(py::module_::import("os").attr("fsdecode")(path)).cast<std::string>();
}

std::vector<std::string> PathsOf(const py::object& paths) {
    std::vector<std::string> out;
    if (py::isinstance<py::str>(paths) || py::isinstance<py::bytes>(paths) ||
        py::hasattr(paths, "__fspath__")) {
        out.push_back(PathText(paths));
    } else {
        for (const py::handle item : paths)
            out.push_back(PathText(item));
    }
    if (out.empty())
        throw py::value_error("no file given");
    for (const std::string& path : out) {
        std::error_code error;
        if (!std::filesystem::exists(path, error)) {
            PyErr_SetObject(PyExc_FileNotFoundError,
                            py::make_tuple(2, "No such file or directory", path).ptr());
            throw py::error_already_set();
        }
    }
    return out;
}

// Settings keys and values as the command line's --set pairs.
std::vector<std::pair<std::string, std::string>> SettingsOf(const py::object& options) {
    std::vector<std::pair<std::string, std::string>> sets;
    if (options.is_none())
        return sets;
    if (!py::isinstance<py::dict>(options))
        throw py::type_error("options must be a dict of settings keys and values");
    for (const auto& [key, value] : options.cast<py::dict>()) {
        std::string text;
        if (py::isinstance<py::bool_>(value)) {
            text = value.cast<bool>() ? "true" : "false";
        } else if (py::isinstance<py::list>(value) || py::isinstance<py::tuple>(value)) {
            // A list key takes its items as ";"-separated text.
            for (const py::handle item : value) {
                text += text.empty() ? "" : ";";
                text += py::str(item).cast<std::string>();
            }
        } else {
            text = py::str(value).cast<std::string>();
        }
        sets.emplace_back(py::str(key).cast<std::string>(), text);
    }
    return sets;
}

class PySheet {
  public:
    PySheet(std::unique_ptr<zmpy::ColumnSheetSink> sink, std::string warning, std::string format)
        : sink(std::move(sink)), warning(std::move(warning)), format(std::move(format)) {}

    const zmpy::ColumnSheet& Sheet() const { return sink->Sheet(); }
    py::tuple Shape() const { return py::make_tuple(Sheet().Rows(), Sheet().Columns()); }

    py::object Value(int col, int row) const {
        switch (Sheet().KindAt(col, row)) {
            case zmpy::ColumnSheet::Kind::kNumber:
                return py::float_(Sheet().NumberAt(col, row));
            case zmpy::ColumnSheet::Kind::kText: {
                const std::string_view text = Sheet().TextAt(col, row);
                return py::str(text.data(), text.size());
            }
            default:
                return py::none();
        }
    }

    py::list Cells() const {
        py::list rows;
        const int cols = Sheet().Columns();
        for (int r = 1; r <= Sheet().Rows(); ++r) {
            py::list row(cols);
            for (int c = 0; c < cols; ++c)
                row[c] = Value(c + 1, r);
            rows.append(row);
        }
        return rows;
    }

    // Rows from `firstRow` on as float64, NaN for missing and text cells. A sheet kept in
    // one block hands the block to the array, which keeps it alive: its markers of
    // missing and text cells are NaNs.
    py::array_t<double> Numbers(int firstRow) const {
        const int rows = std::max(0, Sheet().Rows() - firstRow + 1);
        const int cols = Sheet().Columns();
        const bool rowMajor = Sheet().RowMajor();
        constexpr auto kSize = static_cast<py::ssize_t>(sizeof(double));
        const std::vector<py::ssize_t> strides =
            rowMajor ? std::vector<py::ssize_t>{kSize * cols, kSize}
                     : std::vector<py::ssize_t>{kSize, kSize * rows};
        if (firstRow == 1) {
            if (auto shared = sink->SharedNumbers()) {
                const double* data = reinterpret_cast<const double*>(shared->Data());
                auto* held = new std::shared_ptr<zmpy::ColumnSheet::Block>(std::move(shared));
                py::capsule owner(held, [](void* p) {
                    delete static_cast<std::shared_ptr<zmpy::ColumnSheet::Block>*>(p);
                });
                return py::array_t<double>(std::vector<py::ssize_t>{rows, cols}, strides,
                                           const_cast<double*>(data), owner);
            }
        }
        // Filled in the sheet's own order, column by column (Fortran order) or row by row
        // for a wide sheet; NumPy presents either as the same rows x columns array. The
        // block is mapped memory the module reuses from read to read.
        const size_t count = static_cast<size_t>(rows) * static_cast<size_t>(cols);
        auto block = std::make_unique<zm::RawArray<double>>();
        block->Reserve(std::max<size_t>(count, 1));
        double* data = block->Extend(count);
        Sheet().CopyAll(firstRow, rows, cols, rowMajor, data);
        py::capsule owner(block.get(),
                          [](void* p) { delete static_cast<zm::RawArray<double>*>(p); });
        block.release();
        return py::array_t<double>(std::vector<py::ssize_t>{rows, cols}, strides, data, owner);
    }

    // A float64 column in memory of its own, mapped with huge pages where the system
    // gives them: page faults on fresh memory cost more here than copying the numbers.
    py::array Numbers(int col, int first, size_t rows) const {
        // A column of numbers in the sheet's block is handed over as it is.
        const double* start = nullptr;
        if (auto shared = Sheet().SharedColumn(col, first, start)) {
            auto* held = new std::shared_ptr<zmpy::ColumnSheet::Block>(std::move(shared));
            py::capsule owner(held, [](void* p) {
                delete static_cast<std::shared_ptr<zmpy::ColumnSheet::Block>*>(p);
            });
            return py::array_t<double>({rows}, {sizeof(double)}, const_cast<double*>(start), owner);
        }
        auto block = std::make_unique<zm::RawArray<double>>();
        block->Reserve(std::max<size_t>(rows, 1));
        double* values = block->Extend(rows);
        Sheet().CopyNumbers(col, first, rows, values);
        py::capsule owner(block.get(),
                          [](void* p) { delete static_cast<zm::RawArray<double>*>(p); });
        block.release();
        return py::array_t<double>({rows}, {sizeof(double)}, values, owner);
    }

    // The texts, numbers and None of a column holding texts, as an object array. Cells
    // that share a stored text share its Python string, kept in `strings` by the text's
    // index for every column of a frame.
    py::array Objects(int col, int first, int rows, std::vector<py::object>& strings) const {
        // The array's references live in memory the module maps (reused from read to read,
        // like the float64 columns); whoever owns the block lets go of the references
        // stored so far.
        struct References {
            zm::RawArray<PyObject*> block;
            size_t stored = 0;
            ~References() {
                for (size_t i = 0; i < stored; ++i)
                    Py_XDECREF(block[i]);
            }
        };
        auto owner = std::make_unique<References>();
        owner->block.Reserve(std::max(rows, 1));
        PyObject** objects = owner->block.Extend(static_cast<size_t>(rows));
        for (int r = 0; r < rows; ++r) {
            PyObject* value;
            if (const long long index = Sheet().TextIndexAt(col, first + r); index >= 0) {
                py::object& string = strings[index];
                if (!string) {
                    const std::string_view text = Sheet().TextOfIndex(index);
                    string = py::str(text.data(), text.size());
                }
                value = string.ptr();
                Py_INCREF(value);
            } else {
                value = Value(col, first + r).release().ptr();
            }
            objects[r] = value;
            owner->stored = static_cast<size_t>(r) + 1;
        }
        py::capsule base(owner.get(), [](void* p) { delete static_cast<References*>(p); });
        owner.release();
        return py::array(py::dtype("O"), std::vector<py::ssize_t>{rows},
                         std::vector<py::ssize_t>{sizeof(PyObject*)}, objects, base);
    }

    py::object ColumnName(int col, std::unordered_set<std::string>& used) const {
        std::string name;
        switch (Sheet().KindAt(col, 1)) {
            case zmpy::ColumnSheet::Kind::kText:
                name = Sheet().TextAt(col, 1);
                break;
            case zmpy::ColumnSheet::Kind::kNumber:
                name = py::str(py::repr(Value(col, 1))).cast<std::string>();
                break;
            default:
                name = "column " + std::to_string(col);
        }
        if (!used.insert(name).second) {
            name += "." + std::to_string(col);
            used.insert(name);
        }
        return py::str(name);
    }

    py::object ToPandas(bool header, bool index) const {
        py::module_ pandas = py::module_::import("pandas");
        const int cols = Sheet().Columns();
        const int first = header ? 2 : 1;
        const int rows = std::max(0, Sheet().Rows() - first + 1);
        // Columns whose cells below the header are all numbers or missing are float64;
        // the others hold objects.
        py::dict columns;
        py::list names;
        std::unordered_set<std::string> used;
        std::vector<py::object> strings(Sheet().TextCount());
        for (int c = 1; c <= cols; ++c) {
            const bool numeric = Sheet().NumbersOnlyFrom(c, first);
            py::array values;
            if (numeric) {
                values = Numbers(c, first, static_cast<size_t>(rows));
            } else {
                values = Objects(c, first, rows, strings);
            }
            py::object name = header ? ColumnName(c, used) : py::int_(c - 1);
            columns[name] = values;
            names.append(name);
        }
        py::object frame =
            pandas.attr("DataFrame")(columns, py::arg("columns") = names, py::arg("copy") = false);
        if (index && cols > 0)
            frame = frame.attr("set_index")(names[0]);
        return frame;
    }

    std::unique_ptr<zmpy::ColumnSheetSink> sink;
    std::string warning;
    std::string format;
};

int FormatIndex(const std::vector<std::string>& files, const py::object& format,
                std::string& name) {
    zmhost::ReadRequest request;
    request.files = files;
    if (!format.is_none())
        request.format = py::str(format).cast<std::string>();
    zmhost::Failure failure;
    const int index = zmhost::FormatFor(request, failure);
    if (index == 0) {
        if (failure.badRequest)
            throw py::value_error(failure.text);
        Raise({failure.text, 0, "", files.front()});
    }
    name = zmhost::FormatInfo(index)->name;
    return index;
}

// A file object's bytes in a temporary file, for the readers that need a path; the file
// goes when the object does.
py::object Spooled(const py::object& source) {
    py::module_ tempfile = py::module_::import("tempfile");
    py::module_ os = py::module_::import("os");
    std::string suffix;
    if (py::hasattr(source, "name") && py::isinstance<py::str>(source.attr("name")))
        suffix =
            py::str(os.attr("path").attr("splitext")(source.attr("name")).cast<py::tuple>()[1]);
    py::object spool =
        tempfile.attr("NamedTemporaryFile")(py::arg("suffix") = suffix, py::arg("delete") = true);
    py::object data = source.attr("read")();
    if (py::isinstance<py::str>(data))
        data = data.attr("encode")("utf-8");
    spool.attr("write")(data);
    spool.attr("flush")();
    return spool;
}

PySheet Read(const py::object& source, const py::object& format, const py::object& options,
             const py::object& progress) {
    py::object spool;
    py::object paths = source;
    if (py::hasattr(source, "read") && !py::hasattr(source, "__fspath__")) {
        spool = Spooled(source);
        paths = spool.attr("name");
    }
    const std::vector<std::string> files = PathsOf(paths);
    const auto sets = SettingsOf(options);
    std::string name;
    const int index = FormatIndex(files, format, name);
    const ZmImportFileFormatInfo& info = *zmhost::FormatInfo(index);
    if (files.size() > 1 && !info.multiFile)
        throw py::value_error("the format \"" + name + "\" reads one file at a time");
    const zmhost::ReadRequest request{files, std::to_string(index), "", sets};
    zmhost::ReadPlan plan;
    zmhost::Failure failure;
    if (!zmhost::PlanRead(request, index, plan, failure))
        throw py::value_error(plan.warning.empty() ? failure.text
                                                   : plan.warning + "\n" + failure.text);
    if (!plan.warning.empty())
        py::module_::import("warnings").attr("warn")(plan.warning, py::arg("stacklevel") = 2);
    zmhost::OptionsRecord record;
    if (std::string failed; !record.LoadIfGiven("", failed, sets, plan.base))
        throw py::value_error(failed);
    auto sink = std::make_unique<zmpy::ColumnSheetSink>();
    sink->TypeTexts(zmhost::TypesTextsByDefault(info));
    if (!progress.is_none()) {
        // A callback of one argument gets a Progress; one of two, (cells, total).
        const bool whole =
            py::module_::import("zmimport").attr("_takes_one")(progress).cast<bool>();
        sink->OnProgress([progress, whole](const zmhost::ProgressState& state) {
            py::gil_scoped_acquire locked;
            try {
                if (whole)
                    progress(state);
                else
                    progress(state.cells, state.cellsTotal);
            } catch (py::error_already_set&) {
                // A failing callback costs the caller its progress, not the read.
            }
        });
    }
    zmhost::ReadOutcome outcome;
    {
        py::gil_scoped_release unlocked;
        outcome = zmhost::ReadIntoSink(index, files, record.Get(), *sink);
    }
    sink->OnProgress(nullptr);
    if (!outcome.ok) {
        // Of several files, the one that failed where the reader can tell.
        std::string label = outcome.file;
        for (size_t i = 0; outcome.file.empty() && i < files.size(); ++i)
            label += (i == 0 ? "" : ", ") + files[i];
        // A file object is named by its own name where it has one.
        const bool named =
            spool && py::hasattr(source, "name") && py::isinstance<py::str>(source.attr("name"));
        Raise({outcome.error, outcome.code, name, named ? PathText(source.attr("name")) : label});
    }
    std::string warning = outcome.warning;
    if (const long long dropped = sink->Sheet().DroppedCells(); dropped != 0) {
        warning += warning.empty() ? "" : "\n";
        warning += std::to_string(dropped) + " cells outside the sheet were ignored";
    }
    // What the reader left out or could not read reaches a script that never looks at
    // `Sheet.warning` too, through Python's own warnings.
    if (!warning.empty())
        py::module_::import("warnings").attr("warn")(warning, py::arg("stacklevel") = 2);
    return PySheet(std::move(sink), warning, name);
}

py::list Sheets(const py::object& path) {
    const std::vector<std::string> files = PathsOf(path);
    std::string name;
    const int index = FormatIndex(files, py::none(), name);
    zmhost::SheetOffer offer;
    py::list names;
    if (zmhost::FindSheetOffer(index, files.front(), offer)) {
        for (const std::string& sheet : offer.available)
            names.append(py::str(sheet));
    }
    return names;
}

void Convert(const py::object& source, const py::object& target, const py::object& format,
             const py::object& options) {
    zmhost::ConvertRequest request;
    request.source.files = {PathsOf(source).at(0)};
    request.source.settings = SettingsOf(options);
    request.target = PathText(target);
    if (!format.is_none())
        request.toFormat = py::str(format).cast<std::string>();
    // A long read shows its progress line on a terminal, as the command line's does.
    request.progressTerminal = isatty(STDERR_FILENO) ? stderr : nullptr;
    zmhost::ConvertOutcome outcome;
    {
        py::gil_scoped_release unlocked;
        outcome = zmhost::Convert(request);
    }
    if (outcome.failure) {
        if (outcome.failure.badRequest)
            throw py::value_error(outcome.failure.text);
        Raise({outcome.failure.text, 0, "", request.source.files.front()});
    }
}

// Python loads extension modules with their libraries local to them; the plug-in loader
// finds the library's own formats through the process's global symbols, so the library
// is made global.
void MakeLibraryGlobal() {
    Dl_info where{};
    if (dladdr(reinterpret_cast<void*>(&ZmImportSizeFileFormatsSupported), &where) != 0 &&
        where.dli_fname != nullptr)
        dlopen(where.dli_fname, RTLD_NOW | RTLD_GLOBAL | RTLD_NOLOAD);
}

}  // namespace

PYBIND11_MODULE(zmimport, m) {
    MakeLibraryGlobal();
    // Scripts read file after file: the large blocks of one read serve the next one instead
    // of fresh memory, up to about what a table of eighty megabytes fills.
    zm::SetSpareMappingLimit(size_t{256} << 20);
    m.doc() = "Reads measurement and spreadsheet files of many formats into sheets of cells.";
    readErrorType = py::reinterpret_borrow<py::object>(
        PyErr_NewExceptionWithDoc("zmimport.ReadError",
                                  "A file could not be read: the reader's own message, with "
                                  "`code` (the reader's status code) and `format`.",
                                  PyExc_Exception, nullptr));
    m.attr("ReadError") = readErrorType;

    py::class_<zmhost::ProgressState>(m, "Progress",
                                      "How far a read is, as a progress callback receives it.")
        .def_readonly("cells", &zmhost::ProgressState::cells, "Cells delivered so far.")
        .def_readonly("cells_total", &zmhost::ProgressState::cellsTotal,
                      "Cells the reader announced; 0 when it did not.")
        .def_readonly("bytes_read", &zmhost::ProgressState::bytes,
                      "Bytes of the files read so far (of a workbook package, its parts' "
                      "compressed bytes), counted from the opening of the files on.")
        .def_readonly("bytes_total", &zmhost::ProgressState::bytesTotal,
                      "The sizes of all the files of the read added up; 0 when the reader "
                      "does not tell how far it is.")
        .def_readonly("seconds", &zmhost::ProgressState::seconds, "Seconds the read has run.")
        .def_property_readonly(
            "seconds_left",
            [](const zmhost::ProgressState& p) -> py::object {
                const bool bytes = p.ByBytes();
                const double done = bytes ? static_cast<double>(p.bytes) : p.cells;
                const double total = bytes ? static_cast<double>(p.bytesTotal) : p.cellsTotal;
                if (done <= 0 || total <= done || p.seconds <= 0)
                    return py::none();
                return py::float_((total - done) * p.seconds / done);
            },
            "Seconds the read will still take at its rate so far, or None.")
        .def("__str__", [](const zmhost::ProgressState& p) { return zmhost::ProgressText(p); })
        .def("__repr__", [](const zmhost::ProgressState& p) {
            return "<Progress " + zmhost::ProgressText(p) + ">";
        });

    py::class_<PySheet>(m, "Sheet", "The cells read from one or several files.")
        .def_property_readonly("shape", &PySheet::Shape, "(rows, columns)")
        .def_property_readonly("cells", &PySheet::Cells,
                               "Rows of cells: float, str or None for a missing cell.")
        .def_property_readonly(
            "warning",
            [](const PySheet& s) -> py::object {
                return s.warning.empty() ? py::object(py::none()) : py::object(py::str(s.warning));
            },
            "The reader's warning (data it left out), or None.")
        .def_property_readonly(
            "format", [](const PySheet& s) { return s.format; }, "The format that read it.")
        .def(
            "to_numpy", [](const PySheet& s) { return s.Numbers(1); },
            "The sheet as a float64 array; missing and text cells are NaN.")
        .def("to_pandas", &PySheet::ToPandas, py::arg("header") = true, py::arg("index") = false,
             "A DataFrame: with header, the first row names the columns; with index, the "
             "first column is the index. Columns of numbers are float64, others object.")
        .def(py::pickle(
            [](const PySheet& s) {
                return py::make_tuple(s.format, s.warning, s.Sheet().Rows(), s.Sheet().Columns(),
                                      s.Cells());
            },
            [](const py::tuple& state) {
                if (state.size() != 5)
                    throw py::value_error("not a pickled zmimport.Sheet");
                auto sink = std::make_unique<zmpy::ColumnSheetSink>();
                const int rows = state[2].cast<int>(), cols = state[3].cast<int>();
                sink->SetDataSize(cols, rows);
                const py::list cells = state[4].cast<py::list>();
                for (int r = 0; r < static_cast<int>(cells.size()); ++r) {
                    const py::list row = cells[r].cast<py::list>();
                    for (int c = 0; c < static_cast<int>(row.size()); ++c) {
                        const py::handle cell = row[c];
                        if (py::isinstance<py::str>(cell))
                            sink->Set(c + 1, r + 1, cell.cast<std::string>().c_str());
                        else if (!cell.is_none())
                            sink->Set(c + 1, r + 1, cell.cast<double>());
                    }
                }
                return PySheet(std::move(sink), state[1].cast<std::string>(),
                               state[0].cast<std::string>());
            }))
        .def("__repr__", [](const PySheet& s) {
            return "<zmimport.Sheet " + std::to_string(s.Sheet().Rows()) + "x" +
                   std::to_string(s.Sheet().Columns()) + " (" + s.format + ")>";
        });

    m.def(
        "formats",
        [] {
            py::module_ types = py::module_::import("types");
            py::list out;
            for (int i = 1; i <= zmhost::FormatCount(); ++i) {
                const ZmImportFileFormatInfo& info = *zmhost::FormatInfo(i);
                out.append(types.attr("SimpleNamespace")(
                    py::arg("index") = i, py::arg("name") = info.name,
                    py::arg("filters") = info.filter != nullptr ? info.filter : "",
                    py::arg("extensions") = zmhost::ExtensionsOf(info),
                    py::arg("can_read") = info.canRead != 0,
                    py::arg("can_write") = info.canWrite != 0));
            }
            return out;
        },
        "Every format: index, name, filters, extensions, can_read, can_write.");
    m.def(
        "detect",
        [](const py::object& path) {
            const std::vector<std::string> files = PathsOf(path);
            py::dict answers;
            for (int i = 1; i <= zmhost::FormatCount(); ++i)
                answers[py::str(zmhost::FormatInfo(i)->name)] =
                    zmhost::AnswerName(zmhost::AskFormat(i, files[0]));
            std::string why;
            const int chosen = zmhost::ChooseFormat(files, &why);
            py::object name =
                chosen > 0 ? py::object(py::str(zmhost::FormatInfo(chosen)->name)) : py::none();
            return py::make_tuple(name, answers);
        },
        py::arg("path"),
        "The format that would read the file (or None), and each format's answer.");
    m.def("read", &Read, py::arg("path"), py::arg("format") = py::none(),
          py::arg("options") = py::none(), py::arg("progress") = py::none(),
          "read(path, format=None, options=None, progress=None) -> Sheet\n\n"
          "Reads one file, or several for formats that merge files, into a Sheet. `path` is a "
          "str, a pathlib.Path, a list of them, or a binary file object (spooled to a "
          "temporary file). `format` names the format (see formats()); without it the "
          "content chooses. `options` is a dict of settings keys, e.g. "
          "{\"Sheets\": \"Data\", \"Delimiter\": \";\"}; a list value becomes a "
          "\";\"-separated list. A key the format does not read gives a UserWarning; a "
          "value that does not parse or a sheet the file lacks raises ValueError. "
          "`progress(cells, total)` is called a few times a second once a read has run a "
          "second (total is 0 when the reader does not know it); a callback of one argument "
          "gets a Progress instead (bytes_read of bytes_total, the sizes of all the files, "
          "where the reader tells them; seconds_left; and str() the command line's progress "
          "line). Raises ReadError (with `filename`, `code` and `format`) when the file "
          "cannot be read; of several files, `filename` is the one that failed.");
    m.def(
        "sheets", &Sheets, py::arg("path"),
        "The names of the sheets (matrices, blocks, variables) the file offers to choose with the "
        "\"Sheets\" (\"DataBlocks\") option; [] for a format without a choice.");
    m.def("convert", &Convert, py::arg("source"), py::arg("target"), py::arg("format") = py::none(),
          py::arg("options") = py::none(),
          "Reads `source` and writes it as `target` with the writer its extension (or "
          "`format`) names.");

    // The pandas conveniences, written in Python over the functions above.
    py::exec(zmpy::kPandasHelpers, m.attr("__dict__"));
}
