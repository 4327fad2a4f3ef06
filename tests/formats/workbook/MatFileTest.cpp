// The MAT reader and writer: fixtures written by scipy (Level 4 layouts, Level 5 plain and
// compressed), hand-built headers and elements for the limits and refusals, and the
// Level 4 file the writer makes.
#include "formats/workbook/MatFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
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
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

namespace fs = std::filesystem;

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

std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string U32(uint32_t v, bool big = false) {
    std::string s(4, '\0');
    for (int i = 0; i < 4; ++i)
        s[big ? 3 - i : i] = static_cast<char>(v >> (8 * i));
    return s;
}

std::string F64(double v, bool big = false) {
    uint64_t bits;
    std::memcpy(&bits, &v, 8);
    std::string s(8, '\0');
    for (int i = 0; i < 8; ++i)
        s[big ? 7 - i : i] = static_cast<char>(bits >> (8 * i));
    return s;
}

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

TEST(MatFileFixtures, Level4LayoutsPlaceNamesAndIds) {
    Outcome plain = ReadFile(Fixture("level4_doubles.mat"));
    ASSERT_EQ(plain.status, 0) << plain.message;
    EXPECT_EQ(plain.sink.cols, 4);
    EXPECT_EQ(plain.sink.rows, 3);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c)
            EXPECT_EQ(plain.sink.Number(c + 1, r + 1), Rule(r, c));

    // OBSNUM/OBSNAM/VARNUM/VARNAM before the data: observation names, then numbers, as
    // columns left of it; variable names, then numbers, as rows above it.
    Outcome roles = ReadFile(Fixture("level4_roles.mat"));
    ASSERT_EQ(roles.status, 0) << roles.message;
    EXPECT_EQ(Sheet(roles.sink),
              (std::vector<std::string>{"||alpha|beta", "||1|2", "first|1|0.5|1.5",
                                        "second|2|10.5|11.5", "third|3|20.5|21.5"}));
    // The data first, the names after it in another order: the same sheet.
    Outcome later = ReadFile(Fixture("level4_roles_after.mat"));
    ASSERT_EQ(later.status, 0) << later.message;
    EXPECT_EQ(Sheet(later.sink), Sheet(roles.sink));

    // OBSID1 as the first column (texts), VARID1 as the first row (numbers).
    Outcome ids = ReadFile(Fixture("level4_ids.mat"));
    ASSERT_EQ(ids.status, 0) << ids.message;
    EXPECT_EQ(ids.sink.cols, 4);
    EXPECT_EQ(ids.sink.rows, 3);
    EXPECT_EQ(ids.sink.Text(1, 3), "s22");
    EXPECT_EQ(ids.sink.Number(4, 1), 600);
    EXPECT_EQ(ids.sink.Number(4, 3), Rule(1, 2));
    EXPECT_FALSE(ids.sink.Has(1, 1));
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

TEST(MatFileFixtures, Level5PlainAndCompressedGiveTheSameSheet) {
    Outcome plain = ReadFile(Fixture("level5.mat"));
    Outcome packed = ReadFile(Fixture("level5_compressed.mat"));
    ASSERT_EQ(plain.status, 0) << plain.message;
    ASSERT_EQ(packed.status, 0) << packed.message;
    EXPECT_EQ(plain.sink.Dump(), packed.sink.Dump());
    // d (2 columns), i16, u8 (2 each), flag, label side by side.
    EXPECT_EQ(plain.sink.cols, 8);
    EXPECT_EQ(plain.sink.rows, 3);
    EXPECT_EQ(plain.sink.Number(2, 3), Rule(2, 1));
    EXPECT_EQ(plain.sink.Number(4, 3), 21);   // int16, .5 dropped
    EXPECT_EQ(plain.sink.Number(6, 2), 11);   // uint8
    EXPECT_EQ(plain.sink.Number(7, 2), 1);    // logical
    EXPECT_EQ(plain.sink.Text(8, 3), "zzz");  // one text per row, blanks dropped
}

