// The Lotus 1-2-3 reader: the version test, cells of every kind, sizing by the RANGE
// record, and damaged files that must stop with their own code.
#include "formats/workbook/LotusFile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "framework/SprFileFactory.h"
#include "framework/ZmImport.h"
#include "tests/formats/workbook/WorkbookTestSupport.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::At;

const std::string kData = std::string(ZM_TEST_DATA) + "/lotus/";
int CodeOfHead(const std::string& head) {
    return LotusFile::IsLotusFile(reinterpret_cast<const uint8_t*>(head.data()), head.size());
}

std::string Bytes(std::initializer_list<int> values) {
    std::string s;
    for (int v : values)
        s += static_cast<char>(v);
    return s;
}

TEST(LotusFile, VersionTestRefusalsAndDetection) {
    // Headers 0 0 x 0 y z as {x, y, z, code}: release 1A, Symphony 1.0 and release 2
    // (Symphony 1.1 on) are read; 0x20 0x51 is Quattro Pro for DOS.
    using L = LotusFile;
    const int heads[][4] = {{2, 4, 4, 0},
                            {2, 5, 4, 0},
                            {2, 6, 4, 0},
                            {2, 7, 4, L::kUnknownVersion},
                            {2, 0x20, 0x51, L::kUnknownVersion},
                            {26, 0, 0x10, L::kLotusWk3},
                            {26, 2, 0x10, L::kLotusWk4},
                            {26, 0, 6, L::kLotusWj1},
                            {26, 7, 0x80, L::kLotusFrm},
                            {26, 3, 0x10, L::kLotusWorkbook},
                            {26, 5, 0x10, L::kUnknownVersion},
                            {3, 6, 4, L::kNotLotus}};
    for (const auto& h : heads)
        EXPECT_EQ(CodeOfHead(Bytes({0, 0, h[0], 0, h[1], h[2]})), h[3]) << h[0] << " " << h[1];
    // Cut short; Works 3/4.
    EXPECT_EQ(CodeOfHead(Bytes({0, 0, 2, 0, 6})), L::kNotLotus);
    EXPECT_EQ(CodeOfHead(Bytes({0xFF, 0, 2, 0, 4, 4})), L::kNotLotus);

    zmtest::ScratchDir dir;
    auto refusal = [&](const std::string& bytes) {
        return zmtest::StatusOf<LotusFile>(dir.Write("x.wk1", bytes));
    };
    // The texts with the list of formats are checked whole by the corpus test.
    EXPECT_EQ(refusal(Bytes({0, 0, 26, 0, 7, 0x80})),
              "2309 This file is a Lotus 1-2-3 (FRM) file. Such files cannot be imported by "
              "TAVIX.");
    EXPECT_EQ(refusal("PK\3\4"), "2305 The file does not seem to be a valid Lotus 1-2-3 file.");
    LotusFile missing;
    EXPECT_EQ(missing.Open(true, dir.Path("absent.wk1").c_str(), nullptr), 2304);
    EXPECT_EQ(zmtest::Message(missing), "Unable to open file.");
    LotusFile writer;
    EXPECT_EQ(writer.Open(false, (kData + "cells.wk1").c_str(), nullptr), kStatusWrongMode);

    // Lotus-shaped files are claimed, so that their refusal is the Lotus reader's.
    const int index = zmtest::FormatIndex("Lotus 1-2-3 File");
    ASSERT_NE(index, 0);
    EXPECT_EQ(ZmImportIsCorrectFileType(index, (kData + "cells.wk1").c_str()), 2);
    EXPECT_EQ(ZmImportIsCorrectFileType(index, (kData + "sheetjs.wk3").c_str()), 2);
    EXPECT_EQ(ZmImportIsCorrectFileType(index, (kData + "make_fixtures.py").c_str()), 0);
}

