// The Excel 97-2003 reader: RK numbers and dates, date formats, sheet choice and layouts,
// limits and refusals on hand-built record streams, and workbooks of other programs.
#include "formats/workbook/ExcelFile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "formats/workbook/SpreadsheetDate.h"
#include "framework/OptionsRecord.h"
#include "platform/Settings.h"
#include "tests/formats/workbook/WorkbookTestSupport.h"
#include "tests/support/Bytes.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Absent;
using zmtest::At;

using zmtest::F64;
using zmtest::U16;
using zmtest::U32;

// A BIFF record: type, length, data. Streams of them are written as plain files (the
// reader takes a plain record stream as readily as a compound file's workbook stream).
std::string Rec(uint16_t type, const std::string& data) {
    return U16(type) + U16(static_cast<uint16_t>(data.size())) + data;
}

std::string Bof(uint16_t substream) {
    return U16(0x0600) + U16(substream) + std::string(12, '\0');
}

// A workbook with sheets of the given sizes: each gets a NUMBER in its last cell, in XF 1
// (format "dd.mm.yyyy", a date) or XF 0 (format "d", no date). `extra` records go into the
// globals, `sheetExtra` into every sheet. The date test reads a BIFF8 format's raw bytes
// from the count's high byte on, so a format needs more than two characters to show its
// letters; "d" never does.
std::string Workbook(const std::vector<std::pair<int, int>>& sizes, const std::string& extra = "",
                     const std::string& sheetExtra = "") {
    std::string globals = Rec(0x0809, Bof(0x0005)) + extra;
    // FORMAT 164 "d" and 165 "dd.mm.yyyy" (BIFF8: index, count, option byte, characters).
    globals += Rec(0x041E, U16(164) + U16(1) + std::string(1, '\0') + "d");
    globals += Rec(0x041E, U16(165) + U16(10) + std::string(1, '\0') + "dd.mm.yyyy");
    globals += Rec(0x00E0, U16(0) + U16(164) + std::string(16, '\0'));
    globals += Rec(0x00E0, U16(0) + U16(165) + std::string(16, '\0'));
    const size_t boundsheetSize = 4 + 9;  // header, position, options, one-character name
    const size_t globalsEnd = globals.size() + sizes.size() * boundsheetSize + 4;
    std::vector<std::string> sheets;
    for (const auto& [rows, cols] : sizes) {
        std::string sheet = Rec(0x0809, Bof(0x0010)) + sheetExtra +
                            Rec(0x0200, U32(0) + U32(rows) + U16(0) + U16(cols) + U16(0));
        if (rows > 0 && cols > 0)
            sheet += Rec(0x0203, U16(rows - 1) + U16(cols - 1) + U16(rows % 2) + F64(61.5));
        sheets.push_back(sheet + Rec(0x000A, ""));
    }
    size_t position = globalsEnd;
    for (size_t i = 0; i < sizes.size(); ++i) {
        globals +=
            Rec(0x0085, U32(static_cast<uint32_t>(position)) + U16(0) + std::string(1, '\1') +
                            std::string(1, '\0') + std::string(1, char('A' + i)));
        position += sheets[i].size();
    }
    globals += Rec(0x000A, "");
    for (const std::string& s : sheets)
        globals += s;
    return globals;
}

TEST(ExcelFile, RkNumbersAndDates) {
    EXPECT_EQ(ExcelFile::NumFromRk(0x3FF00001), 0.01);   // a double's high bits, / 100
    EXPECT_EQ(ExcelFile::NumFromRk(0x00000192), 100.0);  // an integer
    EXPECT_EQ(ExcelFile::NumFromRk(0xFFFFFFFE), -1.0);
    EXPECT_EQ(zm::SerialToDateText(0.5), "12:00:00");
    EXPECT_EQ(zm::SerialToDateText(59.0), "1900-02-28");
    EXPECT_EQ(zm::SerialToDateText(60.0), "1900-02-29");  // the 1900 system's own day
    EXPECT_EQ(zm::SerialToDateText(61.0), "1900-03-01");
    EXPECT_EQ(zm::SerialToDateText(1.999999999), "1900-01-02");  // rounds to the next day
    EXPECT_EQ(zm::SerialToDateText(3e7), "");                    // past 9999-12-31
    // The 1904 system counts from 1904-01-01 and has no fictitious day.
    EXPECT_EQ(zm::SerialToDateText(1.0, true), "1904-01-02");
    EXPECT_EQ(zm::SerialToDateText(59.0, true), "1904-02-29");
    EXPECT_EQ(zm::SerialToDateText(60.0, true), "1904-03-01");
    EXPECT_EQ(zm::SerialToDateText(2957003.0, true), "9999-12-31");
    EXPECT_EQ(zm::SerialToDateText(2957004.0, true), "");
}

