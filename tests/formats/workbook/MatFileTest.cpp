// The MAT reader and writer: scipy-written fixtures, and hand-built headers and elements
// for the layouts, limits and refusals.
#include "formats/workbook/MatFile.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <zlib.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/BoundedTest.h"
#include "tests/support/Bytes.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Absent;
using zmtest::At;

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

std::string Fixture(const std::string& name) {
    return std::string(ZM_TEST_DATA) + "/mat/" + name;
}

// The fixtures' rule: 10 * row + column + 0.5, both counted from 0.
double Rule(int r, int c) {
    return 10.0 * r + c + 0.5;
}

std::string Temp(const std::string& name, const std::string& bytes) {
    const fs::path path =
        fs::temp_directory_path() / ("zm-mat-" + std::to_string(::getpid()) + name);
    std::ofstream(path, std::ios::binary) << bytes;
    return path.string();
}

using zmtest::F64;
using zmtest::Slurp;
using zmtest::U32;

// A Level 4 matrix: header, name and values (as doubles unless `data` is given).
std::string Level4(uint32_t type, int rows, int cols, const std::string& name,
                   const std::vector<double>& values, bool big = false) {
    std::string s = U32(type, big) + U32(rows, big) + U32(cols, big) + U32(0, big) +
                    U32(static_cast<uint32_t>(name.size() + 1), big) + name + '\0';
    for (double v : values)
        s += F64(v, big);
    return s;
}

// Level 5 pieces, little-endian.
std::string Element(uint32_t type, const std::string& data) {
    std::string s = U32(type) + U32(static_cast<uint32_t>(data.size())) + data;
    s.append((8 - data.size() % 8) % 8, '\0');
    return s;
}

std::string Header5(const std::string& text = "MATLAB 5.0 MAT-file, hand-built") {
    std::string h = text;
    h.resize(116, ' ');
    return h + std::string(8, '\0') + std::string("\x00\x01IM", 4);
}

// A miMATRIX of class `cls` with the given dimensions and data elements.
std::string Array(int cls, const std::vector<int>& dims, const std::string& name,
                  const std::string& data, uint32_t flags = 0) {
    std::string d;
    for (int v : dims)
        d += U32(static_cast<uint32_t>(v));
    const std::string body = Element(6, U32(static_cast<uint32_t>(cls) | flags) + U32(0)) +
                             Element(5, d) + Element(1, name) + data;
    return Element(14, body);
}

// A double array of the fixtures' rule, values in column-major order.
std::string RuleArray(const std::string& name, int rows, int cols) {
    std::string values;
    for (int c = 0; c < cols; ++c)
        for (int r = 0; r < rows; ++r)
            values += F64(10.0 * r + c + 0.5);
    return Array(6, {rows, cols}, name, Element(9, values));
}

// A character array, one text per row padded with blanks, stored as UTF-8.
std::string TextArray(const std::string& name, const std::vector<std::string>& texts) {
    size_t width = 0;
    for (const std::string& t : texts)
        width = std::max(width, t.size());
    std::string chars;
    for (size_t j = 0; j < width; ++j)
        for (const std::string& t : texts)
            chars += j < t.size() ? t[j] : ' ';
    return Array(4, {static_cast<int>(texts.size()), static_cast<int>(width)}, name,
                 Element(16, chars));
}

