// The .xlsx reader: references, escapes, cell types, shared strings, sheet choice and
// refusals on packages built here, and workbooks written by other programs.
#include "formats/workbook/xlsx/Excel2007File.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/XmlReader.h"
#include "platform/ZipPackage.h"
#include "tests/formats/workbook/WorkbookTestSupport.h"
#include "tests/support/Bounded.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Absent;
using zmtest::At;
const auto CodeOf = zmtest::StatusOf<Excel2007File>;
using zmtest::Parts;

const char* const kWorkbook =
    R"(<workbook xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" )"
    R"(xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships"><sheets>)"
    R"(<sheet name="First" sheetId="1" r:id="rId1"/><sheet name="Chart" sheetId="2" r:id="rId2"/>)"
    R"(<sheet name="Second" sheetId="3" r:id="rId3"/></sheets></workbook>)";
const char* const kRelationships =
    R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)"
    R"(<Relationship Id="rId1" Type="x/worksheet" Target="worksheets/sheet1.xml"/>)"
    R"(<Relationship Id="rId2" Type="x/chartsheet" Target="chartsheets/sheet1.xml"/>)"
    R"(<Relationship Id="rId3" Type="x/worksheet" Target="/xl/worksheets/sheet2.xml"/>)"
    R"(</Relationships>)";
const char* const kStyles =
    R"(<styleSheet><numFmts><numFmt numFmtId="164" formatCode="[Red]0.00"/>)"
    R"(<numFmt numFmtId="165" formatCode="d-mmm"/></numFmts><cellXfs><xf numFmtId="0"/>)"
    R"(<xf numFmtId="14"/><xf numFmtId="164"/><xf numFmtId="165"/></cellXfs></styleSheet>)";

std::string Sheet(const std::string& rows) {
    return "<worksheet><sheetData>" + rows + "</sheetData></worksheet>";
}

Parts Book(const std::string& first, const std::string& second = Sheet("")) {
    return {{"xl/workbook.xml", kWorkbook},
            {"xl/_rels/workbook.xml.rels", kRelationships},
            {"xl/styles.xml", kStyles},
            {"xl/sharedStrings.xml",
             "<sst><si><t>shared</t></si><si><r><t>ri</t></r><r><t>ch</t>"
             "</r><rPh><t>x</t></rPh></si><si><t>A_x000D_B</t></si></sst>"},
            {"xl/worksheets/sheet1.xml", first},
            {"xl/worksheets/sheet2.xml", second}};
}

// One sheet "S" holding `rows`, with the shared strings given (none: no such part).
Parts OneSheet(const std::string& rows, const char* strings = nullptr) {
    Parts parts = Book(Sheet(rows));
    parts["xl/workbook.xml"] =
        R"(<workbook xmlns:r="r"><sheets><sheet name="S" r:id="rId1"/></sheets></workbook>)";
    if (strings == nullptr)
        parts.erase("xl/sharedStrings.xml");
    else
        parts["xl/sharedStrings.xml"] = strings;
    return parts;
}

std::string Warning(Excel2007File& file) {
    const char* warning = file.GetWarningMessage();
    return warning != nullptr ? warning : "";
}

TEST(Excel2007File, ReferencesAndEscapes) {
    // (References in either case and beyond the last column and row are read below.)
    EXPECT_EQ(zm::xlsx::ColumnOfReference("17"), -1);
    EXPECT_EQ(zm::xlsx::ColumnOfReference("ZZZZZZZ1"), 16384);
    EXPECT_EQ(zm::xlsx::RowOfReference("A0"), 1048576);  // no sheet has row 0
    EXPECT_EQ(zm::xlsx::RowOfReference("A99999999999999999999"), 1048576);
    EXPECT_EQ(zm::xlsx::RowOfReference("C"), -1);
    EXPECT_EQ(zm::xlsx::DecodeEscapes("a_x000D_b_x0041__xZZZZ_"), "a\rbA_xZZZZ_");
    // A character beyond U+FFFF is escaped as its two surrogates: one four-byte character,
    // not two three-byte halves; a surrogate without its partner is U+FFFD.
    EXPECT_EQ(zm::xlsx::DecodeEscapes("_xD83D__xDE00_!"), "\xF0\x9F\x98\x80!");
    EXPECT_EQ(zm::xlsx::DecodeEscapes("_xd83d_x_xDE00_"), "\xEF\xBF\xBDx\xEF\xBF\xBD");
    EXPECT_EQ(zm::xlsx::DecodeEscapes("_x00E9__x20AC_"), "\xC3\xA9\xE2\x82\xAC");
}

