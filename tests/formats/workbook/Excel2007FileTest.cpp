// The .xlsx reader: cell references, date formats and escapes, every cell type, sheet
// choice, refusals, a huge declared dimension and a sheet part that inflates too far, on
// small packages built here, and the workbook written by openpyxl.
#include "formats/workbook/xlsx/Excel2007File.h"

#include <gtest/gtest.h>
#include <zipios++/zipoutputstream.h>

#include <map>
#include <string>

#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using Parts = std::map<std::string, std::string>;

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

std::string Package(const zmtest::ScratchDir& dir, const std::string& name, const Parts& parts) {
    const std::string path = dir.Path(name);
    zipios::ZipOutputStream out(path);
    for (const auto& [part, text] : parts) {
        out.putNextEntry(part);
        out << text;
    }
    return path;
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

std::string Read(Excel2007File& file, const std::string& path, zmtest::RecordingSink& sink,
                 ZmImportOpenOptions* options = nullptr) {
    const int status = zmtest::ReadAll(file, path, sink, options);
    return std::to_string(status) + " " + std::to_string(file.GetNumRows()) + "x" +
           std::to_string(file.GetNumCols());
}

TEST(Excel2007File, ReferencesDateFormatsAndEscapes) {
    EXPECT_EQ(zm::xlsx::ColumnOfReference("AA10"), 26);
    EXPECT_EQ(zm::xlsx::ColumnOfReference("Z1"), 25);
    EXPECT_EQ(zm::xlsx::ColumnOfReference("A1"), 0);
    EXPECT_EQ(zm::xlsx::ColumnOfReference("17"), -1);
    EXPECT_EQ(zm::xlsx::ColumnOfReference("ZZZZZZZ1"), 16383);
    EXPECT_FALSE(zm::xlsx::IsDateFormat("[Red]0.00"));
    EXPECT_FALSE(zm::xlsx::IsDateFormat("0.00;[Red]-0.00"));
    EXPECT_TRUE(zm::xlsx::IsDateFormat("d-mmm"));
    EXPECT_EQ(zm::xlsx::DecodeEscapes("a_x000D_b_x0041__xZZZZ_"), "a\rbA_xZZZZ_");
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
    const std::string book = Package(dir, "a.xlsx",
                                     Book(Sheet(cells), Sheet(R"(<row r="2">)"
                                                              R"(<c r="B2"><v>7</v></c></row>)")));
    // Without options both worksheets are read, stacked; the chart sheet drops out.
    Excel2007File file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(Read(file, book, sink), "0 5x8");
    EXPECT_EQ(file.GetWorksheets(), (std::vector<std::string>{"First", "Second"}));
    EXPECT_EQ(sink.Text(1, 1), "shared");
    EXPECT_EQ(sink.Text(2, 1), "rich");  // runs joined, the phonetic run left out
    EXPECT_EQ(sink.Text(3, 1), "A\rB");
    EXPECT_EQ(sink.Text(4, 1), "FALSE");
    EXPECT_FALSE(sink.Has(5, 1));                       // a boolean without a value
    EXPECT_EQ(sink.Text(1, 3), "1900-01-02 12:00:00");  // built-in date style 14
    EXPECT_EQ(sink.Number(2, 3), 2.5);                  // "[Red]0.00" is no date format
    EXPECT_EQ(sink.Text(3, 3), "1900-03-01");           // "d-mmm", type "n" given
    EXPECT_EQ(sink.Text(4, 3), "text result");
    EXPECT_EQ(sink.Text(5, 3), "inline");
    EXPECT_EQ(sink.Text(6, 3), "#N/A");
    EXPECT_EQ(sink.Text(7, 3), "2017-03-16 12:00:00");
    // The styled empty cell H3 adds no column: the eighth is the one naming the sheet.
    EXPECT_EQ(sink.Text(8, 3), "sheet: First");
    EXPECT_EQ(sink.Number(2, 5), 7);
    EXPECT_EQ(sink.Text(8, 5), "sheet: Second");
    EXPECT_STREQ(file.GetReadFile(), "First_Second");

    zm::SettingsDocument second;
    second.SetString("Settings", "Sheets", "Second");
    zmtest::OptionsRecord record(second);
    Excel2007File one;
    zmtest::RecordingSink oneSink;
    EXPECT_EQ(Read(one, book, oneSink, &record.options), "0 2x2");
    EXPECT_STREQ(one.GetReadFile(), "Second");
}

TEST(Excel2007File, RefusalsHugeDimensionsAndInflation) {
    zmtest::ScratchDir dir;
    auto codeOf = [](const std::string& path) {
        Excel2007File file;
        zmtest::RecordingSink sink;
        const int code = zmtest::ReadAll(file, path, sink);
        return std::to_string(code) + " " + zmtest::Message(file);
    };
    Parts charts = Book(Sheet(""));
    charts["xl/workbook.xml"] =
        R"(<workbook xmlns:r="r"><sheets><sheet name="C" r:id="rId2"/></sheets></workbook>)";
    EXPECT_EQ(codeOf(Package(dir, "c.xlsx", charts)), "769 The file contains no sheets.");
    EXPECT_EQ(codeOf(dir.Write("n.xlsx", "not a zip")), "770 Unable to open Excel file.");
    EXPECT_EQ(codeOf(Package(dir, "b.xlsx", {{"xl/workbook.txt", "?"}})),
              "773 The file contains an unsupported format.");
    Parts broken = Book(Sheet("<row><c><v>1</v></row>"));
    EXPECT_EQ(codeOf(Package(dir, "x.xlsx", broken)), "771 The file is corrupt.");
    Parts entity = Book(Sheet(""));
    entity["xl/workbook.xml"] = R"(<!DOCTYPE w [<!ENTITY a "aaaaaaaaaa"><!ENTITY b )"
                                R"("&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;"><!ENTITY c "&b;&b;&b;&b;&b;)"
                                R"(&b;&b;&b;&b;&b;"><!ENTITY d "&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;">)"
                                R"(]><workbook><sheets><sheet name="&d;"/></sheets></workbook>)";
    EXPECT_EQ(codeOf(Package(dir, "e.xlsx", entity)), "771 The file is corrupt.");

    // A declared dimension of the whole grid with three cells: the sheet is as big as
    // its cells, not its declaration.
    Excel2007File huge;
    zmtest::RecordingSink sink;
    const std::string cells = R"(<dimension ref="A1:XFD1048576"/><sheetData>)"
                              R"(<row r="1" spans="1:16384"><c r="A1"><v>1</v></c></row>)"
                              R"(<row r="5"><c r="C5"><v>2</v></c><c r="XFD5" s="1"/></row>)"
                              R"(<row r="9"><c r="B9"><v>3</v></c></row></sheetData>)";
    Parts one = Book("<worksheet>" + cells + "</worksheet>");
    one["xl/workbook.xml"] =
        R"(<workbook xmlns:r="r"><sheets><sheet name="S" r:id="rId1"/></sheets></workbook>)";
    EXPECT_EQ(Read(huge, Package(dir, "h.xlsx", one), sink), "0 9x3");
}