std::string Compress(const std::string& bytes) {
    uLongf size = compressBound(bytes.size());
    std::string out(size, '\0');
    compress(reinterpret_cast<Bytef*>(out.data()), &size,
             reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
    out.resize(size);
    return out;
}

struct Outcome {
    int status;
    std::string message;
    zmtest::RecordingSink sink;
};

Outcome ReadFile(const std::string& path, ZmImportOpenOptions* options = nullptr) {
    MatFile reader;
    Outcome out;
    out.status = zmtest::ReadAll(reader, path, out.sink, options);
    out.message = zmtest::Message(reader);
    return out;
}

Outcome ReadBytes(const std::string& bytes) {
    return ReadFile(Temp("in.mat", bytes));
}

// The sheet as one line per row, cells joined by '|': texts as they are, numbers in %g,
// empty cells empty. Cells outside the announced size fail the test.
std::vector<std::string> Sheet(const zmtest::RecordingSink& sink) {
    std::vector<std::vector<std::string>> grid(static_cast<size_t>(sink.rows),
                                               std::vector<std::string>(sink.cols));
    for (const auto& [key, cell] : sink.cells) {
        const auto [row, col] = key;
        EXPECT_TRUE(row >= 1 && row <= sink.rows && col >= 1 && col <= sink.cols)
            << row << "," << col;
        if (row < 1 || row > sink.rows || col < 1 || col > sink.cols)
            continue;
        char number[32];
        std::snprintf(number, sizeof number, "%g", cell.number);
        grid[row - 1][col - 1] = cell.kind == zmtest::Cell::kText ? cell.text : number;
    }
    std::vector<std::string> lines;
    for (const auto& row : grid) {
        std::string line;
        for (size_t c = 0; c < row.size(); ++c)
            line += (c > 0 ? "|" : "") + row[c];
        lines.push_back(line);
    }
    return lines;
}

// The sheet read from a file, or the status and its text when the read fails.
Lines SheetOfFile(const std::string& path) {
    const Outcome out = ReadFile(path);
    return out.status == 0 ? Sheet(out.sink)
                           : Lines{std::to_string(out.status) + " " + out.message};
}
Lines SheetOf(const std::string& bytes) {
    return SheetOfFile(Temp("in.mat", bytes));
}

TEST(MatFileFixtures, Level4LayoutsPlaceNamesAndIds) {
    EXPECT_EQ(SheetOfFile(Fixture("level4_doubles.mat")),
              (Lines{"0.5|1.5|2.5|3.5", "10.5|11.5|12.5|13.5", "20.5|21.5|22.5|23.5"}));

    // OBSNUM/OBSNAM/VARNUM/VARNAM before the data: observation names, then numbers, as
    // columns left of it; variable names, then numbers, as rows above it.
    const Lines roles = SheetOfFile(Fixture("level4_roles.mat"));
    EXPECT_EQ(roles, (Lines{"||alpha|beta", "||1|2", "first|1|0.5|1.5", "second|2|10.5|11.5",
                            "third|3|20.5|21.5"}));
    // The data first, the names after it in another order: the same sheet.
    EXPECT_EQ(SheetOfFile(Fixture("level4_roles_after.mat")), roles);

    // OBSID1 as the first column (texts), VARID1 as the first row (numbers).
    Outcome ids = ReadFile(Fixture("level4_ids.mat"));
    ASSERT_EQ(ids.status, 0) << ids.message;
    EXPECT_EQ(ids.sink.cols, 4);
    EXPECT_EQ(ids.sink.rows, 3);
    zmtest::ExpectCells(ids.sink,
                        {At(1, 3, "s22"), At(4, 1, 600), At(4, 3, Rule(1, 2)), Absent(1, 1)});
}

TEST(MatFileFixtures, Level4ChoosesOneOfSeveralMatrices) {
    MatFile reader;
    zmtest::RecordingSink first;
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("level4_two.mat"), first), 0);
    std::vector<std::string> names;
    reader.GetMatrixList(names);
    EXPECT_EQ(names, (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(first.cols, 2);  // without options: the first

    ASSERT_TRUE(reader.SetCurMatrix(1));
    EXPECT_FALSE(reader.SetCurMatrix(2));
    EXPECT_EQ(reader.GetNumCols(), 3);
    EXPECT_EQ(reader.GetNumRows(), 1);
    zmtest::RecordingSink second;
    ASSERT_EQ(reader.Read(&second), 0);
    EXPECT_EQ(second.Number(3, 1), Rule(0, 2));
}

TEST(MatFileFixtures, Level5PlainCompressedAndManyDimensions) {
    Outcome plain = ReadFile(Fixture("level5.mat"));
    Outcome packed = ReadFile(Fixture("level5_compressed.mat"));
    ASSERT_EQ(plain.status, 0) << plain.message;
    ASSERT_EQ(packed.status, 0) << packed.message;
    EXPECT_EQ(plain.sink.Dump(), packed.sink.Dump());
    // d (2 columns), i16, u8 (2 each), flag, label side by side: int16 drops the .5, one
    // text per row without its blanks.
    EXPECT_EQ(plain.sink.cols, 8);
    EXPECT_EQ(plain.sink.rows, 3);
    zmtest::ExpectCells(plain.sink, {At(2, 3, Rule(2, 1)), At(4, 3, 21), At(6, 2, 11), At(7, 2, 1),
                                     At(8, 3, "zzz")});

    // A 2 x 3 x 2 array is its first dimension by the rest, in the file's order.
    Outcome cube = ReadFile(Fixture("level5_3d.mat"));
    ASSERT_EQ(cube.status, 0) << cube.message;
    EXPECT_EQ(cube.sink.cols, 6);
    EXPECT_EQ(cube.sink.Number(6, 2), Rule(1, 5));

    // Characters beyond Latin-1 come through as UTF-8.
    Outcome text = ReadFile(Fixture("level5_unicode.mat"));
    ASSERT_EQ(text.status, 0) << text.message;
    EXPECT_EQ(text.sink.Text(1, 1), "\xC3\xA9t\xC3\xA9 \xE6\x97\xA5");
}

TEST(MatFileFixtures, Level5OffersItsDataMatricesWithTheNamesThatFitThem) {
    // VARNAM, OBSNAM, X (2 x 2), Y (2 x 1): without a choice both data matrices are read,
    // with the names of both around them.
    MatFile reader;
    zmtest::OptionsRecord empty;
    zmtest::RecordingSink all;
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("level5_names.mat"), all, &empty.options), 0);
    EXPECT_EQ(Sheet(all), (Lines{"|v1|v2|v3", "o1|0.5|1.5|0.5", "o2|10.5|11.5|10.5"}));
    ReadChoices choices;
    ASSERT_TRUE(reader.GetReadChoices(choices));
    EXPECT_EQ(choices.available, (std::vector<std::string>{"X", "Y"}));
    EXPECT_EQ(choices.chosen, choices.available);
    EXPECT_TRUE(choices.sideBySide);
    EXPECT_EQ(choices.labels, "rows labelled by OBSNAM, columns labelled by VARNAM");
    EXPECT_TRUE(choices.passedOver.empty());
    reader.Close();

    // Chosen: in the order named; the three variable names fit X and Y together only.
    const auto chosen = [](const char* sheets) {
        zm::SettingsDocument document;
        document.SetString("Settings", "Sheets", sheets);
        zmtest::OptionsRecord record(document);
        return Sheet(ReadFile(Fixture("level5_names.mat"), &record.options).sink);
    };
    EXPECT_EQ(chosen("Y;X"), (Lines{"|v1|v2|v3", "o1|0.5|0.5|1.5", "o2|10.5|10.5|11.5"}));
    EXPECT_EQ(chosen("Y"), (Lines{"o1|0.5", "o2|10.5"}));
    // The record written back by the read without a choice reads the same sheet.
    EXPECT_EQ(Sheet(ReadFile(Fixture("level5_names.mat"), &empty.options).sink), Sheet(all));

    // One data matrix offers no choice, unless arrays beside it were passed over.
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("level5_unicode.mat"), all), 0);
    EXPECT_FALSE(reader.GetReadChoices(choices));
    reader.Close();
    zmtest::RecordingSink beside;
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("level5_passed_over.mat"), beside), 0);
    EXPECT_EQ(Sheet(beside), (Lines{"0.5|1.5", "10.5|11.5"}));
    ASSERT_TRUE(reader.GetReadChoices(choices));
    EXPECT_EQ(choices.available, (std::vector<std::string>{"X"}));
    EXPECT_EQ(choices.passedOver, (std::vector<std::pair<std::string, std::string>>{
                                      {"s", "structure"}, {"c", "cell array"}}));
}