TEST(ExcelFile, DateFormatsSheetChoiceAndLayouts) {
    zmtest::ScratchDir dir;
    const std::string book = dir.Write("two.xls", Workbook({{10, 3}, {5, 4}}));
    // Without options every sheet is read, stacked, with a column naming the sheet.
    ExcelFile stacked;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadSized(stacked, book, sink), "0 15x5");
    EXPECT_EQ(stacked.GetWorksheets(), (std::vector<std::string>{"A", "B"}));
    // XF 0 is format "d" (one date character: a number), XF 1 is "dd.mm.yyyy" (a date).
    // Only rows that hold a value name their sheet.
    zmtest::ExpectCells(sink, {At(3, 10, 61.5), At(4, 15, "1900-03-01 12:00:00"), Absent(5, 1),
                               At(5, 10, "sheet: A"), At(5, 15, "sheet: B")});
    EXPECT_EQ(sink.cells.size(), 4u);
    EXPECT_STREQ(stacked.GetReadFile(), "A_B");

    // Side by side, from options; then one sheet by number.
    zm::SettingsDocument side;
    side.SetInt("Settings", "ReadOrder", 3);
    side.SetString("Settings", "Sheets", "B;A;nosuch");
    zmtest::OptionsRecord sideRecord(side);
    ExcelFile beside;
    zmtest::RecordingSink besideSink;
    EXPECT_EQ(zmtest::ReadSized(beside, book, besideSink, &sideRecord.options), "0 11x7");
    // B first; the last row names the sheet above each column that holds a value.
    zmtest::ExpectCells(besideSink, {At(4, 5, "1900-03-01 12:00:00"), At(7, 10, 61.5),
                                     At(4, 11, "sheet: B"), At(7, 11, "sheet: A"), Absent(1, 11)});
    EXPECT_EQ(besideSink.cells.size(), 4u);
    zm::SettingsDocument second;
    second.SetString("Settings", "Sheets", "2");
    second.SetBool("Settings", "UseIndexes", true);
    zmtest::OptionsRecord secondRecord(second);
    ExcelFile one;
    zmtest::RecordingSink oneSink;
    EXPECT_EQ(zmtest::ReadSized(one, book, oneSink, &secondRecord.options), "0 5x4");
    EXPECT_STREQ(one.GetReadFile(), "B");

    // The file's own options reproduce the default choice.
    ExcelFile asked;
    ZmImportOpenOptions* record = asked.GetFileReadOptions(book.c_str(), true);
    ASSERT_NE(record, nullptr);
    std::unique_ptr<zm::SettingsDocument> document;
    ASSERT_EQ(zm::DecodeOptions(record, document), zm::OptionsDecode::kDecoded);
    zm::FreeOptionsRecord(record);
    EXPECT_EQ(document->GetString("Settings", "Sheets"), "A;B");
    EXPECT_EQ(document->GetInt("Settings", "ReadOrder"), 3);
    EXPECT_EQ(document->GetBool("Settings", "AllSheets"), true);
}

TEST(ExcelFile, EmptyAndDialogSheetsRecordLimitsAndRefusals) {
    zmtest::ScratchDir dir;
    auto codeOf = [&](const std::string& bytes) {
        return zmtest::StatusOf<ExcelFile>(dir.Write("x.xls", bytes));
    };
    // 0 rows and 256 columns is an empty sheet, skipped; 0 rows and 10 columns is kept.
    EXPECT_EQ(codeOf(Workbook({{0, 256}})), "263 The excel file does not contain any sheets.");
    ExcelFile kept;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadSized(kept, dir.Write("k.xls", Workbook({{0, 256}, {0, 10}})), sink),
              "0 0x10");
    // A dialog sheet (WSBOOL bit 4) is no worksheet.
    const std::string dialog = Rec(0x0081, std::string(1, '\x10') + std::string(1, '\0'));
    EXPECT_EQ(codeOf(Workbook({{3, 3}}, "", dialog)).substr(0, 3), "263");
    // An encrypted workbook, a record longer than BIFF8 allows, no BOF, a later version.
    const std::string filePass = Rec(0x002F, std::string(6, '\0'));
    EXPECT_EQ(codeOf(Workbook({{2, 2}}, filePass)).substr(0, 9), "261 TAVIX");
    const std::string tooLong =
        Rec(0x0809, Bof(0x0005)) + U16(0x00FC) + U16(8225) + std::string(8225, '\0');
    EXPECT_EQ(codeOf(tooLong).substr(0, 4), "257 ");
    EXPECT_EQ(codeOf("plain text, no record"),
              "259 This file does not appear to be a valid Excel file.");
    const std::string future = Rec(0x0909, Bof(0x0005));
    EXPECT_EQ(codeOf(future).substr(0, 9), "264 TAVIX");
}