TEST(MatFileFixtures, Level5ChoicesForDimensionsNamesAndText) {
    // A 2 x 3 x 2 array is its first dimension by the rest, in the file's order.
    Outcome cube = ReadFile(Fixture("level5_3d.mat"));
    ASSERT_EQ(cube.status, 0) << cube.message;
    EXPECT_EQ(cube.sink.cols, 6);
    EXPECT_EQ(cube.sink.Number(6, 2), Rule(1, 5));

    // VARNAM, OBSNAM, X, Y: the names of both data matrices around them.
    Outcome named = ReadFile(Fixture("level5_names.mat"));
    ASSERT_EQ(named.status, 0) << named.message;
    EXPECT_EQ(Sheet(named.sink),
              (std::vector<std::string>{"|v1|v2|v3", "o1|0.5|1.5|0.5", "o2|10.5|11.5|10.5"}));

    // Characters beyond Latin-1 come through as UTF-8.
    Outcome text = ReadFile(Fixture("level5_unicode.mat"));
    ASSERT_EQ(text.status, 0) << text.message;
    EXPECT_EQ(text.sink.Text(1, 1), "\xC3\xA9t\xC3\xA9 \xE6\x97\xA5");
}

TEST(MatFileFixtures, Level5OffersItsDataMatricesWithTheNamesThatFitThem) {
    // VARNAM, OBSNAM, X (2 x 2), Y (2 x 1): without a choice both data matrices are read.
    MatFile reader;
    zmtest::OptionsRecord empty;
    zmtest::RecordingSink all;
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("level5_names.mat"), all, &empty.options), 0);
    ReadChoices choices;
    ASSERT_TRUE(reader.GetReadChoices(choices));
    EXPECT_EQ(choices.available, (std::vector<std::string>{"X", "Y"}));
    EXPECT_EQ(choices.chosen, choices.available);
    EXPECT_TRUE(choices.sideBySide);
    reader.Close();

    // Chosen: in the order named; the three variable names fit X and Y together only.
    const auto chosen = [](const char* sheets) {
        zm::SettingsDocument document;
        document.SetString("Settings", "Sheets", sheets);
        zmtest::OptionsRecord record(document);
        return Sheet(ReadFile(Fixture("level5_names.mat"), &record.options).sink);
    };
    EXPECT_EQ(chosen("Y;X"),
              (std::vector<std::string>{"|v1|v2|v3", "o1|0.5|0.5|1.5", "o2|10.5|10.5|11.5"}));
    EXPECT_EQ(chosen("Y"), (std::vector<std::string>{"o1|0.5", "o2|10.5"}));
    // The record written back by the read without a choice reads the same sheet.
    EXPECT_EQ(Sheet(ReadFile(Fixture("level5_names.mat"), &empty.options).sink), Sheet(all));

    // One data matrix offers no choice.
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("level5_unicode.mat"), all), 0);
    EXPECT_FALSE(reader.GetReadChoices(choices));
}

TEST(MatFileLevel4, ByteOrderTypesAndMatrixCount) {
    // Big-endian, type 1000: values swapped.
    Outcome big = ReadBytes(Level4(1000, 1, 2, "b", {1.25, -3}, true));
    ASSERT_EQ(big.status, 0) << big.message;
    EXPECT_EQ(big.sink.Number(2, 1), -3);
    EXPECT_EQ(ReadBytes(Level4(1053, 1, 1, "b", {1}, true)).status, MatFile::kNotMatFile);
    // P = 6 and T = 3 in a second header (a first one would read as big-endian).
    const std::string one = Level4(0, 1, 1, "a", {1});
    EXPECT_EQ(ReadBytes(one + Level4(60, 1, 1, "p", {1})).status, MatFile::kBadHeader);
    EXPECT_EQ(ReadBytes(one + Level4(3, 1, 1, "t", {1})).status, MatFile::kBadHeader);

    // Single precision counts as 8 bytes a value in the header walk.
    std::string single = Level4(10, 1, 2, "s", {});
    single += std::string("\0\0\x80\x3F\0\0\0\x40", 8);
    EXPECT_EQ(ReadBytes(single).status, MatFile::kBadMatrix);

    // Cut inside the data; a header cut short after a whole matrix.
    const std::string whole = Level4(0, 2, 2, "m", {1, 2, 3, 4});
    EXPECT_EQ(ReadBytes(whole.substr(0, whole.size() - 1)).status, MatFile::kBadMatrix);
    EXPECT_EQ(ReadBytes(whole + whole.substr(0, 7)).status, MatFile::kBadHeader);

    // At most 20 matrices are listed.
    std::string many;
    for (int i = 0; i < 21; ++i)
        many += Level4(0, 1, 1, "m" + std::to_string(i), {double(i)});
    MatFile reader;
    ASSERT_EQ(reader.Open(true, Temp("many.mat", many).c_str(), nullptr), 0);
    EXPECT_EQ(reader.GetNumberOfMatrices(), MatFile::kMaxMatrices);
}