TEST(MatFileLevel4, ByteOrderTextSparseAndMatrixCount) {
    // Big-endian, type 1000: values swapped.
    Outcome big = ReadBytes(Level4(1000, 1, 2, "b", {1.25, -3}, true));
    ASSERT_EQ(big.status, 0) << big.message;
    EXPECT_EQ(big.sink.Number(2, 1), -3);

    // A text matrix: character codes, column by column; one text per row.
    Outcome text = ReadBytes(Level4(1, 2, 3, "t", {'a', 'd', 'b', 'e', 'c', ' '}));
    ASSERT_EQ(text.status, 0) << text.message;
    EXPECT_EQ(zmtest::ToGrid(text.sink), (zmtest::Grid{{"abc"}, {"de"}}));

    // Sparse: (row, column, value) triples, the last row giving the size 3 x 4; stored
    // out of column order. The zeros between the stored values are 0.
    EXPECT_EQ(SheetOf(Level4(2, 3, 3, "s", {3, 1, 3, 4, 2, 4, -1, 5.5, 0})),
              (Lines{"0|5.5|0|0", "0|0|0|0", "0|0|0|-1"}));

    // At most 20 matrices are listed.
    std::string many;
    for (int i = 0; i < 21; ++i)
        many += Level4(0, 1, 1, "m" + std::to_string(i), {double(i)});
    MatFile reader;
    ASSERT_EQ(reader.Open(true, Temp("many.mat", many).c_str(), nullptr), 0);
    EXPECT_EQ(reader.GetNumberOfMatrices(), MatFile::kMaxMatrices);
}