TEST(LotusFile, CellsOfEveryKind) {
    LotusFile file;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadSized(file, kData + "cells.wk1", sink), "0 4x4");
    // A label's first character is its alignment (' " ^ \) and is not part of the text;
    // a label without one keeps all its characters. Code page 850 bytes become UTF-8.
    // INTEGER comes as an int, NUMBER and a formula's cached result as doubles.
    zmtest::ExpectCells(
        sink, {At(1, 1, "left"), At(2, 1, "right"), At(3, 1, "centre"), At(4, 1, "-"),
               At(1, 4, "plain"), At(2, 4, ""), At(4, 2, "caf\xC3\xA9 \xC3\x9F"), At(1, 2, -7),
               At(2, 2, 2.5), At(3, 2, 5.0), At(4, 4, -1e-300)});
    EXPECT_EQ(sink.At(1, 2).via, 'i');
    EXPECT_EQ(sink.At(2, 2).via, 'd');
    // @ERR, @NA and a text result are stored as no number: each gives an empty text (the
    // text result's STRING record is not read).
    for (int col = 1; col <= 4; ++col) {
        ASSERT_TRUE(sink.Has(col, 3)) << col;
        EXPECT_EQ(sink.At(col, 3).kind, zmtest::Cell::kText) << col;
        EXPECT_EQ(sink.Text(col, 3), "") << col;
    }
    EXPECT_FALSE(sink.Has(3, 4));  // a BLANK record
    EXPECT_EQ(sink.cells.size(), 15u);

    // A copy reads the same file on its own.
    LotusFile copy(file);
    zmtest::RecordingSink again;
    again.SetDataSize(copy.GetNumCols(), copy.GetNumRows());
    EXPECT_EQ(copy.Read(&again), 0);
    EXPECT_EQ(again.Dump(), sink.Dump());

    // SheetJS writes 40000, too big for INTEGER, as a NUMBER record, and a formula cell as
    // its value; its release 3 file is refused with its own code.
    LotusFile sheetjs;
    zmtest::RecordingSink js;
    ASSERT_EQ(zmtest::ReadSized(sheetjs, kData + "sheetjs.wk1", js), "0 4x4");
    zmtest::ExpectCells(js, {At(4, 1, "total"), At(2, 4, 1e-7), At(3, 3, 40000), At(3, 4, -32768),
                             At(4, 2, 4.5), At(4, 3, -90000)});
    LotusFile release3;
    EXPECT_EQ(zmtest::ReadAll(release3, kData + "sheetjs.wk3", sink), LotusFile::kLotusWk3);
}

TEST(LotusFile, SizeComesFromTheRangeRecordWidenedByCells) {
    zmtest::ScratchDir dir;
    // RANGE over columns 0-3 and rows 0-9, one cell at its start.
    const std::string bof = Bytes({0, 0, 2, 0, 6, 4});
    const std::string range = Bytes({6, 0, 8, 0, 0, 0, 0, 0, 3, 0, 9, 0});
    const std::string integer = Bytes({13, 0, 7, 0, 0xFF, 0, 0, 0, 0, 1, 0});
    const std::string eof = Bytes({1, 0, 0, 0});
    const std::pair<std::string, std::string> cases[] = {
        {dir.Write("r.wk1", bof + range + integer + eof), "0 10x4"},
        {kData + "cells-outside-range.wk1", "0 7x5"},  // RANGE 2x2 from B2, a cell at E7
        {kData + "reversed-range.wk1", "0 1x2"},       // nothing but its one cell
        {kData + "huge-range.wk1", "0 8192x256"},      // not past the 1-2-3 grid
        {kData + "release1a.wks", "0 2x1"},
        {kData + "symphony.wrk", "0 2x1"},
        // PySAL wrote one row and column more into RANGE than it filled.
        {std::string(ZM_CORPUS) + "/lotus/virginia_queen.wk1", "0 137x137"},
        {std::string(ZM_CORPUS) + "/lotus/spat-sym-us.wk1", "0 46x46"},
    };
    for (const auto& [path, expected] : cases) {
        LotusFile file;
        zmtest::RecordingSink sink;
        EXPECT_EQ(zmtest::ReadSized(file, path, sink), expected) << path;
    }
    LotusFile file;
    zmtest::RecordingSink sink;
    zmtest::ReadSized(file, kData + "cells-outside-range.wk1", sink);
    EXPECT_EQ(sink.Number(2, 2), 1.0);
    EXPECT_EQ(sink.Number(5, 7), 2.0);
}