TEST(Excel2007File, EveryCellTypeAndTheSheetChoice) {
    zmtest::ScratchDir dir;
    const std::string cells =
        R"(<row r="1"><c r="A1" t="s"><v>0</v></c><c r="B1" t="s"><v>1</v></c>)"
        R"(<c r="C1" t="s"><v>2</v></c><c r="D1" t="b"><v>0</v></c><c r="E1" t="b"/></row>)"
        R"(<row r="3"><c r="A3" s="1"><v>2.5</v></c><c r="B3" s="2"><v>2.5</v></c>)"
        R"(<c r="C3" s="3" t="n"><v>61</v></c><c r="D3" t="str"><v>text result</v></c>)"
        R"(<c r="E3" t="inlineStr"><is><t>in</t><r><t>line</t></r></is></c>)"
        R"(<c r="F3" t="e"><v>#N/A</v></c><c r="G3" t="d"><v>2017-03-16T12:00:00</v></c>)"
        R"(<c r="H3" s="1"/></row>)";
    const std::string book = zmtest::WriteZip(
        dir.Path("a.xlsx"), Book(Sheet(cells), Sheet(R"(<row r="2">)"
                                                     R"(<c r="B2"><v>7</v></c></row>)")));
    // Without options both worksheets are read, stacked; the chart sheet drops out.
    Excel2007File file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadSized(file, book, sink), "0 5x8");
    EXPECT_EQ(file.GetWorksheets(), (std::vector<std::string>{"First", "Second"}));
    // Rich runs joined without the phonetic run; a boolean without a value is no cell;
    // style 14 is a built-in date, "[Red]0.00" no date format, "d-mmm" one. The styled
    // empty cell H3 adds no column: the eighth is the one naming the sheet.
    zmtest::ExpectCells(
        sink, {At(1, 1, "shared"), At(2, 1, "rich"), At(3, 1, "A\rB"), At(4, 1, "FALSE"),
               Absent(5, 1), At(1, 3, "1900-01-02 12:00:00"), At(2, 3, 2.5), At(3, 3, "1900-03-01"),
               At(4, 3, "text result"), At(5, 3, "inline"), At(6, 3, "#N/A"),
               At(7, 3, "2017-03-16 12:00:00"), At(8, 3, "sheet: First"), At(2, 5, 7),
               At(8, 5, "sheet: Second")});
    EXPECT_STREQ(file.GetReadFile(), "First_Second");

    zm::SettingsDocument second;
    second.SetString("Settings", "Sheets", "Second");
    zmtest::OptionsRecord record(second);
    Excel2007File one;
    zmtest::RecordingSink oneSink;
    EXPECT_EQ(zmtest::ReadSized(one, book, oneSink, &record.options), "0 2x2");
    EXPECT_STREQ(one.GetReadFile(), "Second");
}