// Hand-built files the reader refuses, with their status and text where given (0, "": any).
TEST(MatFileRefusals, HeadersElementsAndNamesThatDoNotFit) {
    std::string complex = Level4(0, 1, 1, "c", {1, 2});
    complex[12] = 1;  // imagf
    const std::string one = Level4(0, 1, 1, "a", {1});
    const std::string whole = Level4(0, 2, 2, "m", {1, 2, 3, 4});
    // Single precision counts as 8 bytes a value in the header walk.
    const std::string single = Level4(10, 1, 2, "s", {}) + std::string("\0\0\x80\x3F\0\0\0\x40", 8);
    const std::string h = Header5(), x = RuleArray("X", 2, 2);
    const std::string sparseText =
        Element(5, U32(0)) + Element(5, U32(0) + U32(1)) + Element(17, std::string("a\0", 2));
    std::string unmarked = Header5();
    unmarked[126] = 'X';
    const char* tooLarge =
        "A sparse matrix is too large to be read: its zeros would fill far more cells than the "
        "file holds.";
    const struct {
        std::string bytes;
        int status;
        const char* message;
    } cases[] = {
        {Level4(1053, 1, 1, "b", {1}, true), MatFile::kNotMatFile, ""},
        // P = 6 and T = 3 in a second header (a first one would read as big-endian).
        {one + Level4(60, 1, 1, "p", {1}), MatFile::kBadHeader, ""},
        {one + Level4(3, 1, 1, "t", {1}), MatFile::kBadHeader, ""},
        {single, MatFile::kBadMatrix, ""},
        // Cut inside the data; a header cut short after a whole matrix.
        {whole.substr(0, whole.size() - 1), MatFile::kBadMatrix, ""},
        {whole + whole.substr(0, 7), MatFile::kBadHeader, ""},
        {complex, MatFile::kComplexData, "Complex data."},
        {h + Array(6, {1, 1}, "c", Element(9, F64(1)) + Element(9, F64(2)), 0x0800), 0,
         "Can not handle imaginary data."},
        {h + Array(5, {2, 2, 2}, "s", Element(5, U32(0))), 0,
         "A sparse matrix can not have more than two dimensions."},
        {h + Array(5, {1, 1}, "t", sparseText), 0, "Text matrices can not be sparse."},
        {h + Array(2, {1, 1}, "s", Element(14, "")), 0, "No data found. Not read: s (structure)."},
        // An object of the class system names itself right after its flags; a name not
        // where it belongs leaves the kind alone.
        {h + Element(14, Element(6, U32(17) + U32(0)) + Element(1, "str") + Element(1, "MCOS")) +
             Array(17, {1, 1}, "x", ""),
         0, "No data found. Not read: str (object), object."},
        {h, 0, "No data found."},
        {h + Array(6, {1, 1}, "q", Element(18, "abcd")), MatFile::kUnknownType, ""},
        // A character array in UTF-32 cannot be interpreted.
        {h + Array(4, {1, 1}, "w", Element(18, std::string("h\0\0\0", 4))), MatFile::kUnknownType,
         "The file contains data of a type that cannot be interpreted."},
        // Three observation names for two rows; three variable names for two columns; a
        // data matrix of another height than the names; names without data.
        {h + x + TextArray("OBSNAM", {"a", "b", "c"}), MatFile::kBadMatrix, ""},
        {h + x + TextArray("VARNAM", {"a", "b", "c"}), MatFile::kBadMatrix, ""},
        {h + x + RuleArray("Y", 3, 1) + TextArray("OBSNAM", {"a", "b"}), MatFile::kBadMatrix, ""},
        {h + TextArray("OBSNAM", {"a"}) + TextArray("VARNAM", {"b"}), 0, "No data found."},
        {Header5("MATLAB 7.3 MAT-file, Platform: GLNXA64") + std::string(512, '\0'),
         MatFile::kUnsupportedVersion,
         "The file seems to be created by an unsupported version of MATLAB. Only MATLAB files "
         "version 4.x and 5 are supported."},
        {unmarked, MatFile::kNotMatFile, ""},
        {Header5().substr(0, 126) + "MM", MatFile::kNotMatFile, ""},
        // Claims beyond the file: 2^31 - 1 rows and columns of doubles in 30 bytes, an
        // element claiming more bytes than follow, sparse matrices of 2e9 x 2e9 (one value
        // stored) and 2e9 x 1 (none).
        {Level4(0, 0x7FFFFFFF, 0x7FFFFFFF, "h", {}), MatFile::kBadMatrix, ""},
        {h + U32(14) + U32(0x7FFFFFF0) + std::string(64, '\0'), MatFile::kBadMatrix, ""},
        {Level4(2, 2, 3, "s", {1, 2e9, 1, 2e9, 5, 0}), MatFile::kUnknownType, tooLarge},
        {h + Array(5, {2000000000, 1}, "s",
                   Element(5, "") + Element(5, U32(0) + U32(0)) + Element(9, "")),
         MatFile::kUnknownType, tooLarge},
    };
    for (const auto& c : cases) {
        const Outcome out = ReadBytes(c.bytes);
        EXPECT_TRUE(c.status == 0 ? out.status != 0 : out.status == c.status)
            << out.status << " " << out.message;
        EXPECT_EQ(*c.message == '\0' ? "" : out.message, c.message);
    }
    EXPECT_EQ(ReadFile("/nonexistent/file.mat").status, MatFile::kOpenFailed);
}