TEST(MatFileLevel4, TextSparseAndComplexMatrices) {
    // A text matrix: character codes, column by column; one text per row.
    Outcome text = ReadBytes(Level4(1, 2, 3, "t", {'a', 'd', 'b', 'e', 'c', ' '}));
    ASSERT_EQ(text.status, 0) << text.message;
    EXPECT_EQ(zmtest::ToGrid(text.sink), (zmtest::Grid{{"abc"}, {"de"}}));

    // Sparse: (row, column, value) triples, the last row giving the size 3 x 4; stored
    // out of column order. The zeros between the stored values are 0.
    Outcome sparse = ReadBytes(Level4(2, 3, 3, "s", {3, 1, 3, 4, 2, 4, -1, 5.5, 0}));
    ASSERT_EQ(sparse.status, 0) << sparse.message;
    EXPECT_EQ(Sheet(sparse.sink), (std::vector<std::string>{"0|5.5|0|0", "0|0|0|0", "0|0|0|-1"}));

    std::string complex = Level4(0, 1, 1, "c", {1, 2});
    complex[12] = 1;  // imagf
    Outcome refused = ReadBytes(complex);
    EXPECT_EQ(refused.status, MatFile::kComplexData);
    EXPECT_EQ(refused.message, "Complex data.");
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

// What reading a file cost: its status, the cells given to the sink, and how far the
// peak resident memory of the process that read it rose. The read runs in a child with
// 60 s of processor time: one that loops is stopped by that limit and does not finish.
struct Cost {
    bool finished = false;
    long long status = -1, cells = 0, grownKb = 0;
};

Cost ReadInChild(const std::string& path) {
    int fds[2];
    if (::pipe(fds) != 0)
        return {};
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        const rlimit cpu{60, 60};
        ::setrlimit(RLIMIT_CPU, &cpu);
        rusage before{}, after{};
        ::getrusage(RUSAGE_SELF, &before);
        MatFile reader;
        CountingSink sink;
        long long result[3] = {0, 0, 0};
        if (reader.Open(true, path.c_str(), nullptr) == 0 && reader.GetNumRows() >= 0 &&
            reader.GetNumCols() >= 0)
            reader.Read(&sink);
        result[0] = reader.GetStatus();
        result[1] = sink.cells;
        ::getrusage(RUSAGE_SELF, &after);
        result[2] = after.ru_maxrss - before.ru_maxrss;
        const bool sent = ::write(fds[1], result, sizeof result) == sizeof result;
        ::_exit(sent ? 0 : 1);
    }
    ::close(fds[1]);
    long long result[3];
    const bool got = pid > 0 && ::read(fds[0], result, sizeof result) == sizeof result;
    ::close(fds[0]);
    int wstatus = 0;
    if (pid > 0)
        ::waitpid(pid, &wstatus, 0);
    Cost cost;
    cost.finished = got && WIFEXITED(wstatus) && WEXITSTATUS(wstatus) == 0;
    if (cost.finished) {
        cost.status = result[0];
        cost.cells = result[1];
        cost.grownKb = result[2];
    }
    return cost;
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
    // 2^31 - 1 rows and columns of doubles in a 30-byte file.
    EXPECT_EQ(ReadBytes(Level4(0, 0x7FFFFFFF, 0x7FFFFFFF, "h", {})).status, MatFile::kBadMatrix);
    // A Level 5 element claiming more bytes than follow.
    std::string header = Header5();
    EXPECT_EQ(ReadBytes(header + U32(14) + U32(0x7FFFFFF0) + std::string(64, '\0')).status,
              MatFile::kBadMatrix);
    // A zlib bomb: a few compressed bytes whose array claims 4 GB.
    const std::string inner = U32(14) + U32(0xFFFFFFF0) + std::string(4096, '\0');
    const std::string bomb = Temp("bomb.mat", header + Element(15, Compress(inner)));
    const Cost bombCost = ReadInChild(bomb);
    ASSERT_TRUE(bombCost.finished);
    EXPECT_EQ(bombCost.status, MatFile::kCorrupt);
    EXPECT_LT(bombCost.grownKb, BudgetKb(fs::file_size(bomb)));
    // A claim within reach that the stream does not keep: cut short, then damaged.
    const std::string array = Array(6, {1000, 1000}, "z", Element(9, std::string(8000000, '\0')));
    const std::string packed = Compress(array);
    EXPECT_EQ(ReadBytes(header + Element(15, packed.substr(0, packed.size() / 2))).status,
              MatFile::kCorrupt);
    std::string damaged = packed;
    damaged[damaged.size() / 2] ^= 0x55;
    const std::string broken = Temp("damaged.mat", header + Element(15, damaged));
    const Cost damagedCost = ReadInChild(broken);
    ASSERT_TRUE(damagedCost.finished);
    EXPECT_NE(damagedCost.status, 0);
    EXPECT_LE(damagedCost.cells, 1000000);
    EXPECT_LT(damagedCost.grownKb, BudgetKb(0, fs::file_size(broken)));
}