TEST(Excel2007File, ReferencesInAnyCaseAndBeyondTheSheetLimits) {
    // Lower-case references place their cells as upper-case ones do. Cells beyond XFD or
    // row 1,048,576 (by reference, by row, or following the last column without one) are
    // left out and counted, never moved onto XFD1 or the last row.
    zmtest::ScratchDir dir;
    std::string past;
    for (int i = 0; i < 5; ++i)
        past += "<c><v>" + std::to_string(i) + "</v></c>";
    const std::string rows =
        R"(<row r="1"><c r="d1"><v>4</v></c><c r="XFD1"><v>3</v></c><c r="XFE1"><v>1</v></c>)"
        R"(<c r="ZZZZ1"><v>2</v></c></row><row r="2"><c r="XFC2"><v>6</v></c>)" +
        past +
        R"(</row><row r="1048577"><c><v>7</v></c></row>)"
        R"(<row r="3"><c r="b3" t="inlineStr"><is><t>low</t></is></c>)"
        R"(<c r="C1048577"><v>8</v></c></row><row r="1048576"><c r="a1048576"><v>9</v></c></row>)";
    Excel2007File file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadSized(file, zmtest::WriteZip(dir.Path("r.xlsx"), OneSheet(rows)), sink),
              "0 1048576x16384");
    // The first cell after XFC2 is XFD2.
    zmtest::ExpectCells(sink, {At(4, 1, 4), At(16384, 1, 3), At(16383, 2, 6), At(16384, 2, 0),
                               At(2, 3, "low"), At(1, 1048576, 9)});
    // XFE1, ZZZZ1, four cells after XFD2, the cell of row 1,048,577 and C1048577.
    EXPECT_EQ(Warning(file), "8 cells beyond column XFD or row 1048576 were left out.\n");

    // A declared dimension of the whole grid with three cells: the sheet is as big as
    // its cells, not its declaration.
    Excel2007File huge;
    zmtest::RecordingSink hugeSink;
    Parts declared = OneSheet("");
    declared["xl/worksheets/sheet1.xml"] =
        R"(<worksheet><dimension ref="A1:XFD1048576"/><sheetData>)"
        R"(<row r="1" spans="1:16384"><c r="A1"><v>1</v></c></row>)"
        R"(<row r="5"><c r="C5"><v>2</v></c><c r="XFD5" s="1"/></row>)"
        R"(<row r="9"><c r="B9"><v>3</v></c></row></sheetData></worksheet>)";
    EXPECT_EQ(zmtest::ReadSized(huge, zmtest::WriteZip(dir.Path("h.xlsx"), declared), hugeSink),
              "0 9x3");
}

TEST(Excel2007File, SharedStringCellsThatNameNoStringAreCounted) {
    zmtest::ScratchDir dir;
    const std::string rows = R"(<row r="1"><c r="A1" t="s"><v>0</v></c><c r="B1" t="s"><v>7</v>)"
                             R"(</c><c r="C1" t="s"><v>-1</v></c><c r="D1" t="s"><v>x</v></c>)"
                             R"(<c r="E1" t="s"><v>0.5</v></c><c r="F1" t="s"/></row>)";
    Excel2007File file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadSized(file,
                                zmtest::WriteZip(dir.Path("s.xlsx"),
                                                 OneSheet(rows, "<sst><si><t>kept</t></si></sst>")),
                                sink),
              "0 1x2");
    EXPECT_EQ(sink.Text(1, 1), "kept");
    EXPECT_FALSE(sink.Has(2, 1));
    EXPECT_EQ(Warning(file),
              "4 cells name a shared string the workbook does not hold; they were left empty.\n");

    // Without a shared-strings part every such cell is unresolved.
    Excel2007File none;
    zmtest::RecordingSink noneSink;
    zmtest::ReadSized(none, zmtest::WriteZip(dir.Path("n.xlsx"), OneSheet(rows)), noneSink);
    EXPECT_EQ(Warning(none),
              "5 cells name a shared string the workbook does not hold; they were left empty.\n");
}