TEST(ExcelFile, OnlyDimensionsSizesASheetAndContinuedTextsKeepTheirWidth) {
    // A hyperlink tooltip (0x0800) after the DIMENSIONS record has 12 bytes too, with
    // 65537 and 116 where DIMENSIONS keeps rows and columns: the sheet stays 3 x 2. A
    // LABEL's two-byte characters go on in a CONTINUE record that has no option byte.
    zmtest::ScratchDir dir;
    const std::string sheet = Rec(0x0809, Bof(0x0010)) +
                              Rec(0x0200, U32(0) + U32(3) + U16(0) + U16(2) + U16(0)) +
                              Rec(0x0203, U16(2) + U16(1) + U16(0) + F64(5)) +
                              Rec(0x0800, U32(0) + U32(65537) + U16(0) + U16(116) + "tip!") +
                              Rec(0x0204, U16(0) + U16(0) + U16(0) + U16(4) +
                                              std::string("\x01"
                                                          "a\0\xE9\0",
                                                          5)) +
                              Rec(0x003C, std::string("b\0c\0", 4)) + Rec(0x000A, "");
    ExcelFile file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadSized(file, dir.Write("tip.xls", sheet), sink), "0 3x2");
    zmtest::ExpectCells(sink, {At(2, 3, 5), At(1, 1,
                                               "a\xC3\xA9"
                                               "bc")});
}

TEST(ExcelFile, ADamagedCompoundFileIsRefusedQuietly) {
    // The stream's sectors are missing: the reader says so, and nothing else is printed.
    ExcelFile file;
    zmtest::RecordingSink sink;
    ::testing::internal::CaptureStderr();
    const int code =
        zmtest::ReadAll(file, std::string(ZM_TEST_DATA) + "/xls/insufficient-blocks.xls", sink);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(code, ExcelFile::kNoExcelStream);
    EXPECT_EQ(zmtest::Message(file), "No Excel stream was found in the file.");
}

std::string Data(const std::string& name) {
    return std::string(ZM_TEST_DATA) + "/xls/" + name;
}

TEST(ExcelFile, WorkbooksWrittenByOtherPrograms) {
    // Gnumeric: texts (shared strings in BIFF8, code-page bytes in BIFF5), numbers, date
    // formats and formula results, text results from their STRING records included; it
    // names the sheet after the file. SheetJS: BIFF2 to BIFF4 as plain record streams (a
    // worksheet file: no sheet names), BIFF5 and BIFF8 as compound files; 40000 goes in
    // the BIFF2 INTEGER record (16 bits, unsigned) up to BIFF4. A Macintosh program's
    // BIFF3 worksheet brings its FORMAT and XF records and its 1904 date system itself.
    struct Case {
        std::string file, size, sheets;
        std::vector<zmtest::Expect> cells;
    };
    const std::vector<zmtest::Expect> gnumeric = {
        At(1, 1, "name"), At(1, 4, "gamma, delta"), At(2, 2, 1.5),
        At(2, 4, 1e20),   At(3, 2, "2024-03-01"),   At(3, 3, "2024-03-02 12:30:00"),
        At(4, 3, -4.0),   At(5, 2, "alpha!"),       At(5, 4, "caf\xC3\xA9")};
    const std::vector<zmtest::Expect> sheetjs = {At(1, 1, "name"), At(1, 4, "gamma"),
                                                 At(2, 3, -2.25),  At(2, 4, 1e-7),
                                                 At(3, 2, 3),      At(3, 3, 40000)};
    const Case cases[] = {
        {Data("mixed-biff8.xls"), "0 4x5", "mixed.csv", gnumeric},
        {Data("mixed-biff5.xls"), "0 4x5", "mixed.csv", gnumeric},
        {Data("sheetjs-biff2.xls"), "0 4x3", "", sheetjs},
        {Data("sheetjs-biff3.xls"), "0 4x3", "", sheetjs},
        {Data("sheetjs-biff4.xls"), "0 4x3", "", sheetjs},
        {Data("sheetjs-biff5.xls"), "0 4x3", "Data", sheetjs},
        {Data("sheetjs-biff8.xls"), "0 4x3", "Data", sheetjs},
        {std::string(ZM_CORPUS) + "/xls/as3xls_BIFF3.xls",
         "0 10x5",
         "",
         {At(3, 2, "2007-02-22"), At(3, 3, "2002-01-19"), At(3, 1, 10.22)}},
    };
    for (const Case& c : cases) {
        ExcelFile file;
        zmtest::RecordingSink sink;
        EXPECT_EQ(zmtest::ReadSized(file, c.file, sink), c.size) << c.file;
        zmtest::ExpectCells(sink, c.cells, c.file);
        EXPECT_STREQ(file.GetReadFile(), c.sheets.c_str()) << c.file;
    }
}

