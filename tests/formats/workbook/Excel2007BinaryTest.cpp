// The .xlsb path of the Excel 2007 reader: record headers, every cell record, sheets,
// dates and refusals, on packages built here and a real file.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "formats/workbook/xlsb/XlsbRecords.h"
#include "formats/workbook/xlsx/Excel2007File.h"
#include "tests/formats/workbook/WorkbookTestSupport.h"
#include "tests/support/Bytes.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Absent;
using zmtest::At;
const auto CodeOf = zmtest::StatusOf<Excel2007File>;

using Bytes = std::string;

using zmtest::F64;
using zmtest::U16;
using zmtest::U32;

// A string as records hold it: a character count, then UTF-16LE (ASCII here).
Bytes W(const std::string& text) {
    Bytes out = U32(static_cast<uint32_t>(text.size()));
    for (char c : text)
        out += Bytes{c, '\0'};
    return out;
}
// Seven bits a byte, low bits first, the high bit set on every byte but the last.
Bytes Variable(uint32_t v) {
    Bytes out;
    for (; v >= 128; v >>= 7)
        out += static_cast<char>((v & 0x7F) | 0x80);
    return out + static_cast<char>(v);
}
Bytes Rec(uint32_t id, const Bytes& data = "") {
    return Variable(id) + Variable(static_cast<uint32_t>(data.size())) + data;
}
Bytes CellHead(uint32_t col, uint32_t style) {
    return U32(col) + U32(style);
}

zmtest::Parts Book(const Bytes& first, const Bytes& second, const Bytes& properties = Bytes()) {
    auto sheet = [](uint32_t state, uint32_t tab, const std::string& rel, const std::string& name) {
        return Rec(156, U32(state) + U32(tab) + W(rel) + W(name));
    };
    const Bytes workbook = Rec(131) + properties + Rec(143) + sheet(0, 1, "rId1", "First") +
                           sheet(1, 2, "rId2", "Hidden") + sheet(0, 3, "RID3", "Chart") +
                           sheet(0, 4, "rId4", "Second") + Rec(144) + Rec(132);
    const std::string rels =
        R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)"
        R"(<Relationship Id="rId1" Type="x/worksheet" Target="worksheets/sheet1.bin"/>)"
        R"(<Relationship Id="rId2" Type="x/worksheet" Target="worksheets/sheet2.bin"/>)"
        R"(<Relationship Id="rId3" Type="x/chartsheet" Target="chartsheets/sheet1.bin"/>)"
        R"(<Relationship Id="rId4" Type="x/worksheet" Target="worksheets/sheet4.bin"/>)"
        R"(</Relationships>)";
    const Bytes strings = Rec(159, U32(2) + U32(2)) + Rec(19, Bytes(1, '\0') + W("shared")) +
                          Rec(19, "\x01" + W("second")) + Rec(160);
    // Styles 0 General, 1 built-in date 14, 2 "[Red]0.00", 3 "d-mmm".
    const Bytes styles = Rec(615, U32(2)) + Rec(44, U16(164) + W("[Red]0.00")) +
                         Rec(44, U16(165) + W("d-mmm")) + Rec(616) + Rec(617, U32(4)) +
                         Rec(47, U16(0) + U16(0)) + Rec(47, U16(0) + U16(14)) +
                         Rec(47, U16(0) + U16(164)) + Rec(47, U16(0) + U16(165)) + Rec(618);
    return {{"xl/workbook.bin", workbook},
            {"xl/_rels/workbook.bin.rels", rels},
            {"xl/sharedStrings.bin", strings},
            {"xl/styles.bin", styles},
            {"xl/worksheets/sheet1.bin", first},
            {"xl/worksheets/sheet2.bin", Rec(0, U32(0)) + Rec(5, CellHead(0, 0) + F64(9))},
            {"xl/worksheets/sheet4.bin", second}};
}

TEST(Excel2007Binary, RecordSizesTakeUpToFourBytes) {
    // Ids of one and two bytes; sizes of one, three (16,384 and 300,000 bytes) and four
    // bytes, the last claiming 200 MB the part does not hold.
    std::istringstream in(Bytes("\x81\x01\x00\x7F\x00\x01\x80\x80\x01", 9) + Bytes(16384, 'x') +
                          "\x02" + Variable(300000) + Bytes(300000, 'y') + "\x05" +
                          Variable(200u << 20) + "abc");
    zm::xlsb::RecordReader reader(in);
    zm::xlsb::Record record;
    ASSERT_TRUE(reader.ReadBiffRecord(record));
    EXPECT_EQ(record.id, 129u);
    ASSERT_TRUE(reader.ReadBiffRecord(record));
    EXPECT_EQ(record.id, 127u);
    ASSERT_TRUE(reader.ReadBiffRecord(record));
    EXPECT_EQ(record.size, 16384u);
    EXPECT_EQ(Bytes(reinterpret_cast<const char*>(record.data), 3), "xxx");
    ASSERT_TRUE(reader.ReadBiffRecord(record));
    EXPECT_EQ(record.size, 300000u);
    EXPECT_EQ(record.data[299999], 'y');
    // A record cut short of its size is damage, not the end of the part.
    EXPECT_FALSE(reader.ReadBiffRecord(record));
    EXPECT_TRUE(reader.Damaged());

    std::istringstream cut(Bytes("\x05\x10\x01\x02", 4));
    zm::xlsb::RecordReader short_(cut);
    EXPECT_FALSE(short_.FindRecord(5, record));
    EXPECT_TRUE(short_.Damaged());
}