TEST(LotusFile, CellsBeyondTheGridAreLeftOutWithAWarning) {
    zmtest::ScratchDir dir;
    const std::string bof = Bytes({0, 0, 2, 0, 6, 4});
    const std::string range = Bytes({6, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    const std::string eof = Bytes({1, 0, 0, 0});
    // INTEGER cells at (column, row): B3, the grid's last cell, and two far beyond it.
    auto cell = [](int col, int row) {
        return Bytes({13, 0, 7, 0, 0xFF, col & 0xFF, col >> 8, row & 0xFF, row >> 8, 5, 0});
    };
    const std::string path =
        dir.Write("far.wk1", bof + range + cell(1, 2) + cell(0xFFFF, 0xFFFF) + cell(256, 0) + eof);
    LotusFile file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadSized(file, path, sink), "0 3x2");
    EXPECT_EQ(sink.cells.size(), 1u);
    EXPECT_EQ(sink.Number(2, 3), 5);
    ASSERT_NE(file.GetWarningMessage(), nullptr);
    EXPECT_STREQ(file.GetWarningMessage(),
                 "Cells beyond the worksheet's 256 columns and 8192 rows were left out: 2.");
    // The grid's own last cell is read, without a warning.
    LotusFile edge;
    zmtest::RecordingSink edgeSink;
    EXPECT_EQ(zmtest::ReadSized(edge, dir.Write("edge.wk1", bof + range + cell(255, 8191) + eof),
                                edgeSink),
              "0 8192x256");
    EXPECT_EQ(edgeSink.Number(256, 8192), 5);
    EXPECT_EQ(edge.GetWarningMessage(), nullptr);
}

TEST(LotusFile, DamagedFilesStopWithTheirCode) {
    const std::pair<const char*, std::string> cases[] = {
        {"no-range.wk1",
         "2312 -1x-1 An error occurred while trying to establish size size of the dataset. The "
         "file seems to be corrupt and cannot be imported."},
        {"short-range.wk1", "2312 -1x-1"},
        {"record-past-end.wk1",
         "2313 -1x-1 Found unexpected EOF (End-Of-File) while reading for data. The file seems "
         "to be corrupt and cannot be imported."},
        {"no-eof.wk1", "2313 -1x-1"},
        {"short-number.wk1",
         "2315 -1x-1 A corrupt data record was found. The file cannot be imported."},
        {"formula-overrun.wk1", "2315 -1x-1"},
        {"unterminated-label.wk1", "2315 -1x-1"},
    };
    for (const auto& [name, expected] : cases) {
        LotusFile file;
        zmtest::RecordingSink sink;
        const std::string read = zmtest::ReadSized(file, kData + name, sink);
        const std::string outcome = read + " " + zmtest::Message(file);
        EXPECT_EQ(outcome.substr(0, expected.size()), expected) << name;
        // The code stays until Close.
        EXPECT_EQ(file.Read(&sink), std::stoi(expected));
        file.Close();
        EXPECT_EQ(file.GetStatus(), 0);
    }

    // Cut anywhere, a real worksheet loses its EOF record: never read as complete.
    std::ifstream in(kData + "cells.wk1", std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(in), {}};
    zmtest::ScratchDir dir;
    for (size_t cut = 0; cut < whole.size(); ++cut) {
        LotusFile file;
        zmtest::RecordingSink sink;
        const int code = zmtest::ReadAll(file, dir.Write("cut.wk1", whole.substr(0, cut)), sink);
        EXPECT_TRUE(code == LotusFile::kNotLotus || code == LotusFile::kNoSize ||
                    code == LotusFile::kUnexpectedEof)
            << cut << ": " << code;
    }
}

}  // namespace