TEST(ExcelFile, WorkbooksOfTheDateSystem1904WrittenByGnumeric) {
    // Gnumeric's BIFF8, BIFF5 and dual-stream files of one 1904 workbook: dates as the
    // writer showed them, booleans and error values stored and computed, texts of 8,300
    // characters that go on in CONTINUE records (a cell's, and a formula's result whose
    // CONTINUE has no option byte). The dual-stream file is read from its BIFF8 stream,
    // which keeps the Greek text that the BIFF5 copy turned into '?'.
    for (const char* name : {"values-biff8.xls", "values-biff5.xls", "values-dual-stream.xls"}) {
        SCOPED_TRACE(name);
        const bool biff5 = std::string(name) == "values-biff5.xls";
        ExcelFile file;
        zmtest::RecordingSink sink;
        EXPECT_EQ(zmtest::ReadSized(file, Data(name), sink), "0 5x3");
        EXPECT_EQ(sink.Text(1, 1), biff5 ? "?????" : "\u03a9\u03bc\u03ad\u03b3\u03b1");
        const std::string longText = sink.Text(2, 1);
        EXPECT_EQ(longText.size(), biff5 ? 8300u : 8301u);  // the Omega takes two bytes
        EXPECT_EQ(longText.substr(longText.size() - 3), "xxx");
        const std::string result = sink.Text(1, 2);
        EXPECT_EQ(result.size(), 8301u);
        EXPECT_EQ(result.substr(result.size() - 3), "ab!");
        zmtest::ExpectCells(sink, {At(2, 2, "TRUE"), At(3, 2, "FALSE"), At(1, 3, "#DIV/0!"),
                                   At(2, 3, "#N/A"), At(3, 3, "TRUE"), At(1, 4, "2024-03-01"),
                                   At(2, 4, "2024-03-02 12:30:00"), At(2, 5, 7)});
        EXPECT_EQ(file.GetWarningMessage(), nullptr);
    }
}

TEST(ExcelFile, Biff2AndBiff4WorksheetsTakeTheirDateFormatsFromTheirOwnRecords) {
    // FORMAT records are numbered in the order they come; the XF names one of them (BIFF2:
    // the low 6 bits of its third byte; BIFF4: its second byte); a BIFF2 cell names its XF
    // in its attributes, or 63 for "the IXFE record before me".
    zmtest::ScratchDir dir;
    std::string two =
        Rec(0x0009, U16(0x0002) + U16(0x0010)) + Rec(0x0000, U16(0) + U16(2) + U16(0) + U16(3)) +
        Rec(0x001E, std::string("\x07General")) + Rec(0x001E, std::string("\x0Ayyyy-mm-dd")) +
        Rec(0x0043, std::string("\0\0\0\0", 4)) + Rec(0x0043, std::string("\0\0\x01\0", 4));
    const std::string xf1 = std::string("\x01\0\0", 3), xf0(3, '\0');
    two += Rec(0x0002, U16(0) + U16(0) + xf1 + U16(45352));
    two += Rec(0x0003, U16(0) + U16(1) + xf0 + F64(45352.5));
    two += Rec(0x0044, U16(1));
    two += Rec(0x0002, U16(1) + U16(2) + std::string("\x3F\0\0", 3) + U16(45353));
    two += Rec(0x000A, "");
    ExcelFile biff2;
    zmtest::RecordingSink sink2;
    EXPECT_EQ(zmtest::ReadSized(biff2, dir.Write("two.xls", two), sink2), "0 2x3");
    zmtest::ExpectCells(sink2, {At(1, 1, "2024-03-01"), At(2, 1, 45352.5), At(3, 2, "2024-03-02")});

    // BIFF4, in the 1904 date system: the same serial is four years and a day later.
    const std::string four = Rec(0x0409, U16(0) + U16(0x0010) + U16(0)) + Rec(0x0022, U16(1)) +
                             Rec(0x0200, U16(0) + U16(1) + U16(0) + U16(2) + U16(0)) +
                             Rec(0x041E, U16(0) + std::string("\x07General")) +
                             Rec(0x041E, U16(0) + std::string("\x08yy-mm-dd")) +
                             Rec(0x0443, std::string(12, '\0')) +
                             Rec(0x0443, std::string("\0\x01", 2) + std::string(10, '\0')) +
                             Rec(0x0203, U16(0) + U16(0) + U16(1) + F64(43890)) +
                             Rec(0x0203, U16(0) + U16(1) + U16(0) + F64(43890)) + Rec(0x000A, "");
    ExcelFile biff4;
    zmtest::RecordingSink sink4;
    EXPECT_EQ(zmtest::ReadSized(biff4, dir.Write("four.xls", four), sink4), "0 1x2");
    zmtest::ExpectCells(sink4, {At(1, 1, "2024-03-01"), At(2, 1, 43890)});
}

}  // namespace