TEST(Excel2007File, RefusalsDamageAndHostileXml) {
    // A stored part edited after its checksum was written (12345 became 99345), and one
    // flipped bit inside deflated data: both are corrupt, not a changed value.
    for (const char* name :
         {"crc-stored-entry-edited.xlsx", "crc-flipped-bit-in-deflated-data.xlsx"}) {
        Excel2007File file;
        zmtest::RecordingSink sink;
        EXPECT_EQ(zmtest::ReadAll(file, std::string(ZM_TEST_DATA) + "/xlsx/" + name, sink), 771)
            << name;
        EXPECT_EQ(sink.Dump().find("99345"), std::string::npos) << name;
    }
    zmtest::ScratchDir dir;
    EXPECT_EQ(CodeOf(dir.Write("n.xlsx", "not a zip")), "770 Unable to open Excel file.");
    // Only a chart sheet; entities that expand a thousandfold; runs nested 250 deep (read)
    // and 300 deep; a document type in a sheet part, even one declaring nothing.
    Parts charts = OneSheet(""), entity = OneSheet(""), typed = OneSheet("");
    charts["xl/workbook.xml"] =
        R"(<workbook xmlns:r="r"><sheets><sheet name="C" r:id="rId2"/></sheets></workbook>)";
    entity["xl/workbook.xml"] = R"(<!DOCTYPE w [<!ENTITY a "aaaaaaaaaa"><!ENTITY b )"
                                R"("&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;"><!ENTITY c "&b;&b;&b;&b;&b;)"
                                R"(&b;&b;&b;&b;&b;"><!ENTITY d "&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;">)"
                                R"(]><workbook><sheets><sheet name="&d;"/></sheets></workbook>)";
    const std::string cell = R"(<row r="1"><c r="A1" t="s"><v>0</v></c></row>)";
    typed["xl/worksheets/sheet1.xml"] = "<!DOCTYPE worksheet>" + Sheet(cell);
    auto nested = [](int depth) {
        std::string runs;
        for (int i = 0; i < depth; ++i)
            runs = "<r>" + runs + "</r>";
        return "<sst><si><t>a</t>" + runs + "</si></sst>";
    };
    const std::string corrupt = "771 The file is corrupt.";
    const std::pair<Parts, std::string> cases[] = {
        {charts, "769 The file contains no sheets."},
        {{{"xl/workbook.txt", "?"}}, "773 The file contains an unsupported format."},
        {Book(Sheet("<row><c><v>1</v></row>")), corrupt},
        {entity, corrupt},
        {OneSheet(cell, nested(250).c_str()), "0 "},
        {OneSheet(cell, nested(300).c_str()), corrupt},
        {typed, corrupt}};
    for (const auto& [parts, expected] : cases)
        EXPECT_EQ(CodeOf(zmtest::WriteZip(dir.Path("x.xlsx"), parts)), expected);
}

// The growth of the peak resident size, in MB, while `work` runs in a child process;
// -1 when the work failed.
template <class Work>
long PeakGrowthMb(Work&& work) {
    const zmtest::Outcome run = zmtest::RunBounded({60}, [&](int& code) {
        code = work() ? 0 : 2;
        return std::string();
    });
    return run.exited && run.code == 0 ? run.GrowthKb() / 1024 : -1;
}

TEST(Excel2007File, TwoMillionSharedStringsAreHeldCompactly) {
    // About 5 bytes of table a string here, where a string object each took 32 and more.
    zmtest::ScratchDir dir;
    std::string strings = "<sst>";
    for (int i = 0; i < 2000000; ++i)
        strings += "<si><t>" + std::to_string(i) + "</t></si>";
    strings += "</sst>";
    const std::string path = zmtest::WriteZip(
        dir.Path("m.xlsx"), {{"xl/sharedStrings.xml", strings}, {"xl/other.xml", "<x/>"}});
    strings.clear();
    strings.shrink_to_fit();
    const auto package = zm::ZipPackage::Open(path);
    ASSERT_NE(package, nullptr);
    // What the XML parser alone takes for the part, and that with the table built.
    const long parser = PeakGrowthMb([&] {
        struct Nothing : zm::XmlHandler {
            void Start(std::string_view, const std::vector<zm::XmlAttribute>&) override {}
            void End(std::string_view) override {}
            void Text(std::string_view) override {}
        } nothing;
        auto stream = package->OpenStream("xl/sharedStrings.xml", 1 << 28);
        std::string error;
        return stream && zm::ParseXml(*stream, nothing, error);
    });
    const long table = PeakGrowthMb([&] {
        zm::xlsx::StringTable strings;
        return zm::xlsx::ReadSharedStrings(*package, "xl/sharedStrings.xml", strings) &&
               strings.size() == 2000000 && std::string(strings[1999999]) == "1999999";
    });
    ASSERT_GE(parser, 0);
    ASSERT_GE(table, 0);
    // 2 million strings of 7 characters: 26 to 40 MB as held (texts, ends and starts,
    // measured on a loaded machine); string objects took 64 MB, and half as much again
    // while their vector grew. The sanitizers' allocator keeps freed memory: no bound.
#if !defined(__SANITIZE_ADDRESS__)
    EXPECT_LT(table - parser, 56) << parser << " MB for the parser, " << table << " with the table";
#endif
}