// A sink that only counts what it is given, so that a child's memory is the reader's.
class CountingSink : public ReadSpreadSheetData {
  public:
    long long cells = 0;
    void Set(int, int, const char*) override { ++cells; }
    void Set(int, int, float) override { ++cells; }
    void SetDataSize(int c, int r) override { cols = c, rows = r; }
    int GetNumberOfColumns() override { return cols; }
    int GetNumberOfRows() override { return rows; }

  private:
    int cols = 0, rows = 0;
};

// Reads `path` in a bounded child with 60 s of processor time (a read that loops is
// stopped there and fails), expecting `status` (-1: any refusal) and the peak resident
// memory to rise by less than `budgetKb`. Returns the cells the read gave.
long long ExpectBoundedRead(const std::string& path, long long status, long long budgetKb) {
    const zmtest::Outcome run = zmtest::RunBounded({60}, [&](int&) {
        MatFile reader;
        CountingSink sink;
        if (reader.Open(true, path.c_str(), nullptr) == 0 && reader.GetNumRows() >= 0 &&
            reader.GetNumCols() >= 0)
            reader.Read(&sink);
        return std::to_string(reader.GetStatus()) + " " + std::to_string(sink.cells);
    });
    long long got = 0, cells = 0;
    EXPECT_TRUE(run.exited && run.code == 0 &&
                std::sscanf(run.said.c_str(), "%lld %lld", &got, &cells) == 2)
        << path << ": " << run.Describe();
    EXPECT_TRUE(status < 0 ? got != 0 : got == status) << path << ": " << got;
    EXPECT_LT(run.GrowthKb(), budgetKb) << path;
    return cells;
}

// The memory a read may take: 64 MB and 16 bytes a byte of input, a compressed byte
// counted as the 100 bytes it may inflate to.
long long BudgetKb(size_t stored, size_t compressed = 0) {
    return (64LL << 20) / 1024 + 16 * static_cast<long long>(stored + 100 * compressed) / 1024;
}

// `n` bytes of `fill` deflated without holding them.
std::string Deflated(const std::string& before, size_t n, char fill, const std::string& after) {
    z_stream z{};
    deflateInit(&z, Z_BEST_COMPRESSION);
    std::string out;
    const std::string chunk(1 << 16, fill);
    char buffer[1 << 16];
    auto pump = [&](const std::string& in, int flush) {
        z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
        z.avail_in = static_cast<uInt>(in.size());
        do {
            z.next_out = reinterpret_cast<Bytef*>(buffer);
            z.avail_out = sizeof buffer;
            deflate(&z, flush);
            out.append(buffer, sizeof buffer - z.avail_out);
        } while (z.avail_out == 0 || z.avail_in > 0);
    };
    pump(before, Z_NO_FLUSH);
    for (; n >= chunk.size(); n -= chunk.size())
        pump(chunk, Z_NO_FLUSH);
    pump(chunk.substr(0, n), Z_NO_FLUSH);
    pump(after, Z_FINISH);
    deflateEnd(&z);
    return out;
}

TEST(MatFileHostile, ClaimsBeyondTheFileAreRefusedAtOnce) {
    // A zlib bomb: a few compressed bytes whose array claims 4 GB.
    const std::string header = Header5();
    const std::string inner = U32(14) + U32(0xFFFFFFF0) + std::string(4096, '\0');
    const std::string bomb = Temp("bomb.mat", header + Element(15, Compress(inner)));
    ExpectBoundedRead(bomb, MatFile::kCorrupt, BudgetKb(fs::file_size(bomb)));
    // A claim within reach that the stream does not keep: cut short, then damaged.
    const std::string array = Array(6, {1000, 1000}, "z", Element(9, std::string(8000000, '\0')));
    const std::string packed = Compress(array);
    EXPECT_EQ(ReadBytes(header + Element(15, packed.substr(0, packed.size() / 2))).status,
              MatFile::kCorrupt);
    std::string damaged = packed;
    damaged[damaged.size() / 2] ^= 0x55;
    const std::string broken = Temp("damaged.mat", header + Element(15, damaged));
    EXPECT_LE(ExpectBoundedRead(broken, -1, BudgetKb(0, fs::file_size(broken))), 1000000);

    // A sparse matrix within proportion to the file: every zero is a cell.
    Outcome fits =
        ReadBytes(header + Array(5, {1000, 2}, "s",
                                 Element(5, U32(999)) + Element(5, U32(0) + U32(0) + U32(1)) +
                                     Element(9, F64(4))));
    ASSERT_EQ(fits.status, 0) << fits.message;
    EXPECT_EQ(fits.sink.cells.size(), 2000u);
    EXPECT_EQ(fits.sink.Number(2, 1000), 4);
    EXPECT_EQ(fits.sink.Number(2, 999), 0);
}

