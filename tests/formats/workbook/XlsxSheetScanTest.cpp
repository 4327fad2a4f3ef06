// The direct scan of a worksheet's cell data against the XML parser, on every real and
// fuzzing workbook and on markup the scan must take exactly as the parser does or leave.
#include "formats/workbook/xlsx/XlsxSheet.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/ZipPackage.h"
#include "tests/formats/workbook/WorkbookTestSupport.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zm::xlsx::SheetCells;
using zm::xlsx::SheetParser;

struct Outcome {
    bool ok = false;
    std::string error;
    SheetCells cells;
};

Outcome Read(const zm::ZipPackage& package, const std::string& part, SheetParser parser) {
    Outcome outcome;
    const std::vector<bool> dateStyles = {false, true};
    outcome.ok =
        zm::xlsx::ReadSheet(package, part, dateStyles, outcome.cells, outcome.error, parser);
    return outcome;
}

std::vector<std::string> CellTexts(const SheetCells& cells) {
    std::vector<std::string> out;
    cells.cells.ForEach([&](const SheetCells::Cell& cell) {
        uint64_t bits = cell.index;
        if (cell.kind == SheetCells::Kind::kNumber || cell.kind == SheetCells::Kind::kDate)
            std::memcpy(&bits, &cell.number, sizeof bits);
        out.push_back(std::to_string(cell.row) + "," + std::to_string(cell.col) + "," +
                      std::to_string(static_cast<int>(cell.kind)) + "," + std::to_string(bits));
    });
    return out;
}

// The scan, where it is used, gives what the XML parser gives; true when it was used.
bool ExpectSameAsParser(const zm::ZipPackage& package, const std::string& part,
                        const std::string& where) {
    const Outcome xml = Read(package, part, SheetParser::kXml);
    const Outcome fast = Read(package, part, SheetParser::kFast);
    EXPECT_EQ(fast.ok, xml.ok) << where;
    EXPECT_EQ(fast.error, xml.error) << where;
    EXPECT_EQ(CellTexts(fast.cells), CellTexts(xml.cells)) << where;
    EXPECT_EQ(fast.cells.texts, xml.cells.texts) << where;
    EXPECT_EQ(fast.cells.rows, xml.cells.rows) << where;
    EXPECT_EQ(fast.cells.cols, xml.cells.cols) << where;
    EXPECT_EQ(fast.cells.outside, xml.cells.outside) << where;
    EXPECT_EQ(fast.cells.unresolved, xml.cells.unresolved) << where;
    const Outcome scan = Read(package, part, SheetParser::kScan);
    if (scan.ok) {
        EXPECT_EQ(CellTexts(scan.cells), CellTexts(xml.cells)) << where;
    }
    return scan.ok;
}

TEST(XlsxSheetScan, GivesTheParsersCellsForEveryCorpusWorksheet) {
    int sheets = 0, scanned = 0;
    for (const char* dir :
         {ZM_CORPUS "/xlsx", ZM_TEST_DATA "/xlsx", ZM_TEST_DATA "/../../fuzz/corpus"}) {
        for (const auto& file : std::filesystem::directory_iterator(dir)) {
            auto package = zm::ZipPackage::Open(file.path().string());
            if (!package)
                continue;
            for (const auto& entry : package->Entries()) {
                if (entry.name.find("worksheets/") == std::string::npos ||
                    entry.name.find(".xml") == std::string::npos ||
                    entry.name.find("_rels") != std::string::npos)
                    continue;
                ++sheets;
                scanned += ExpectSameAsParser(*package, entry.name,
                                              file.path().string() + " " + entry.name);
            }
        }
    }
    // Most real worksheets are plain enough to be scanned.
    EXPECT_GT(sheets, 100);
    EXPECT_GT(scanned, sheets / 2) << scanned << " of " << sheets;
}