TEST(Excel2007Binary, EveryCellRecordHiddenAndChartSheetsAndTheWarning) {
    zmtest::ScratchDir dir;
    const Bytes first =
        Rec(129) + Rec(148, U32(0) + U32(1) + U32(0) + U32(9)) + Rec(145) +  // 3 unknown
        Rec(0, U32(0) + Bytes(8, '\0')) +
        Rec(2, CellHead(0, 0) + U32((150u << 2) | 3)) +       // RK 150 / 100
        Rec(5, CellHead(1, 1) + F64(2.5)) +                   // date style 14
        Rec(5, CellHead(2, 2) + F64(2.5)) +                   // "[Red]0.00"
        Rec(9, CellHead(3, 3) + F64(61) + Bytes(10, '\0')) +  // "d-mmm" formula
        Rec(7, CellHead(4, 0) + U32(1)) + Rec(3, CellHead(5, 0) + "\x2A") +
        Rec(4, CellHead(6, 0) + "\x01") + Rec(8, CellHead(7, 0) + W("fx") + Bytes(6, '\0')) +
        Rec(10, CellHead(8, 0) + Bytes(1, '\0') + Bytes(6, '\0')) +
        Rec(11, CellHead(9, 0) + Bytes(1, '\0') + Bytes(6, '\0')) + Rec(37) + Rec(700) + Rec(38) +
        Rec(427) +  // neither is counted
        Rec(0, U32(2) + Bytes(8, '\0')) + Rec(12, U32(0)) + Rec(13, U32(0) + U32((7u << 2) | 2)) +
        Rec(18, U32(0) + U32(0)) + Rec(17, U32(0) + W("short")) + Rec(15, U32(0) + Bytes(1, '\0')) +
        Rec(16, U32(1) + F64(3)) + Rec(14, U32(0) + "\x08") +
        Rec(62, CellHead(9, 0) + Bytes(1, '\0') + W("rich")) + Rec(6, CellHead(10, 0) + W("in")) +
        Rec(1, CellHead(12, 0)) + Rec(146) + Rec(130);  // 2 unknown
    const Bytes second = Rec(0, U32(1)) + Rec(5, CellHead(1, 0) + F64(7));
    const std::string book = zmtest::WriteZip(dir.Path("a.xlsb"), Book(first, second));

    Excel2007File file;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(file, book, sink), 0) << zmtest::Message(file);
    // Hidden sheets are offered as in .xlsx workbooks; the chart sheet's relationship (its
    // id compared without case) drops it.
    EXPECT_EQ(file.GetWorksheets(), (std::vector<std::string>{"First", "Hidden", "Second"}));
    EXPECT_EQ(file.GetNumRows(), 6);
    EXPECT_EQ(file.GetNumCols(), 12);  // 11 columns of cells, then the sheet's name
    // Row 2 of the sheet has no cells. In row 3 the short forms each take the column past
    // the previous one, a short blank first; 0x08 is no error code.
    zmtest::ExpectCells(
        sink, {At(1, 1, 1.5), At(2, 1, "1900-01-02 12:00:00"), At(3, 1, 2.5),
               At(4, 1, "1900-03-01"), At(5, 1, "second"), At(6, 1, "#N/A"), At(7, 1, "TRUE"),
               At(8, 1, "fx"), At(9, 1, "FALSE"), At(10, 1, "#NULL!"), At(12, 1, "sheet: First")});
    zmtest::ExpectCells(
        sink, {Absent(1, 2), Absent(1, 3), At(2, 3, 7), At(3, 3, "shared"), At(4, 3, "short"),
               At(5, 3, "FALSE"), At(6, 3, "1900-01-03"), At(7, 3, "Unknown error code"),
               At(10, 3, "rich"), At(11, 3, "in"), At(1, 4, 9), At(12, 4, "sheet: Hidden"),
               At(2, 6, 7), At(12, 6, "sheet: Second")});

    // The hidden sheet alone, chosen by its name.
    zm::SettingsDocument settings;
    settings.SetString("Settings", "Sheets", "Hidden");
    zmtest::OptionsRecord record(settings);
    Excel2007File hidden;
    zmtest::RecordingSink hiddenSink;
    ASSERT_EQ(zmtest::ReadAll(hidden, book, hiddenSink, &record.options), 0);
    EXPECT_EQ(hiddenSink.Number(1, 1), 9);
    EXPECT_STREQ(hidden.GetReadFile(), "Hidden");
    ASSERT_NE(file.GetWarningMessage(), nullptr);
    EXPECT_EQ(std::string(file.GetWarningMessage()),
              "5 records was found that TAVIX doesn't know how to read.\n"
              "These can be web-links, drawings, formulas or other type of data that isn't\n"
              "interesting for TAVIX.\n");
}