TEST(MatFileHostile, CompressedElementsHoldNoMoreThanTheirBytesAccountFor) {
    const std::string header = Header5();
    // A character array of 24 million blanks as UTF-16, deflated about a thousandfold.
    const uint32_t chars = 24000000;
    const std::string top = U32(14) + U32(48 + 2 * chars);
    const std::string head = U32(6) + U32(8) + U32(4) + U32(0) + U32(5) + U32(8) + U32(1) +
                             U32(chars) + U32(0x00010001) + std::string("t\0\0\0", 4) + U32(4) +
                             U32(2 * chars);
    std::string blanks = Deflated(top + head, 2 * chars, '\0', "");
    const std::string text = Temp("text-bomb.mat", header + Element(15, blanks));
    ExpectBoundedRead(text, MatFile::kUnknownType, BudgetKb(0, fs::file_size(text)));
    const std::string inflates =
        "A compressed matrix inflates to more than the file can account for and cannot be read.";
    EXPECT_EQ(ReadFile(text).message, inflates);

    // A sparse 1 x 8 million whose column starts, 32 MB of zeros, deflate to kilobytes.
    const uint32_t cols = 8000000;
    const std::string sparseHead = U32(6) + U32(8) + U32(5) + U32(0) + U32(5) + U32(8) + U32(1) +
                                   U32(cols) + U32(0x00010001) + std::string("s\0\0\0", 4) +
                                   U32(0x00000005) + U32(0) + U32(5) + U32(4 * (cols + 1));
    const std::string sparseTop =
        U32(14) + U32(static_cast<uint32_t>(sparseHead.size()) + 4 * (cols + 1) + 4 + 8);
    std::string columns = Deflated(sparseTop + sparseHead, 4 * (cols + 1), '\0',
                                   std::string(4, '\0') + U32(9) + U32(0));
    const std::string sparse = Temp("jc-bomb.mat", header + Element(15, columns));
    ExpectBoundedRead(sparse, MatFile::kUnknownType, BudgetKb(0, fs::file_size(sparse)));
    EXPECT_EQ(ReadFile(sparse).message, inflates);
}

TEST(MatFileHostile, AFileCutInsideATagIsReadWithAWarning) {
    const std::string whole = Slurp(std::string(ZM_CORPUS) + "/mat/testmulti_7.4_GLNX86.mat");
    ASSERT_GT(whole.size(), 136u);
    uint32_t first;
    std::memcpy(&first, whole.data() + 132, 4);
    const size_t second = 136 + first;
    ASSERT_LT(second + 8, whole.size());
    MatFile reader;
    zmtest::RecordingSink cut, all;
    ASSERT_EQ(zmtest::ReadAll(reader, Temp("cut.mat", whole.substr(0, second + 4)), cut), 0);
    ASSERT_NE(reader.GetWarningMessage(), nullptr);
    EXPECT_EQ(std::string(reader.GetWarningMessage()),
              "The file ends inside the tag of a data element: the variable stored after the last "
              "one read is missing.");
    reader.Close();
    ASSERT_EQ(zmtest::ReadAll(reader, Temp("whole.mat", whole), all), 0);
    EXPECT_EQ(reader.GetWarningMessage(), nullptr);
    EXPECT_LT(cut.cols, all.cols);
    // Zeros after the last element are padding, not a cut.
    reader.Close();
    ASSERT_EQ(zmtest::ReadAll(reader, Temp("padded.mat", whole + std::string(4, '\0')), all), 0);
    EXPECT_EQ(reader.GetWarningMessage(), nullptr);
}