// Hostile and damaged files (fuzz/corpus, written by tests/data/xls/make_hostile_seeds.py):
// record walks that lead back or overlap are refused, declared sheet sizes cost no cells,
// and texts that claim more than the file holds are read with a warning that counts them.
namespace {

std::string Seed(const char* name) {
    return std::string(ZM_TEST_DATA) + "/../../fuzz/corpus/" + name;
}

TEST(ExcelFileDamage, RecordWalksThatLeadBackOrOverlapAreRefused) {
    // A BIFF4 workbook's sheet offset onto itself or back to the start, and 4000 sheet
    // records that each point into the same sheet (each would be walked to its end).
    for (const char* name :
         {"xls-biff4-sheet-offset-onto-itself.xls", "xls-biff4-sheet-offset-backwards.xls",
          "xls-sheet-records-into-one-sheet-quadratic.xls"}) {
        SCOPED_TRACE(name);
        ExcelFile file;
        zmtest::RecordingSink sink;
        EXPECT_EQ(zmtest::ReadAll(file, Seed(name), sink), ExcelFile::kBadGlobalsRecord);
        EXPECT_EQ(zmtest::Message(file),
                  "An error occurred when reading the Workbook section in the Excel file. An "
                  "invalid BIFF-record was found.");
    }
}

TEST(ExcelFileDamage, DeclaredSheetSizesCostNoCells) {
    // A DIMENSIONS record beyond what BIFF8 holds is cut to 65536 x 256; eight stacked
    // sheets that each declare a million rows around one value get one label each.
    ExcelFile one;
    zmtest::RecordingSink oneSink;
    EXPECT_EQ(zmtest::ReadAll(one, Seed("xls-dimensions-1048576-by-16384.xls"), oneSink), 0);
    EXPECT_EQ(one.GetNumRows(), 65536);
    EXPECT_EQ(one.GetNumCols(), 256);
    EXPECT_EQ(oneSink.cells.size(), 1u);

    ExcelFile stacked;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(stacked, Seed("xls-sheet-label-for-every-declared-row.xls"), sink),
              0);
    EXPECT_EQ(stacked.GetNumRows(), 8 * 65536);
    EXPECT_EQ(stacked.GetNumCols(), 2);
    EXPECT_EQ(sink.cells.size(), 16u);
    zmtest::ExpectCells(sink, {At(2, 65537, "sheet: B"), At(1, 65537, 1.0)});
}

TEST(ExcelFileDamage, TextsLongerThanTheFileAreCountedInTheWarning) {
    // A shared string claims 60,000 characters and swallows the next one: the cell of the
    // cut string keeps what is there, the cells of the swallowed string and of an index
    // past the table stay empty, and a LABEL whose length exceeds its record keeps its 3
    // characters. All four are counted.
    ExcelFile file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(file, Seed("xls-shared-string-longer-than-the-file.xls"), sink), 0);
    EXPECT_EQ(sink.Text(1, 1).substr(0, 3), "abc");
    zmtest::ExpectCells(sink, {Absent(2, 1), Absent(3, 1), At(1, 2, "xyz")});
    ASSERT_NE(file.GetWarningMessage(), nullptr);
    EXPECT_EQ(std::string(file.GetWarningMessage()),
              "4 cells of the Excel file could not be read in full: their text is cut short or "
              "refers to a shared string the file does not hold.");
}

}  // namespace