TEST(MatFileHostile, SparseSizesOutOfProportionToTheFileAreRefused) {
    const char* tooLarge =
        "A sparse matrix is too large to be read: its zeros would fill far more cells than the "
        "file holds.";
    // Level 4: one stored value, a last row claiming 2e9 x 2e9.
    Outcome four = ReadBytes(Level4(2, 2, 3, "s", {1, 2e9, 1, 2e9, 5, 0}));
    EXPECT_EQ(four.status, MatFile::kUnknownType);
    EXPECT_EQ(four.message, tooLarge);
    // Level 5: 2e9 rows and one column, nothing stored.
    const std::string header = Header5();
    Outcome five =
        ReadBytes(header + Array(5, {2000000000, 1}, "s",
                                 Element(5, "") + Element(5, U32(0) + U32(0)) + Element(9, "")));
    EXPECT_EQ(five.status, MatFile::kUnknownType);
    EXPECT_EQ(five.message, tooLarge);
    // Within proportion: every zero is a cell.
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
    const Cost textCost = ReadInChild(text);
    ASSERT_TRUE(textCost.finished);
    EXPECT_EQ(textCost.status, MatFile::kUnknownType);
    EXPECT_LT(textCost.grownKb, BudgetKb(0, fs::file_size(text)));
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
    const Cost sparseCost = ReadInChild(sparse);
    ASSERT_TRUE(sparseCost.finished);
    EXPECT_EQ(sparseCost.status, MatFile::kUnknownType);
    EXPECT_LT(sparseCost.grownKb, BudgetKb(0, fs::file_size(sparse)));
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

TEST(MatFileLevel5, StoredTypesTextEncodingsAndRefusals) {
    // Class double stored as miUINT8 and miINT16, as MATLAB writes small integers.
    const std::string header = Header5();
    Outcome stored =
        ReadBytes(header + Array(6, {1, 2}, "a", Element(2, "\x07\xFF")) +
                  Array(6, {1, 2}, "b", Element(3, std::string("\xFE\xFF\x10\x00", 4))));
    ASSERT_EQ(stored.status, 0) << stored.message;
    const double expected[] = {7, 255, -2, 16};
    for (int c = 0; c < 4; ++c)
        EXPECT_EQ(stored.sink.Number(c + 1, 1), expected[c]);

    // Characters as miUINT16 (with a surrogate pair) and as miUTF8: the same text.
    const std::string utf16("h\0\xE9\0\x3D\xD8\x00\xDE", 8);
    Outcome wide = ReadBytes(header + Array(4, {1, 4}, "w", Element(4, utf16)));
    Outcome utf8 =
        ReadBytes(header + Array(4, {1, 3}, "u", Element(16, "h\xC3\xA9\xF0\x9F\x98\x80")));
    ASSERT_EQ(wide.status, 0) << wide.message;
    ASSERT_EQ(utf8.status, 0) << utf8.message;
    EXPECT_EQ(wide.sink.Text(1, 1).substr(0, 3), "h\xC3\xA9");
    EXPECT_EQ(utf8.sink.Text(1, 1), "h\xC3\xA9\xF0\x9F\x98\x80");

    auto message = [](const std::string& bytes) { return ReadBytes(bytes).message; };
    EXPECT_EQ(
        message(header + Array(6, {1, 1}, "c", Element(9, F64(1)) + Element(9, F64(2)), 0x0800)),
        "Can not handle imaginary data.");
    EXPECT_EQ(message(header + Array(5, {2, 2, 2}, "s", Element(5, U32(0)))),
              "A sparse matrix can not have more than two dimensions.");
    const std::string sparseText =
        Element(5, U32(0)) + Element(5, U32(0) + U32(1)) + Element(17, std::string("a\0", 2));
    EXPECT_EQ(message(header + Array(5, {1, 1}, "t", sparseText)),
              "Text matrices can not be sparse.");
    EXPECT_EQ(message(header + Array(2, {1, 1}, "s", Element(14, ""))), "No data found.");
    EXPECT_EQ(message(header), "No data found.");
    EXPECT_EQ(ReadBytes(header + Array(6, {1, 1}, "q", Element(18, "abcd"))).status,
              MatFile::kUnknownType);
}

TEST(MatFileLevel5, ValueRules) {
    const double nan = std::nan(""), inf = HUGE_VAL;
    // Not-a-number and infinities leave the cell empty, in both levels.
    Outcome four = ReadBytes(Level4(0, 1, 4, "n", {nan, inf, -inf, 2}));
    ASSERT_EQ(four.status, 0) << four.message;
    EXPECT_EQ(Sheet(four.sink), (std::vector<std::string>{"|||2"}));
    const std::string header = Header5();
    Outcome five = ReadBytes(
        header + Array(6, {1, 4}, "n", Element(9, F64(nan) + F64(-inf) + F64(3) + F64(inf))));
    ASSERT_EQ(five.status, 0) << five.message;
    EXPECT_EQ(Sheet(five.sink), (std::vector<std::string>{"||3|"}));

    // A matrix of more values than one read block keeps every value in its place where
    // a block ends inside a column.
    // Compressed, the header is inflated ahead of the values and the values in large
    // reads: the same cells come out.
    const std::string array = RuleArray("L", 3, 20000);
    for (const std::string& stored : {array, Element(15, Compress(array))}) {
        Outcome large = ReadBytes(header + stored);
        ASSERT_EQ(large.status, 0) << large.message;
        EXPECT_EQ(large.sink.cells.size(), 60000u);
        for (int index : {32767, 32768, 32769, 59999})
            EXPECT_EQ(large.sink.Number(index / 3 + 1, index % 3 + 1), Rule(index % 3, index / 3));
    }

    // A character array stored as bytes gives its codes as numbers; UTF-16 is text in
    // any array; a character array in UTF-32 cannot be interpreted.
    Outcome bytes = ReadBytes(header + Array(4, {1, 2}, "c", Element(2, "hi")));
    ASSERT_EQ(bytes.status, 0) << bytes.message;
    EXPECT_EQ(Sheet(bytes.sink), (std::vector<std::string>{"104|105"}));
    Outcome utf16 =
        ReadBytes(header + Array(6, {1, 2}, "u", Element(17, std::string("h\0i\0", 4))));
    ASSERT_EQ(utf16.status, 0) << utf16.message;
    EXPECT_EQ(Sheet(utf16.sink), (std::vector<std::string>{"hi"}));
    Outcome utf32 =
        ReadBytes(header + Array(4, {1, 1}, "w", Element(18, std::string("h\0\0\0", 4))));
    EXPECT_EQ(utf32.status, MatFile::kUnknownType);
    EXPECT_EQ(utf32.message, "The file contains data of a type that cannot be interpreted.");

    // Structures, cells and objects are passed over; the arrays around them are read.
    const std::string cell = Array(1, {1, 1}, "cell", Element(14, ""));
    Outcome mixed = ReadBytes(header + cell + RuleArray("X", 1, 2) + Array(2, {1, 1}, "s", ""));
    ASSERT_EQ(mixed.status, 0) << mixed.message;
    EXPECT_EQ(Sheet(mixed.sink), (std::vector<std::string>{"0.5|1.5"}));

    // Level 4 complex data opens, says so, and is refused when sized.
    std::string complex = Level4(0, 1, 1, "c", {1, 2});
    complex[12] = 1;  // imagf
    MatFile reader;
    ASSERT_EQ(reader.Open(true, Temp("complex.mat", complex).c_str(), nullptr), 0);
    EXPECT_TRUE(reader.IsComplex());
    EXPECT_EQ(reader.GetNumRows(), -1);
    EXPECT_EQ(reader.GetStatus(), MatFile::kComplexData);
}

TEST(MatFileLevel5Sheet, NameMatricesGoAroundTheDataInAnyOrder) {
    const std::string header = Header5();
    const std::string x = RuleArray("X", 2, 2), obs = TextArray("OBSNAM", {"o1", "o2"}),
                      var = TextArray("VARNAM", {"v1", "v2"});
    const std::vector<std::string> both = {"|v1|v2", "o1|0.5|1.5", "o2|10.5|11.5"};
    for (const std::string& stored : {x + obs + var, obs + var + x, var + x + obs}) {
        Outcome named = ReadBytes(header + stored);
        ASSERT_EQ(named.status, 0) << named.message;
        EXPECT_EQ(Sheet(named.sink), both);
    }
    // Variable names alone are a row above the data, observation names alone a column.
    for (const std::string& stored : {x + var, var + x}) {
        Outcome varOnly = ReadBytes(header + stored);
        ASSERT_EQ(varOnly.status, 0) << varOnly.message;
        EXPECT_EQ(Sheet(varOnly.sink), (std::vector<std::string>{"v1|v2", "0.5|1.5", "10.5|11.5"}));
    }
    Outcome obsOnly = ReadBytes(header + obs + x);
    ASSERT_EQ(obsOnly.status, 0) << obsOnly.message;
    EXPECT_EQ(Sheet(obsOnly.sink), (std::vector<std::string>{"o1|0.5|1.5", "o2|10.5|11.5"}));

    // The four name matrices in the order MATLAB saves them: two name columns, two name
    // rows. VARNUM, a 1 x 2 row vector, counts as one column all the same.
    const std::string obsNum = Array(6, {2, 1}, "OBSNUM", Element(9, F64(7) + F64(8)));
    const std::string varNum = Array(6, {1, 2}, "VARNUM", Element(9, F64(3) + F64(4)));
    Outcome own = ReadBytes(header + RuleArray("DATA", 2, 2) + obs + obsNum + var + varNum);
    ASSERT_EQ(own.status, 0) << own.message;
    EXPECT_EQ(Sheet(own.sink),
              (std::vector<std::string>{"||v1|v2", "||3|4", "o1|7|0.5|1.5", "o2|8|10.5|11.5"}));

    // Several data matrices side by side, a sparse one among them (its zeros are 0); a
    // shorter one leaves its lower cells empty.
    const std::string sparse =
        Array(5, {2, 2}, "S",
              Element(5, U32(1)) + Element(5, U32(0) + U32(0) + U32(1)) + Element(9, F64(-6)));
    Outcome side = ReadBytes(header + RuleArray("A", 2, 1) + sparse + RuleArray("B", 1, 1));
    ASSERT_EQ(side.status, 0) << side.message;
    EXPECT_EQ(Sheet(side.sink), (std::vector<std::string>{"0.5|0|0|0.5", "10.5|0|-6|"}));
}

TEST(MatFileLevel5Sheet, NamesMustAgreeWithTheData) {
    const std::string header = Header5();
    const std::string x = RuleArray("X", 2, 2);
    // Three observation names for two rows; three variable names for two columns.
    EXPECT_EQ(ReadBytes(header + x + TextArray("OBSNAM", {"a", "b", "c"})).status,
              MatFile::kBadMatrix);
    EXPECT_EQ(ReadBytes(header + x + TextArray("VARNAM", {"a", "b", "c"})).status,
              MatFile::kBadMatrix);
    // A data matrix of another height than the names.
    EXPECT_EQ(ReadBytes(header + x + RuleArray("Y", 3, 1) + TextArray("OBSNAM", {"a", "b"})).status,
              MatFile::kBadMatrix);
    // Names without data.
    EXPECT_EQ(ReadBytes(header + TextArray("OBSNAM", {"a"}) + TextArray("VARNAM", {"b"})).message,
              "No data found.");
    // A single names matrix is the sheet.
    Outcome single = ReadBytes(header + TextArray("VARNAM", {"a", "b"}));
    ASSERT_EQ(single.status, 0) << single.message;
    EXPECT_EQ(Sheet(single.sink), (std::vector<std::string>{"a", "b"}));
}

TEST(MatFileLevel5, VersionRule) {
    Outcome hdf5 =
        ReadBytes(Header5("MATLAB 7.3 MAT-file, Platform: GLNXA64") + std::string(512, '\0'));
    EXPECT_EQ(hdf5.status, MatFile::kUnsupportedVersion);
    EXPECT_EQ(hdf5.message,
              "The file seems to be created by an unsupported version of MATLAB. Only MATLAB "
              "files version 4.x and 5 are supported.");
    std::string unmarked = Header5();
    unmarked[126] = 'X';
    EXPECT_EQ(ReadBytes(unmarked).status, MatFile::kNotMatFile);
    EXPECT_EQ(ReadBytes(Header5().substr(0, 126) + "MM").status, MatFile::kNotMatFile);
    EXPECT_EQ(ReadFile("/nonexistent/file.mat").status, MatFile::kOpenFailed);
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
    Outcome plain = ReadBytes(be + doubles + small + text + sparse);
    ASSERT_EQ(plain.status, 0) << plain.message;
    EXPECT_EQ(Sheet(plain.sink), expected);
    // Compressed elements hold the same swapped elements.
    Outcome packed = ReadBytes(be + E(15, Compress(doubles)) + E(15, Compress(small)) +
                               E(15, Compress(text)) + E(15, Compress(sparse)));
    ASSERT_EQ(packed.status, 0) << packed.message;
    EXPECT_EQ(Sheet(packed.sink), expected);
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

TEST(MatFileWriter, WritesDataThenObservationAndVariableIds) {
    using zmtest::Num;
    using zmtest::Text;
    // 4 rows x 3 columns, data from row 2, column 2.
    OriginSource source({{Text(""), Text("v1"), Text("v2")},
                         {Text("o1"), Num(1.5f), Num(4)},
                         {Text("o22"), Num(2), zmtest::SourceCell{}},
                         {Text("o3"), Num(3), Text("x")}},
                        2, 2);
    const std::string path = Temp("out.mat", "");
    MatFile writer;
    ASSERT_EQ(writer.Open(false, path.c_str(), nullptr), 0);
    ASSERT_EQ(writer.Write(&source), 0);
    writer.Close();
    const std::string bytes = Slurp(path);
    // DATA: type 0, 3 x 2, real, name length 5; then 6 doubles column by column.
    ASSERT_GE(bytes.size(), 20u + 5 + 48);
    EXPECT_EQ(bytes.substr(0, 25),
              U32(0) + U32(3) + U32(2) + U32(0) + U32(5) + std::string("DATA\0", 5));
    EXPECT_EQ(bytes.substr(25, 24), F64(1.5) + F64(2) + F64(3));
    EXPECT_EQ(bytes.substr(49, 16), F64(4) + std::string("\0\0\0\0\0\0\xF8\xFF", 8));
    EXPECT_EQ(bytes.substr(65, 8), std::string("\0\0\0\0\0\0\xF8\xFF", 8));
    // Then OBSID1 (3 texts, 3 wide) and VARID1 (2 texts, 2 wide).
    const size_t obs = 73;
    EXPECT_EQ(bytes.substr(obs, 20), U32(1) + U32(3) + U32(3) + U32(0) + U32(7));
    EXPECT_EQ(bytes.substr(obs + 20, 7), std::string("OBSID1\0", 7));
    const size_t var = obs + 27 + 9 * 8;
    EXPECT_EQ(bytes.substr(var, 20 + 7),
              U32(1) + U32(2) + U32(2) + U32(0) + U32(7) + std::string("VARID1\0", 7));
    EXPECT_EQ(bytes.size(), var + 27 + 4 * 8);

    // Read back: the IDs around the data, the missing values missing.
    Outcome back = ReadFile(path);
    ASSERT_EQ(back.status, 0) << back.message;
    EXPECT_EQ(zmtest::ToGrid(back.sink),
              (zmtest::Grid{{"", "v1", "v2"}, {"o1", "", ""}, {"o22", ""}, {"o3", ""}}));
    EXPECT_EQ(back.sink.Number(2, 2), 1.5);
    EXPECT_FALSE(back.sink.Has(3, 3));
    EXPECT_FALSE(back.sink.Has(3, 4));
}

// A source whose empty cells claim to be neither number, missing nor text.
class NoKindSource : public OriginSource {
  public:
    using OriginSource::OriginSource;
    bool IsMissing(int, int) override { return false; }
};

TEST(MatFileWriter, CellsOfNoKindWriteNothing) {
    using zmtest::Num;
    using zmtest::Text;
    NoKindSource source({{Num(1), zmtest::SourceCell{}}, {Text("t"), Num(2)}}, 1, 1);
    const std::string path = Temp("nokind.mat", "");
    MatFile writer;
    ASSERT_EQ(writer.Open(false, path.c_str(), nullptr), 0);
    ASSERT_EQ(writer.Write(&source), 0);
    writer.Close();
    // The header still says 2 x 2; three values follow, the empty cell left out.
    EXPECT_EQ(Slurp(path), U32(0) + U32(2) + U32(2) + U32(0) + U32(5) + std::string("DATA\0", 5) +
                               F64(1) + std::string("\0\0\0\0\0\0\xF8\xFF", 8) + F64(2));
}

TEST(MatFileWriter, NumericIdsAndRefusals) {
    using zmtest::Num;
    OriginSource source({{Num(7), Num(8)}, {Num(100), Num(9)}}, 2, 1);
    const std::string path = Temp("ids.mat", "");
    MatFile writer;
    ASSERT_EQ(writer.Open(false, path.c_str(), nullptr), 0);
    ASSERT_EQ(writer.Write(&source), 0);
    writer.Close();
    const std::string bytes = Slurp(path);
    // OBSID1 holds numbers only: a 2 x 1 double matrix.
    EXPECT_EQ(bytes.substr(20 + 5 + 16, 20), U32(0) + U32(2) + U32(1) + U32(0) + U32(7));

    OriginSource unknown({{Num(1)}}, 1, 1, false);
    ASSERT_EQ(writer.Open(false, path.c_str(), nullptr), 0);
    EXPECT_EQ(writer.Write(&unknown), MatFile::kCannotExport);
    EXPECT_EQ(zmtest::Message(writer), "This type of list cannot be exported to MATLAB.");
    writer.Close();

    MatFile reader;
    ASSERT_EQ(reader.Open(true, Fixture("level4_doubles.mat").c_str(), nullptr), 0);
    EXPECT_EQ(reader.Write(&source), kStatusWrongMode);
}

}  // namespace