TEST(MatFileLevel5, StoredTypesTextEncodingsAndValueRules) {
    // Class double stored as miUINT8 and miINT16, as MATLAB writes small integers.
    const std::string header = Header5();
    EXPECT_EQ(SheetOf(header + Array(6, {1, 2}, "a", Element(2, "\x07\xFF")) +
                      Array(6, {1, 2}, "b", Element(3, std::string("\xFE\xFF\x10\x00", 4)))),
              (Lines{"7|255|-2|16"}));

    // Characters as miUINT16 (with a surrogate pair) and as miUTF8: the same text.
    const std::string utf16("h\0\xE9\0\x3D\xD8\x00\xDE", 8);
    Outcome wide = ReadBytes(header + Array(4, {1, 4}, "w", Element(4, utf16)));
    ASSERT_EQ(wide.status, 0) << wide.message;
    EXPECT_EQ(wide.sink.Text(1, 1).substr(0, 3), "h\xC3\xA9");
    EXPECT_EQ(SheetOf(header + Array(4, {1, 3}, "u", Element(16, "h\xC3\xA9\xF0\x9F\x98\x80"))),
              (Lines{"h\xC3\xA9\xF0\x9F\x98\x80"}));
    // A character array stored as bytes gives its codes as numbers; UTF-16 is text in
    // any array.
    EXPECT_EQ(SheetOf(header + Array(4, {1, 2}, "c", Element(2, "hi"))), (Lines{"104|105"}));
    EXPECT_EQ(SheetOf(header + Array(6, {1, 2}, "u", Element(17, std::string("h\0i\0", 4)))),
              (Lines{"hi"}));

    // Not-a-number and infinities leave the cell empty, in both levels.
    const double nan = std::nan(""), inf = HUGE_VAL;
    EXPECT_EQ(SheetOf(Level4(0, 1, 4, "n", {nan, inf, -inf, 2})), (Lines{"|||2"}));
    EXPECT_EQ(SheetOf(header +
                      Array(6, {1, 4}, "n", Element(9, F64(nan) + F64(-inf) + F64(3) + F64(inf)))),
              (Lines{"||3|"}));

    // A matrix of more values than one read block keeps every value in its place where
    // a block ends inside a column; compressed, the header is inflated ahead of the values
    // and the values in large reads: the same cells come out.
    const std::string array = RuleArray("L", 3, 20000);
    for (const std::string& stored : {array, Element(15, Compress(array))}) {
        Outcome large = ReadBytes(header + stored);
        ASSERT_EQ(large.status, 0) << large.message;
        EXPECT_EQ(large.sink.cells.size(), 60000u);
        for (int index : {32767, 32768, 32769, 59999})
            EXPECT_EQ(large.sink.Number(index / 3 + 1, index % 3 + 1), Rule(index % 3, index / 3));
    }

    // Structures, cells and objects are passed over; the arrays around them are read.
    const std::string cell = Array(1, {1, 1}, "cell", Element(14, ""));
    EXPECT_EQ(SheetOf(header + cell + RuleArray("X", 1, 2) + Array(2, {1, 1}, "s", "")),
              (Lines{"0.5|1.5"}));

    // Level 4 complex data opens, says so, and is refused when sized.
    std::string complex = Level4(0, 1, 1, "c", {1, 2});
    complex[12] = 1;  // imagf
    MatFile reader;
    ASSERT_EQ(reader.Open(true, Temp("complex.mat", complex).c_str(), nullptr), 0);
    EXPECT_TRUE(reader.IsComplex());
    EXPECT_EQ(reader.GetNumRows(), -1);
    EXPECT_EQ(reader.GetStatus(), MatFile::kComplexData);
}

// (Every order and subset of the name matrices around one data matrix is checked against
// scipy by the corpus test.)
TEST(MatFileLevel5Sheet, NameMatricesAroundSeveralDataMatrices) {
    const std::string header = Header5();
    // Several data matrices side by side, a sparse one among them (its zeros are 0); a
    // shorter one leaves its lower cells empty.
    const std::string sparse =
        Array(5, {2, 2}, "S",
              Element(5, U32(1)) + Element(5, U32(0) + U32(0) + U32(1)) + Element(9, F64(-6)));
    EXPECT_EQ(SheetOf(header + RuleArray("A", 2, 1) + sparse + RuleArray("B", 1, 1)),
              (Lines{"0.5|0|0|0.5", "10.5|0|-6|"}));
    // Names given after the data; a single names matrix is the sheet.
    EXPECT_EQ(SheetOf(header + RuleArray("X", 2, 2) + TextArray("OBSNAM", {"o1", "o2"})),
              (Lines{"o1|0.5|1.5", "o2|10.5|11.5"}));
    EXPECT_EQ(SheetOf(header + TextArray("VARNAM", {"a", "b"})), (Lines{"a", "b"}));
}

// Level 5 elements in big-endian order, small elements included.
std::string E(uint32_t type, const std::string& data) {
    if (data.size() <= 4 && type != 14 && type != 15) {
        const std::string word = U32(static_cast<uint32_t>(data.size()) << 16 | type, true);
        return word + data + std::string(4 - data.size(), '\0');
    }
    // Compressed elements are not padded, as writers store them.
    std::string s = U32(type, true) + U32(static_cast<uint32_t>(data.size()), true) + data;
    return type == 15 ? s : s + std::string((8 - data.size() % 8) % 8, '\0');
}

std::string BigArray(int cls, int rows, int cols, const std::string& name,
                     const std::string& data) {
    return E(14, E(6, U32(static_cast<uint32_t>(cls), true) + U32(0, true)) +
                     E(5, U32(static_cast<uint32_t>(rows), true) +
                              U32(static_cast<uint32_t>(cols), true)) +
                     E(1, name) + data);
}

