// The column store's runs of numbers against the same numbers stored cell by cell.
#include "python/ColumnSheet.h"

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "formats/spectral/GalacticSPCFile.h"
#include "formats/spectral/JCAMPFile.h"
#include "formats/spectral/NetCDFFile.h"
#include "formats/spectral/SpectrumSheet.h"
#include "formats/text/CsvFile.h"
#include "framework/host/FormatChoice.h"
#include "framework/host/ReaderSession.h"

namespace {

const double kNan = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();
const float kInfF = std::numeric_limits<float>::infinity();

// Takes runs of numbers and headings through the per-cell `Set`, as every sink did
// before runs.
class PerCellSink : public zmpy::ColumnSheetSink {
  public:
    void SetNumbersDown(int col, int row, const double* values, size_t count) override {
        ReadSpreadSheetData::SetNumbersDown(col, row, values, count);
    }
    void SetTextsAcross(int col, int row, const char* texts, const uint32_t* lengths,
                        size_t count) override {
        ReadSpreadSheetData::SetTextsAcross(col, row, texts, lengths, count);
    }
    void SetHeadingsAcross(int col, int row, const char* prefix, const float* x,
                           size_t count) override {
        ReadSpreadSheetData::SetHeadingsAcross(col, row, prefix, x, count);
    }
};

void ExpectSameSheet(const zmpy::ColumnSheet& bulk, const zmpy::ColumnSheet& cells,
                     const std::string& what) {
    SCOPED_TRACE(what);
    ASSERT_EQ(bulk.Columns(), cells.Columns());
    ASSERT_EQ(bulk.Rows(), cells.Rows());
    EXPECT_EQ(bulk.LastRowSet(), cells.LastRowSet());
    EXPECT_EQ(bulk.DroppedCells(), cells.DroppedCells());
    const int rows = cells.Rows() + 1;
    std::vector<double> a(rows), b(rows);
    for (int col = 1; col <= cells.Columns() + 1; ++col) {
        for (int row = 1; row <= rows; ++row) {
            const auto kind = cells.KindAt(col, row);
            ASSERT_EQ(bulk.KindAt(col, row), kind) << "col " << col << " row " << row;
            if (kind == zmpy::ColumnSheet::Kind::kNumber) {
                ASSERT_EQ(std::bit_cast<uint64_t>(bulk.NumberAt(col, row)),
                          std::bit_cast<uint64_t>(cells.NumberAt(col, row)))
                    << "col " << col << " row " << row;
            } else if (kind == zmpy::ColumnSheet::Kind::kText) {
                ASSERT_EQ(bulk.TextAt(col, row), cells.TextAt(col, row));
                ASSERT_EQ(bulk.TextOfIndex(bulk.TextIndexAt(col, row)), cells.TextAt(col, row));
            }
        }
        for (int first = 1; first <= 3; ++first)
            ASSERT_EQ(bulk.NumbersOnlyFrom(col, first), cells.NumbersOnlyFrom(col, first)) << col;
        bulk.CopyNumbers(col, 1, rows, a.data());
        cells.CopyNumbers(col, 1, rows, b.data());
        for (int i = 0; i < rows; ++i)
            ASSERT_EQ(std::bit_cast<uint64_t>(a[i]), std::bit_cast<uint64_t>(b[i]));
    }
}

// Applies the same cells and runs to a bulk and a per-cell sheet.
struct Pair {
    zmpy::ColumnSheetSink bulk;
    PerCellSink cells;
    void Size(int cols, int rows) {
        bulk.SetDataSize(cols, rows);
        cells.SetDataSize(cols, rows);
    }
    void Text(int col, int row, const char* text) {
        bulk.Set(col, row, text);
        cells.Set(col, row, text);
    }
    void Number(int col, int row, double value) {
        bulk.Set(col, row, value);
        cells.Set(col, row, value);
    }
    void Down(int col, int row, const std::vector<double>& values) {
        bulk.SetNumbersDown(col, row, values.data(), values.size());
        cells.SetNumbersDown(col, row, values.data(), values.size());
    }
    void Headings(int col, int row, const char* prefix, const std::vector<float>& x) {
        bulk.SetHeadingsAcross(col, row, prefix, x.data(), x.size());
        cells.SetHeadingsAcross(col, row, prefix, x.data(), x.size());
    }
};

TEST(ColumnSheetRuns, SameCellsAsPerCellStores) {
    Pair p;
    p.Size(3, 6);
    p.Text(1, 1, "heading");
    p.Down(1, 2, {1.5, kNan, -0.0, 4.9e-324, 1e308, -kInf, 2.0});
    // Into a column that does not exist yet, starting below its first row.
    p.Down(3, 4, {kNan, 7.0, kInf});
    // Over cells held already: text and numbers stay where the run is not finite.
    p.Text(2, 2, "label");
    p.Number(2, 3, 9.0);
    p.Number(2, 5, kNan);
    p.Down(2, 1, {kNan, kNan, kInf, 4.0});
    p.Down(2, 3, {kNan, kNan, kNan, kNan, 5.0, 6.0, 7.0, 8.0, 9.0, 10.0});
    // Runs with nothing finite, or nothing at all, change nothing.
    p.Down(5, 1, {kNan, -kInf});
    p.Down(6, 3, {});
    ExpectSameSheet(p.bulk.Sheet(), p.cells.Sheet(), "mixed runs");
    EXPECT_EQ(p.bulk.Sheet().Columns(), 3);
    EXPECT_EQ(p.bulk.Sheet().Rows(), 12);
    EXPECT_EQ(p.bulk.Sheet().TextAt(2, 2), "label");
    EXPECT_TRUE(std::isnan(p.bulk.Sheet().NumberAt(2, 5)));
}

// A spectrum's row goes to the sink in runs of finite values, each other value on its own
// (a NaN not at all when skipped), as if written value by value.
TEST(ColumnSheetRuns, SpectrumRowsAsWrittenValueByValue) {
    std::vector<float> y(70);
    for (size_t i = 0; i < y.size(); ++i)
        y[i] = 0.25f * static_cast<float>(i) - 3.1f;
    y[20] = kInfF;
    y[37] = std::numeric_limits<float>::quiet_NaN();
    y[69] = -kInfF;
    for (const bool skipNaN : {false, true}) {
        Pair p;
        p.Size(72, 2);
        zm::WriteNumbersAcross(&p.bulk, 2, 2, y.data(), y.size(), skipNaN);
        for (size_t i = 0; i < y.size(); ++i) {
            if (!(skipNaN && std::isnan(y[i])))
                p.cells.Set(2 + static_cast<int>(i), 2, y[i]);
        }
        ExpectSameSheet(p.bulk.Sheet(), p.cells.Sheet(), skipNaN ? "NaN skipped" : "NaN kept");
        EXPECT_EQ(p.bulk.Sheet().KindAt(39, 2),
                  skipNaN ? zmpy::ColumnSheet::Kind::kMissing : zmpy::ColumnSheet::Kind::kNumber);
    }
}

// Headings kept as their x give the texts written cell by cell, in the grid and after a
// cell outside it moves the cells into columns.
TEST(ColumnSheetRuns, HeadingsReadAsTheTextsWrittenCellByCell) {
    const std::vector<float> x = {350.5f, 1e-5f, -2.5e7f, 0.1f, kInfF, 123456789.0f};
    for (const bool spill : {false, true}) {
        Pair p;
        p.Size(9, 2);
        p.Text(1, 1, "Name");
        p.Headings(2, 1, "t ", x);
        p.Headings(8, 1, "x=", {7.0f});
        p.Number(4, 2, 2.0);
        if (spill)
            p.Number(12, 3, 1.0);
        ExpectSameSheet(p.bulk.Sheet(), p.cells.Sheet(), spill ? "moved" : "in the grid");
        EXPECT_EQ(p.bulk.Sheet().TextAt(2, 1), "t 350.5");
        EXPECT_EQ(p.bulk.Sheet().TextAt(8, 1), "x=7");
        EXPECT_TRUE(p.bulk.Sheet().NumbersOnlyFrom(4, 2));
        EXPECT_FALSE(p.bulk.Sheet().NumbersOnlyFrom(4, 1));
    }
}

TEST(ColumnSheetRuns, RunBeyondTheAllowanceDropsWhatCellsWouldDrop) {
    Pair p;
    const int far = static_cast<int>(zmpy::ColumnSheet::kFreeSlots) + 1000;
    p.Down(1, far, {1.0, 2.0, 3.0});
    p.Down(0, 1, {1.0});
    p.Down(zmpy::ColumnSheet::kMaxColumns + 1, 1, {1.0, 2.0});
    p.Down(2, std::numeric_limits<int>::max() - 1, {1.0, 2.0});
    p.Down(3, 1, {4.0, 5.0});
    ExpectSameSheet(p.bulk.Sheet(), p.cells.Sheet(), "outside the sheet");
    EXPECT_EQ(p.bulk.Sheet().DroppedCells(), 8);
    EXPECT_EQ(p.bulk.Sheet().NumberAt(3, 2), 5.0);
}

// Takes the announced size only once the read is done, so that the sheet keeps every
// column in an array of its own instead of the announced block.
class ColumnsSink : public PerCellSink {
  public:
    void SetDataSize(int cols, int rows) override { announced = {cols, rows}; }
    void Finish() { PerCellSink::SetDataSize(announced.first, announced.second); }