std::string Fixture(const std::string& name) {
    return std::string(ZM_TEST_DATA) + "/xlsx/" + name;
}

// SheetJS writes the same table with shared strings, with texts in the cells and as a
// binary workbook in short cell records: all three read alike.
TEST(Excel2007File, OneTableWrittenThreeWaysBySheetJS) {
    std::string first;
    for (const char* name : {"sheetjs-shared.xlsx", "sheetjs-inline.xlsx", "sheetjs.xlsb"}) {
        Excel2007File file;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadSized(file, Fixture(name), sink), "0 4x5") << name;
        // (5, 3) is a formula's cached result.
        zmtest::ExpectCells(
            sink,
            {At(1, 3, "caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC"), At(3, 2, "2024-03-01"),
             At(3, 3, "2024-03-02 12:30:00"), At(4, 3, "FALSE"), At(5, 2, "#DIV/0!"), At(5, 3, 7),
             At(1, 4, "line\r\nbreak")},
            name);
        if (first.empty())
            first = sink.Dump();
        else
            EXPECT_EQ(sink.Dump(), first) << name;
    }
}

// Workbooks written by openpyxl, XlsxWriter (1904 date system included), Gnumeric and Excel.
TEST(Excel2007File, WorkbooksWrittenByOtherPrograms) {
    struct Case {
        std::string file, size;
        std::vector<zmtest::Expect> cells;
    };
    const Case cases[] = {
        {Fixture("two-sheets.xlsx"),
         "0 7x5",
         {At(3, 2, "2024-03-01"), At(3, 3, "2024-03-02 12:30:00"), At(4, 2, "TRUE"),
          At(1, 4, "caf\xC3\xA9"), At(2, 4, 1e20), At(1, 5, "line one\r\nline two"), At(3, 7, 42)}},
        // "0.00;[Red]-0.00" is no date format.
        {Fixture("xlsxwriter.xlsx"),
         "0 6x7",
         {At(2, 2, -3.5), At(3, 2, "1999-12-31"), At(4, 2, "2024-03-02 12:30:00"),
          At(1, 3, "S-2 \xC2\xB5g"), At(2, 3, -7), At(3, 3, "#DIV/0!"), At(7, 6, 123456789.125)}},
        {Fixture("gnumeric.xlsx"), "0 4x3", {At(3, 2, "a, b"), Absent(2, 3), At(2, 4, -4e-05)}},
        // A time of day stays one.
        {Fixture("xlsxwriter-1904.xlsx"),
         "0 1x4",
         {At(1, 1, "2024-03-01"), At(2, 1, "2024-03-02 12:30:00"), At(3, 1, "06:15:00"),
          At(4, 1, 5)}},
        {Fixture("openpyxl-1904.xlsx"),
         "0 1x4",
         {At(1, 1, "2024-03-01"), At(2, 1, "2024-03-02 12:30:00"), At(3, 1, "06:15:00"),
          At(4, 1, 5)}},
        // Saved by Excel, with an extension's "x15:workbookPr" after the 1904 flag.
        {std::string(ZM_CORPUS) + "/xlsx/Test_git_Issue_649_Date1904_Parsings.xlsx",
         "",
         {At(13, 12, "2023-09-01")}},
    };
    for (const Case& c : cases) {
        Excel2007File file;
        zmtest::RecordingSink sink;
        const std::string read = zmtest::ReadSized(file, c.file, sink);
        if (!c.size.empty()) {
            EXPECT_EQ(read, c.size) << c.file;
        }
        zmtest::ExpectCells(sink, c.cells, c.file);
    }
}

}  // namespace