// Sheets whose cell data holds what the scan takes, what it leaves to the parser and what
// is not well-formed; true for those the scan takes.
TEST(XlsxSheetScan, TakesPlainMarkupAndLeavesTheRestToTheParser) {
    const std::string root = R"(<?xml version="1.0" encoding="UTF-8"?>)"
                             R"(<worksheet xmlns="urn:main" xmlns:x="urn:x">)";
    const std::vector<std::pair<std::string, bool>> sheets = {
        {root + R"(<sheetData><row r="1" spans="1:3"><c r="A1" s="1"><v>12.5</v></c>)"
                R"(<c r='B1' t="str"><f>A1&amp;"x"</f><v>a &lt;&amp;&gt; b</v></c>)"
                R"(<c r="C1" t="inlineStr"><is><t>x&quot;&apos;y</t><rPh><t>no</t></rPh></is></c>)"
                R"(<c t="b"><v>1</v></c><c x:r="Z9"/></row>)"
                "\n  <row>\t<c><v> 7</v></c><c r = \"XFE3\"><v>1</v></c></row></sheetData>"
                R"(<mergeCells count="0"/></worksheet>)",
         true},
        // Left to the parser: comments, references, line ends, non-ASCII, cell markup
        // outside the cell data, a document type, a prefixed cell data element.
        {root + "<sheetData><row><!-- x --><c><v>1</v></c></row></sheetData></worksheet>", false},
        {root + "<sheetData><row><c><v>&#49;</v></c></row></sheetData></worksheet>", false},
        {root + "<sheetData><row><c><v>1\r\n2</v></c></row></sheetData></worksheet>", false},
        {root + "<sheetData><row><c t=\"str\"><v>\xC3\xA9</v></c></row></sheetData></worksheet>",
         false},
        {root + "<sheetData><row><c><v>1</v></c></row></sheetData><c><v>2</v></c></worksheet>",
         false},
        {"<!DOCTYPE worksheet [<!ENTITY e \"1\">]><worksheet><sheetData><row><c><v>&e;</v></c>"
         "</row></sheetData></worksheet>",
         false},
        {"<x:worksheet xmlns:x=\"urn:x\"><x:sheetData><x:row><x:c><x:v>3</x:v></x:c></x:row>"
         "</x:sheetData></x:worksheet>",
         false},
        // Not well-formed: the parser's refusal stands.
        {root + "<sheetData><row><c><v>1</c></v></row></sheetData></worksheet>", false},
        {root + "<sheetData><row><c r=\"A1\" r=\"B1\"><v>1</v></c></row></sheetData></worksheet>",
         false},
        {root + "<sheetData><row><c r=\"A1\"s=\"1\"><v>1</v></c></row></sheetData></worksheet>",
         false},
        {root + "<sheetData><row><c><v>]]></v></c></row></sheetData></worksheet>", false},
        {root + "<sheetData><row><c><v>1</v></c></row></sheetData></worksheet><x/>", false},
        {root + "<sheetData><row><c><v>1</v></c></row>", false},
        {root + "<sheetData><row><c a=\"<\"><v>1</v></c></row></sheetData></worksheet>", false},
        {root + "<sheetData><row><c><v>1 & 2</v></c></row></sheetData></worksheet>", false},
    };
    zmtest::ScratchDir dir;
    for (const auto& [sheet, scanned] : sheets) {
        auto package =
            zm::ZipPackage::Open(zmtest::WriteZip(dir.Path("book.xlsx"), {{"sheet.xml", sheet}}));
        ASSERT_TRUE(package);
        EXPECT_EQ(ExpectSameAsParser(*package, "sheet.xml", sheet), scanned) << sheet;
    }
    // Cell data nested beyond the parser's depth limit is refused on either path.
    std::string deep = "<worksheet><sheetData>";
    for (const char* tag : {"<a>", "</a>"})
        for (int i = 0; i < 300; ++i)
            deep += tag;
    deep += "</sheetData></worksheet>";
    auto package =
        zm::ZipPackage::Open(zmtest::WriteZip(dir.Path("deep.xlsx"), {{"sheet.xml", deep}}));
    ASSERT_TRUE(package);
    EXPECT_FALSE(ExpectSameAsParser(*package, "sheet.xml", "deep"));
    EXPECT_FALSE(Read(*package, "sheet.xml", SheetParser::kFast).ok);
}

}  // namespace