TEST(Excel2007File, AWorkbookWrittenByOpenpyxl) {
    Excel2007File file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(Read(file, std::string(ZM_TEST_DATA) + "/xlsx/two-sheets.xlsx", sink), "0 7x5");
    EXPECT_EQ(sink.Text(3, 2), "2024-03-01");
    EXPECT_EQ(sink.Text(3, 3), "2024-03-02 12:30:00");
    EXPECT_EQ(sink.Text(4, 2), "TRUE");
    EXPECT_EQ(sink.Text(1, 4), "caf\xC3\xA9");
    EXPECT_EQ(sink.Number(2, 4), 1e20);
    EXPECT_EQ(sink.Text(1, 5), "line one\r\nline two");
    EXPECT_EQ(sink.Number(3, 7), 42);
}

}  // namespace

namespace {

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
        ASSERT_EQ(Read(file, Fixture(name), sink), "0 4x5") << name;
        EXPECT_EQ(sink.Text(1, 3), "caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC") << name;
        EXPECT_EQ(sink.Text(3, 2), "2024-03-01") << name;
        EXPECT_EQ(sink.Text(3, 3), "2024-03-02 12:30:00") << name;
        EXPECT_EQ(sink.Text(4, 3), "FALSE") << name;
        EXPECT_EQ(sink.Text(5, 2), "#DIV/0!") << name;
        EXPECT_EQ(sink.Number(5, 3), 7) << name;  // a formula's cached result
        EXPECT_EQ(sink.Text(1, 4), "line\r\nbreak") << name;
        if (first.empty())
            first = sink.Dump();
        else
            EXPECT_EQ(sink.Dump(), first) << name;
    }
}

TEST(Excel2007File, WorkbooksWrittenByXlsxWriterAndGnumeric) {
    Excel2007File file;
    zmtest::RecordingSink sink;
    EXPECT_EQ(Read(file, Fixture("xlsxwriter.xlsx"), sink), "0 6x7");
    EXPECT_EQ(sink.Number(2, 2), -3.5);  // "0.00;[Red]-0.00" is no date format
    EXPECT_EQ(sink.Text(3, 2), "1999-12-31");
    EXPECT_EQ(sink.Text(4, 2), "2024-03-02 12:30:00");
    EXPECT_EQ(sink.Text(1, 3), "S-2 \xC2\xB5g");
    EXPECT_EQ(sink.Number(2, 3), -7);
    EXPECT_EQ(sink.Text(3, 3), "#DIV/0!");
    EXPECT_EQ(sink.Number(7, 6), 123456789.125);

    Excel2007File gnumeric;
    zmtest::RecordingSink cells;
    EXPECT_EQ(Read(gnumeric, Fixture("gnumeric.xlsx"), cells), "0 4x3");
    EXPECT_EQ(cells.Text(3, 2), "a, b");
    EXPECT_FALSE(cells.Has(2, 3));
    EXPECT_EQ(cells.Number(2, 4), -4e-05);
}

}  // namespace