TEST(MatFileLevel5, BigEndianFilesReadEveryElementSwapped) {
    std::string be = Header5();
    be[126] = 'M';
    be[127] = 'I';
    auto I32 = [](int v) { return U32(static_cast<uint32_t>(v), true); };
    const std::string doubles = BigArray(6, 1, 2, "d", E(9, F64(2.5, true) + F64(-1, true)));
    // int16 in a small element; a text as UTF-16; a sparse 2 x 2 with one stored value.
    const std::string small = BigArray(6, 1, 1, "i", E(3, std::string("\xFF\xFE", 2)));
    const std::string text = BigArray(4, 1, 2, "t", E(4, std::string("\0h\0\xE9", 4)));
    const std::string sparse =
        BigArray(5, 2, 2, "s", E(5, I32(1)) + E(5, I32(0) + I32(0) + I32(1)) + E(9, F64(7, true)));
    const std::vector<std::string> expected = {"2.5|-1|-2|h\xC3\xA9|0|0", "||||0|7"};
    EXPECT_EQ(SheetOf(be + doubles + small + text + sparse), expected);
    // Compressed elements hold the same swapped elements.
    EXPECT_EQ(SheetOf(be + E(15, Compress(doubles)) + E(15, Compress(small)) +
                      E(15, Compress(text)) + E(15, Compress(sparse))),
              expected);
}

// A grid source whose data begin at a chosen cell.
class OriginSource : public zmtest::GridSource {
  public:
    OriginSource(std::vector<std::vector<zmtest::SourceCell>> rows, int col, int row,
                 bool ok = true)
        : GridSource(std::move(rows)), col(col), row(row), ok(ok) {}
    bool GetDataOrigin(int* c, int* r) override {
        *c = col;
        *r = row;
        return ok;
    }

  private:
    int col, row;
    bool ok;
};

// A source whose empty cells claim to be neither number, missing nor text.
class NoKindSource : public OriginSource {
  public:
    using OriginSource::OriginSource;
    bool IsMissing(int, int) override { return false; }
};

// The bytes `writer` makes of `source`, or its status and text when it refuses.
std::string Written(MatFile& writer, WriteSpreadSheetData& source) {
    const std::string path = Temp("written.mat", "");
    EXPECT_EQ(writer.Open(false, path.c_str(), nullptr), 0);
    const int status = writer.Write(&source);
    const std::string refusal = std::to_string(status) + " " + zmtest::Message(writer);
    writer.Close();
    return status == 0 ? Slurp(path) : refusal;
}

// (The layout of the file is checked by loading it in scipy and matio.)
TEST(MatFileWriter, WritesDataThenObservationAndVariableIds) {
    using zmtest::Num;
    using zmtest::Text;
    // 4 rows x 3 columns, data from row 2, column 2.
    OriginSource source({{Text(""), Text("v1"), Text("v2")},
                         {Text("o1"), Num(1.5f), Num(4)},
                         {Text("o22"), Num(2), zmtest::SourceCell{}},
                         {Text("o3"), Num(3), Text("x")}},
                        2, 2);
    MatFile writer;
    // Read back: the IDs around the data, the missing values missing.
    Outcome back = ReadBytes(Written(writer, source));
    ASSERT_EQ(back.status, 0) << back.message;
    EXPECT_EQ(zmtest::ToGrid(back.sink),
              (zmtest::Grid{{"", "v1", "v2"}, {"o1", "", ""}, {"o22", ""}, {"o3", ""}}));
    EXPECT_EQ(back.sink.Number(2, 2), 1.5);
    EXPECT_FALSE(back.sink.Has(3, 3));
    EXPECT_FALSE(back.sink.Has(3, 4));
}

TEST(MatFileWriter, CellsOfNoKindNumericIdsAndRefusals) {
    using zmtest::Num;
    const std::string nan("\0\0\0\0\0\0\xF8\xFF", 8);
    // The header still says 2 x 2; three values follow, the cell of no kind left out.
    MatFile writer;
    NoKindSource noKind({{Num(1), zmtest::SourceCell{}}, {zmtest::Text("t"), Num(2)}}, 1, 1);
    EXPECT_EQ(Written(writer, noKind), U32(0) + U32(2) + U32(2) + U32(0) + U32(5) +
                                           std::string("DATA\0", 5) + F64(1) + nan + F64(2));

    // OBSID1 holds numbers only: a 2 x 1 double matrix.
    OriginSource source({{Num(7), Num(8)}, {Num(100), Num(9)}}, 2, 1);
    EXPECT_EQ(Written(writer, source).substr(20 + 5 + 16, 20),
              U32(0) + U32(2) + U32(1) + U32(0) + U32(7));

    OriginSource unknown({{Num(1)}}, 1, 1, false);
    EXPECT_EQ(Written(writer, unknown), std::to_string(MatFile::kCannotExport) +
                                            " This type of list cannot be exported to MATLAB.");
    MatFile reader;
    ASSERT_EQ(reader.Open(true, Fixture("level4_doubles.mat").c_str(), nullptr), 0);
    EXPECT_EQ(reader.Write(&source), kStatusWrongMode);
}

}  // namespace