TEST(Excel2007Binary, DamagedPartsAreRefused) {
    zmtest::ScratchDir dir;
    const Bytes ok = Rec(0, U32(0)) + Rec(5, CellHead(0, 0) + F64(1));
    auto with = [&](const std::string& part, const Bytes& data) {
        auto parts = Book(ok, ok);
        parts[part] = data;
        return parts;
    };
    // A format record where the count says one is due (two ways); cut inside a record, a
    // cell too short for its value, a string longer than its record, a row past the last
    // one a sheet can have.
    const std::string sheet1 = "xl/worksheets/sheet1.bin";
    const std::pair<std::string, Bytes> damaged[] = {
        {"xl/styles.bin", Rec(615, U32(1)) + Rec(47, U32(0))},
        {"xl/styles.bin", Rec(617, U32(2)) + Rec(47, U32(0))},
        {sheet1, ok.substr(0, 9)},
        {sheet1, Rec(5, CellHead(0, 0) + "1234")},
        {"xl/sharedStrings.bin", Rec(159) + Rec(19, Bytes(1, '\0') + U32(999) + "ab")},
        {sheet1, Rec(0, U32(1u << 20))}};
    for (const auto& [part, data] : damaged)
        EXPECT_EQ(CodeOf(zmtest::WriteZip(dir.Path("d.xlsb"), with(part, data))),
                  "771 The file is corrupt.")
            << part;
    // Only chart sheets: nothing to offer.
    auto charts = Book(ok, ok);
    charts["xl/workbook.bin"] = Rec(143) + Rec(156, U32(0) + U32(3) + W("rId3") + W("C"));
    EXPECT_EQ(CodeOf(zmtest::WriteZip(dir.Path("h.xlsb"), charts)),
              "769 The file contains no sheets.");
    // Without styles and shared strings the cells still read.
    auto bare = Book(Rec(0, U32(0)) + Rec(2, CellHead(0, 5) + U32(4u << 2 | 2)), ok);
    bare.erase("xl/styles.bin");
    bare.erase("xl/sharedStrings.bin");
    EXPECT_EQ(CodeOf(zmtest::WriteZip(dir.Path("b.xlsb"), bare)), "0 ");
}

TEST(Excel2007Binary, The1904DateSystemAndLongRecords) {
    // The workbook property record's bit 0 moves every date by 1462 days; a time of day
    // stays one. A text of 20,000 characters needs a record of three size bytes.
    zmtest::ScratchDir dir;
    const Bytes sheet = Rec(0, U32(0)) + Rec(5, CellHead(0, 1) + F64(43889)) +
                        Rec(5, CellHead(1, 1) + F64(0.5)) +
                        Rec(6, CellHead(2, 0) + W(std::string(20000, 'z')));
    const Bytes flags1904 = Rec(153, U32(1) + U32(0) + W(""));
    for (const bool mac : {false, true}) {
        Excel2007File file;
        zmtest::RecordingSink sink;
        zm::SettingsDocument settings;
        settings.SetString("Settings", "Sheets", "First");
        zmtest::OptionsRecord record(settings);
        const std::string path =
            zmtest::WriteZip(dir.Path(mac ? "mac.xlsb" : "pc.xlsb"),
                             Book(sheet, sheet, mac ? flags1904 : Rec(153, U32(0))));
        ASSERT_EQ(zmtest::ReadAll(file, path, sink, &record.options), 0) << zmtest::Message(file);
        EXPECT_EQ(sink.Text(1, 1), mac ? "2024-02-29" : "2020-02-28");
        EXPECT_EQ(sink.Text(2, 1), "12:00:00");
        EXPECT_EQ(sink.Text(3, 1), std::string(20000, 'z'));
    }
    // A real 1904 workbook: its dates read as the program that wrote it showed them.
    Excel2007File real;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(real, std::string(ZM_CORPUS) + "/xlsb/1904.xlsb", sink), 0)
        << zmtest::Message(real);
    EXPECT_NE(sink.Dump().find("1904-"), std::string::npos) << sink.Dump();
}

}  // namespace