  private:
    std::pair<int, int> announced;
};

// Every file of the fixtures and the corpus whose readers deliver numeric blocks, wide
// rows or row-by-row text gives the same cells in the block, in runs, as in columns of
// their own, cell by cell.
TEST(ColumnSheetRuns, FilesGiveTheSameSheetInBlocksAsInColumns) {
    int read = 0;
    for (const char* root : {ZM_TEST_DATA, ZM_CORPUS}) {
        for (const char* family :
             {"mat", "netcdf", "csv", "spc", "xlsx", "jcamp", "opus", "chemstation"}) {
            const std::filesystem::path dir = std::filesystem::path(root) / family;
            if (!std::filesystem::is_directory(dir))
                continue;
            for (const auto& entry : std::filesystem::directory_iterator(dir)) {
                const std::vector<std::string> files = {entry.path().string()};
                const int format = zmhost::ChooseFormat(files);
                if (!entry.is_regular_file() || format <= 0)
                    continue;
                zmpy::ColumnSheetSink bulk;
                ColumnsSink cells;
                const zmhost::ReadOutcome a = zmhost::ReadIntoSink(format, files, nullptr, bulk);
                const zmhost::ReadOutcome b = zmhost::ReadIntoSink(format, files, nullptr, cells);
                cells.Finish();
                ASSERT_EQ(a.ok, b.ok) << files[0];
                ExpectSameSheet(bulk.Sheet(), cells.Sheet(), files[0]);
                read += a.ok && bulk.Sheet().Columns() > 0;
            }
        }
    }
    EXPECT_GE(read, 20);
}

// Every CSV file of the fixtures and the corpus, read by the CSV reader itself, gives the
// same typed cells a row at a time as text by text.
TEST(ColumnSheetRuns, CsvRowsGiveTheCellsOfTheirTextsOneByOne) {
    int read = 0;
    for (const char* root : {ZM_TEST_DATA, ZM_CORPUS}) {
        const std::filesystem::path dir = std::filesystem::path(root) / "csv";
        for (const auto& entry : std::filesystem::directory_iterator(dir)) {
            Pair p;
            p.bulk.TypeTexts(true);
            p.cells.TypeTexts(true);
            for (ReadSpreadSheetData* sink : {static_cast<ReadSpreadSheetData*>(&p.bulk),
                                              static_cast<ReadSpreadSheetData*>(&p.cells)}) {
                CsvFile reader;
                ASSERT_EQ(reader.Open(true, entry.path().c_str(), nullptr), 0);
                ASSERT_EQ(reader.Read(sink), 0) << entry.path();
            }
            ExpectSameSheet(p.bulk.Sheet(), p.cells.Sheet(), entry.path());
            read += p.bulk.Sheet().Rows() > p.bulk.Sheet().Columns();
        }
    }
    EXPECT_GE(read, 10);
}

// Reads a file with the reader itself, not through the C interface, so that the sink
// takes the reader's runs and headings as they are made.
template <typename Reader>
bool ReadDirect(const std::string& path, zmpy::ColumnSheetSink& sink, bool announce) {
    Reader reader;
    if (reader.Open(true, path.c_str(), nullptr) != 0)
        return false;
    const int rows = reader.GetNumRows(), cols = reader.GetNumCols();
    if (rows <= 0 || cols <= 0)
        return false;
    if (announce)
        sink.SetDataSize(cols, rows);
    const bool ok = reader.Read(&sink) == 0;
    if (!announce)
        sink.SetDataSize(cols, rows);
    return ok;
}

// The spectral fixtures' "t" headings kept as numbers read as the texts written cell by
// cell into columns of their own.
TEST(ColumnSheetRuns, SpectraKeepTheirHeadingsAsTheTextsWrittenCellByCell) {
    int compared = 0;
    const auto compare = [&](auto read, const char* family) {
        const std::filesystem::path dir = std::filesystem::path(ZM_TEST_DATA) / family;
        for (const auto& entry : std::filesystem::directory_iterator(dir)) {
            const std::string path = entry.path().string();
            zmpy::ColumnSheetSink bulk;
            PerCellSink cells;
            if (!read(path, bulk, true) || !read(path, cells, false))
                continue;
            ExpectSameSheet(bulk.Sheet(), cells.Sheet(), path);
            compared += bulk.Sheet().TextAt(3, 1).starts_with("t ");
        }
    };
    compare(ReadDirect<NetCDFFile>, "netcdf");
    compare(ReadDirect<JCAMPFile>, "jcamp");
    compare(ReadDirect<GalacticSPCFile>, "spc");
    EXPECT_GE(compared, 5);
}

// A float's value in Python is its shortest text read as a double. Floats of a sweep
// over all exponents and many mantissas, of a run of consecutive floats, of an axis in
// steps of 0.01 (short texts), and those around every power of ten and of two (where
// the digits, the interval or the text's form change) read as the text does.
TEST(ColumnSheetFloats, WidenedIsTheShortestTextReadBack) {
    std::vector<float> floats;
    uint32_t bits = 0;
    for (long long i = 0; i < 1'400'000; ++i) {
        if (i < 256)
            bits = static_cast<uint32_t>(i) << 23;
        else if (i < 1'000'000)
            bits = bits * 2654435761u + 12345u;
        else if (i < 1'200'000)
            bits = std::bit_cast<uint32_t>(1000.0f) + static_cast<uint32_t>(i);
        else
            bits = std::bit_cast<uint32_t>(0.5f + 0.01f * static_cast<float>(i - 1'200'000));
        floats.push_back(std::bit_cast<float>(bits));
    }
    for (int e = -45; e <= 38; ++e) {
        const uint32_t ten =
            std::bit_cast<uint32_t>(std::strtof(("1e" + std::to_string(e)).c_str(), nullptr));
        const uint32_t two = std::bit_cast<uint32_t>(std::ldexp(1.0f, e * 3));
        for (uint32_t d = 0; d < 128; ++d)
            floats.insert(floats.end(), {std::bit_cast<float>(ten + d - 64),
                                         std::bit_cast<float>(two + d % 8 - 4)});
    }
    // A run is widened as its floats one by one, the odd lengths and the lanes left to the
    // one-by-one route included.
    std::vector<double> run(floats.size());
    zmpy::WidenFloats(floats.data(), floats.size() - 3, run.data());
    for (size_t i = 0; i + 3 < floats.size(); ++i) {
        const float value = floats[i];
        if (!std::isfinite(value)) {
            ASSERT_EQ(std::bit_cast<uint64_t>(run[i]),
                      std::bit_cast<uint64_t>(static_cast<double>(value)));
            continue;
        }
        char text[32];
        const auto end = std::to_chars(text, text + sizeof text, value).ptr;
        double expected = 0;
        std::from_chars(text, end, expected);
        ASSERT_EQ(std::bit_cast<uint64_t>(zmpy::Widened(value)), std::bit_cast<uint64_t>(expected))
            << std::string(text, end);
        ASSERT_EQ(std::bit_cast<uint64_t>(run[i]), std::bit_cast<uint64_t>(expected))
            << std::string(text, end);
    }
    // Every 509th float of all 2^32, a run at a time, as one by one.
    std::vector<float> sweep(1 << 16);
    for (uint64_t first = 0; first < (uint64_t{1} << 32); first += sweep.size() * 509) {
        for (size_t i = 0; i < sweep.size(); ++i)
            sweep[i] = std::bit_cast<float>(static_cast<uint32_t>(first + i * 509));
        run.resize(sweep.size());
        zmpy::WidenFloats(sweep.data(), sweep.size(), run.data());
        for (size_t i = 0; i < sweep.size(); ++i) {
            const double one = zmpy::Widened(sweep[i]);
            ASSERT_TRUE(std::bit_cast<uint64_t>(run[i]) == std::bit_cast<uint64_t>(one) ||
                        (std::isnan(one) && std::isnan(run[i])))
                << std::bit_cast<uint32_t>(sweep[i]);
        }
    }
}

}  // namespace
