// FDC XML reader: golden sheets, the document model, every refusal text, detection by
// validation, documents that reach for other files or the network, and a large file.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "formats/process/BrooksideXML.h"
#include "platform/FileNames.h"
#include "tests/support/BoundedTest.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace fs = std::filesystem;

namespace {

std::string Fixture(const std::string& name) {
    return std::string(ZM_TEST_DATA) + "/fdc/" + name;
}

using zmtest::Message;
using zmtest::Slurp;

// The fixture with its first RAWDATA text replaced, to build documents in a test.
std::string TwoWafersWith(const std::string& from, const std::string& to) {
    std::string text = Slurp(Fixture("two-wafers.xml"));
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

TEST(BrooksideXML, ReadsTwoWafersWithEachIntervalLabel) {
    const std::pair<BrooksideXML::PhaseID, const char*> kModes[] = {
        {BrooksideXML::kPhaseName, "two-wafers.expected.tsv"},
        {BrooksideXML::kPhaseNumber, "two-wafers.by-number.expected.tsv"},
        {BrooksideXML::kPhaseStartTime, "two-wafers.by-start-time.expected.tsv"}};
    for (const auto& [mode, expected] : kModes) {
        BrooksideXML reader;
        reader.SetPhaseID(mode);
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, Fixture("two-wafers.xml"), sink), 0) << Message(reader);
        EXPECT_EQ(sink.Dump(), Slurp(Fixture(expected))) << expected;
        // Time, Pressure, RF Power, Temp and Flow over the two sections; 10 + 5 rows.
        EXPECT_EQ(sink.cols, 7);
        EXPECT_EQ(sink.rows, 16);
        // A second read delivers the same sheet.
        zmtest::RecordingSink again;
        EXPECT_EQ(reader.Read(&again), 0);
        EXPECT_EQ(again.Dump(), sink.Dump());
    }
}

TEST(BrooksideXML, KeepsTheMessageWafersAndIntervals) {
    BrooksideXML reader;
    ASSERT_EQ(reader.Open(true, Fixture("two-wafers.xml").c_str(), nullptr), 0);
    for (const auto& [name, value] : {std::pair{"ID", "APC-North"},
                                      {"ResourceID", "ETCH07-PM2"},
                                      {"chamberRecipe", "PM2_MAIN"},
                                      {"Name", "Gate etch trace"},
                                      {"TopicName", "FDC.Results.ETCH07"}})
        EXPECT_EQ(reader.GetAttribute(name), value) << name;
    EXPECT_TRUE(reader.IsApstat());  // "f_MainEtch"

    ASSERT_EQ(reader.SizeWafer(), 2);
    EXPECT_EQ(reader.GetWaferID(1), "W02-\u00b5");
    EXPECT_EQ(reader.GetWaferAttribute(1, kLotID), "LOT-\u00e9t\u00e9");
    EXPECT_EQ(reader.GetWaferAttribute(0, kQualityCode), "A");
    EXPECT_EQ(reader.GetWaferAttribute(0, kOperationPassCount), "1");
    ASSERT_EQ(reader.SizePhases(0), 3);
    EXPECT_EQ(reader.GetPhaseName(0, 2), "OverEtch");
    EXPECT_EQ(reader.GetPhaseNumber(0, 1), 2);
    EXPECT_EQ(reader.GetPhaseStartTime(0, 2), "2024-03-05T09:00:07.5");
    EXPECT_DOUBLE_EQ(reader.GetPhaseDuration(0, 1), 4.5);
    int from = 0, to = 0;
    ASSERT_TRUE(reader.GetPhaseFromTo(1, 1, from, to));
    EXPECT_EQ(from * 100 + to, 306);

    const auto sums = reader.GetSumData(0, 0);
    ASSERT_EQ(sums.size(), 2u);
    EXPECT_EQ(sums[0].statName, "Mean");
    EXPECT_EQ(sums[1].statName, "");  // optional
    EXPECT_EQ(sums[1].value, "0.4");
    const auto params = reader.GetRecipeParameterList(0, 0);
    ASSERT_EQ(params.size(), 1u);
    EXPECT_DOUBLE_EQ(params[0].upperLimit, 360);  // "+3.6e2"
    EXPECT_TRUE(params[0].useCurrentValue);

    // Indices out of range give empty answers.
    EXPECT_EQ(reader.SizePhases(2), 0);
    EXPECT_EQ(reader.GetPhaseName(0, 3), "");
    EXPECT_FALSE(reader.GetPhaseFromTo(-1, 0, from, to));
    EXPECT_EQ(reader.GetWaferAttribute(0, kWaferAttributeCount), "");

    // A copy keeps everything; Close forgets it.
    BrooksideXML copy(reader);
    reader.Close();
    EXPECT_EQ(reader.SizeWafer(), 0);
    EXPECT_EQ(copy.GetWaferAttribute(1, kRawDataName), "rd_w02");

    BrooksideXML plain;
    ASSERT_EQ(plain.Open(true, Fixture("no-chamber-recipe.xml").c_str(), nullptr), 0);
    EXPECT_EQ(plain.GetAttribute("chamberRecipe"), "");
    EXPECT_EQ(plain.GetAttribute("ToolType"), "t");
}

TEST(BrooksideXML, SizesTwoWafersOf100And120RowsAndReadsSeveralFilesIntoOneSheet) {
    BrooksideXML reader;
    ASSERT_EQ(reader.Open(true, Fixture("sizes-100-120.xml").c_str(), nullptr), 0);
    EXPECT_EQ(reader.GetNumCols(), 8);
    EXPECT_EQ(reader.GetNumRows(), 221);
    EXPECT_FALSE(reader.IsApstat());
    zmtest::RecordingSink sink;
    ASSERT_EQ(reader.Read(&sink), 0);
    // Row 120 of B: 120 x 5.
    zmtest::ExpectCells(sink, {{1, 221, "WB"}, {2, 221, "Step2"}, {8, 221, 600.0}});

    const std::string files =
        zm::JoinFileNames({Fixture("two-wafers.xml"), Fixture("sizes-100-120.xml")});
    BrooksideXML both;
    zmtest::RecordingSink all;
    ASSERT_EQ(zmtest::ReadAll(both, files, all), 0) << Message(both);
    EXPECT_EQ(both.SizeWafer(), 4);
    EXPECT_EQ(all.rows, 16 + 220);
    EXPECT_EQ(all.cols, 2 + 6);  // Bias joins the five variables of the first file
    // Both files name sections alike in other cases; each wafer finds its own file's.
    zmtest::ExpectCells(all, {{1, 17, "WA"}, {8, 1, "Bias"}, {8, 17, 5.0}});
    EXPECT_EQ(both.GetAttribute("MessageSequenceIdentifier"), "881");
}

// Wafers that name one section between them get its rows once: sharing cannot make a
// small file announce more rows than it holds, and the loss is said.
TEST(BrooksideXML, ASectionSharedByWafersIsReadOnce) {
    zmtest::ScratchDir scratch;
    const std::string file = scratch.Write(
        "shared.xml", TwoWafersWith("rawDataName=\"rd_w02\"", "rawDataName=\"rd_W01\""));
    BrooksideXML reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, file, sink), 0) << Message(reader);
    EXPECT_EQ(sink.rows, 11);  // the name row and RD_W01's 10 rows, for W01 alone
    EXPECT_EQ(sink.Text(1, 11), "W01");
    const char* warning = reader.GetWarningMessage();
    ASSERT_NE(warning, nullptr);
    EXPECT_NE(std::string(warning).find("1 dataset(s)"), std::string::npos) << warning;
    EXPECT_NE(std::string(warning).find("'rd_W01'"), std::string::npos) << warning;

    // The unshared fixture reads without a warning.
    BrooksideXML plain;
    zmtest::RecordingSink all;
    ASSERT_EQ(zmtest::ReadAll(plain, Fixture("two-wafers.xml"), all), 0);
    EXPECT_EQ(plain.GetWarningMessage(), nullptr);
}

// Content models are checked at end tags: unclosed elements that a document's own
// subset declares would build a tree of every one of them before the parser objects.
TEST(BrooksideXML, RefusesElementsNestedDeeperThanARequestNeeds) {
    zmtest::ScratchDir scratch;
    std::string text = TwoWafersWith("SYSTEM \"FDCRequest.dtd\">",
                                     "SYSTEM \"FDCRequest.dtd\" [<!ELEMENT x ANY>]>");
    std::string nested;
    for (int i = 0; i < 200000; ++i)
        nested += "<x>";
    text = text.substr(0, text.find("<APCSystemName")) + nested;
    const std::string file = scratch.Write("deep.xml", text);
    BrooksideXML reader;
    EXPECT_EQ(reader.Open(true, file.c_str(), nullptr), BrooksideXML::kXmlError);
    EXPECT_EQ(Message(reader),
              "XML Parse error:\nThe document nests elements deeper than 64 "
              "levels.");
    EXPECT_FALSE(BrooksideXML::IsMyKindOfFile(file.c_str()));
}

struct Refusal {
    const char* file;
    int code;
    const char* text;  // the whole message; "@" stands for the fixture's path
};

TEST(BrooksideXML, RefusesEachFaultWithItsText) {
    const Refusal kRefusals[] = {
        {"missing-response.xml", 161, "XML Parse error:\nXML node 'Response' not found"},
        {"missing-lotid.xml", 161, "XML Parse error:\nThe attribute 'LotID' could not be found."},
        {"duration-abc.xml", 161,
         "XML Parse error:\nExpected a floating point value for 'Duration', found 'abc'"},
        {"fromrow-not-integer.xml", 161,
         "XML Parse error:\nExpected an integer value for 'FromRow', found '1.5'"},
        {"flag-yes.xml", 161,
         "XML Parse error:\nExpected true or false for 'UseCurrentValueFlag', found 'yes'"},
        {"rawdata-empty.xml", 162,
         "Error in RAWDATA section:\nCould not find RawData for file '@'"},
        {"rawdata-without-count.xml", 162,
         "Error in RAWDATA section:\nThe RawData section 'RD_W01' does not contain the string "
         "'NUM_DATA_ROWS'"},
        {"unknown-section.xml", 162,
         "Error in RAWDATA section:\nThe RAWDATA section with name 'RD_W09' could not be found"},
        {"count-not-a-number.xml", 162,
         "Error in RAWDATA section:\nExpected an integer value for 'NUM_DATA_ROWS', found 'ten'"},
        {"no-variables.xml", 162,
         "Error in RAWDATA section:\nNo variables found in RAWDATA "
         "section RD_W01\n"},
        {"no-time.xml", 162,
         "Error in RAWDATA section:\nTime could not be found in RAWDATA section 'RD_W01'"},
        {"unexpected-eof.xml", 162,
         "Error in RAWDATA section:\nUnexpected EOF in RAWDATA section 'RD_W01'."},
        {"huge-row-count.xml", 162,
         "Error in RAWDATA section:\nUnexpected EOF in RAWDATA section 'RD_W01'."},
        {"short-line.xml", 162,
         "Error in RAWDATA section:\nColumn 4 not found on line 7 in RD_W01."},
        {"rows-not-increasing.xml", 162,
         "Error in RAWDATA section:\nRow numbers are not increasing in RAWDATA section "
         "'RD_W01'."},
        {"undeclared-element.xml", 161, nullptr},
        {"no-doctype.xml", 161, nullptr},
    };
    for (const Refusal& r : kRefusals) {
        BrooksideXML reader;
        zmtest::RecordingSink sink;
        EXPECT_EQ(zmtest::ReadAll(reader, Fixture(r.file), sink), r.code) << r.file;
        const std::string message = Message(reader);
        if (r.text != nullptr) {
            std::string text = r.text;
            if (const size_t at = text.find('@'); at != std::string::npos)
                text.replace(at, 1, Fixture(r.file));
            EXPECT_EQ(message, text) << r.file;
        } else {
            EXPECT_EQ(message.rfind("XML Parse error:\n", 0), 0u) << message;
            EXPECT_GT(message.size(), 30u) << message;  // with the parser's own reason
        }
        // Faults of the document stop the open; faults of a RAWDATA text stop sizing
        // or reading, and no row after the fault arrives.
        EXPECT_FALSE(sink.Has(1, 8)) << r.file;
    }
    // Rows before a bad line have arrived; the bad one has not.
    BrooksideXML reader;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(reader, Fixture("short-line.xml"), sink), 162);
    EXPECT_TRUE(sink.Has(6, 4));
    EXPECT_FALSE(sink.Has(1, 5));
    // A row number repeated is no increase either.
    zmtest::ScratchDir scratch;
    const std::string repeated = TwoWafersWith("\n2\t0.5\t12.5", "\n1\t0.5\t12.5");
    BrooksideXML again;
    EXPECT_EQ(zmtest::ReadAll(again, scratch.Write("repeat.xml", repeated), sink), 162);
    EXPECT_EQ(Message(again),
              "Error in RAWDATA section:\nRow numbers are not increasing in "
              "RAWDATA section 'RD_W01'.");
}

TEST(BrooksideXML, CodesStickUntilCloseAndWritingIsRefused) {
    const std::string good = Fixture("two-wafers.xml");
    BrooksideXML reader;
    EXPECT_EQ(reader.Open(false, good.c_str(), nullptr), 164);
    EXPECT_EQ(Message(reader), "The file was opened for writing which is not supported.");
    EXPECT_EQ(reader.Open(true, good.c_str(), nullptr), 164);
    reader.Close();
    EXPECT_EQ(reader.Open(true, Fixture("unexpected-eof.xml").c_str(), nullptr), 0);
    EXPECT_EQ(reader.GetNumRows(), -1);
    zmtest::RecordingSink sink;
    EXPECT_EQ(reader.Read(&sink), 162);
    EXPECT_TRUE(sink.cells.empty());
    EXPECT_EQ(reader.Open(true, good.c_str(), nullptr), 162);
    reader.Close();
    EXPECT_EQ(reader.Open(true, good.c_str(), nullptr), 0);
    EXPECT_EQ(reader.GetNumRows(), 16);
    EXPECT_EQ(reader.Open(true, Fixture("missing.xml").c_str(), nullptr), 161);
    EXPECT_EQ(reader.SizeWafer(), 0);  // a failed open keeps nothing
}

TEST(BrooksideXML, DetectsOnlyDocumentsThatValidate) {
    const std::pair<const char*, bool> kFiles[] = {
        {"two-wafers.xml", true},
        // Valid against the definitions, though the reader itself refuses it.
        {"missing-response.xml", true},
        {"undeclared-element.xml", false},
        {"no-doctype.xml", false},
        {"other-dtd.xml", false},
        {"relative-dtd-path.xml", false},
        {"entity-local-file.xml", false},
        {"entity-http-url.xml", false},
        {"parameter-entity.xml", false},
        {"billion-laughs.xml", false},
        {"make_fixtures.py", false},
        {"missing.xml", false}};
    for (const auto& [name, mine] : kFiles)
        EXPECT_EQ(BrooksideXML::IsMyKindOfFile(Fixture(name).c_str()), mine) << name;
    EXPECT_FALSE(BrooksideXML::IsMyKindOfFile(nullptr));

    // The registry holds the real reader under the format's name.
    const int i = zmtest::FormatIndex("Brookside Ver. 2.6 XML File");
    ASSERT_NE(i, 0);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(i, Fixture("two-wafers.xml").c_str()),
              SprFileFactory::kSurely);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(i, Fixture("no-doctype.xml").c_str()),
              SprFileFactory::kNotMine);
    std::unique_ptr<SpreadsheetFile> made(SprFileFactory::GetSpreadsheetFile(i));
    EXPECT_NE(dynamic_cast<BrooksideXML*>(made.get()), nullptr);
}

// Opens and reads `file`; returns the message and every text cell, for searching.
std::string EverythingSaid(const std::string& file, int& status) {
    BrooksideXML reader;
    zmtest::RecordingSink sink;
    status = zmtest::ReadAll(reader, file, sink);
    return Message(reader) + "\n" + sink.Dump();
}

TEST(BrooksideXML, NeverReadsOtherFilesNorConnectsToTheNetwork) {
    // A listening socket on the loopback: a document that names it must not reach it.
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(listener, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 4), 0);
    socklen_t length = sizeof address;
    ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
    const std::string url =
        "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/fdc.dtd";

    // A file of our own with a token nobody else writes, reached in every way a document
    // can name it: a general entity, a parameter entity, the document type itself.
    zmtest::ScratchDir scratch;
    const std::string token = "SECRET-" + std::to_string(::getpid()) + "-TOKEN";
    const std::string secret = scratch.Write("secret.txt", token + "\n");
    const std::string doctype = "<!DOCTYPE FDCRequest SYSTEM \"FDCRequest.dtd\">";
    const std::string own = "<!DOCTYPE FDCRequest SYSTEM \"FDCRequest.dtd\" [";
    const std::string kDoctypes[] = {
        own + "<!ENTITY s SYSTEM \"" + secret + "\">]>",
        own + "<!ENTITY s SYSTEM \"file://" + secret + "\">]>",
        own + "<!ENTITY % p SYSTEM \"" + secret + "\"> %p;]>",
        "<!DOCTYPE FDCRequest SYSTEM \"" + secret + "\">",
        "<!DOCTYPE FDCRequest SYSTEM \"secret.txt\">",
        "<!DOCTYPE FDCRequest SYSTEM \"" + url + "\">",
        own + "<!ENTITY s SYSTEM \"" + url + "\">]>",
    };
    for (const std::string& d : kDoctypes) {
        std::string text = TwoWafersWith(doctype, d);
        text.replace(text.find("NUM_DATA_COLS"), 0, "&s;");
        const std::string file = scratch.Write("doc.xml", text);
        EXPECT_FALSE(BrooksideXML::IsMyKindOfFile(file.c_str())) << d;
        int status = 0;
        const std::string said = EverythingSaid(file, status);
        EXPECT_EQ(status, 161) << said;
        EXPECT_EQ(said.find(token), std::string::npos) << said;
    }
    ::fcntl(listener, F_SETFL, O_NONBLOCK);
    const int connection = ::accept(listener, nullptr, nullptr);
    EXPECT_LT(connection, 0) << "the reader connected to " << url;
    if (connection >= 0)
        ::close(connection);
    ::close(listener);

    // The fixtures that name /etc/hostname say nothing of its content either.
    const std::string host = Slurp("/etc/hostname");
    const std::string hostname = host.substr(0, host.find('\n'));
    for (const char* name : {"entity-local-file.xml", "entity-file-url.xml", "other-dtd.xml",
                             "parameter-entity.xml"}) {
        int status = 0;
        const std::string said = EverythingSaid(Fixture(name), status);
        EXPECT_EQ(status, 161) << name;
        EXPECT_NE(said.find("is not read"), std::string::npos) << said;
        if (hostname.size() >= 3) {
            EXPECT_EQ(said.find(hostname), std::string::npos) << said;
        }
    }
}

TEST(BrooksideXML, BoundsEntityExpansion) {
    // In a child under a CPU limit; the expansion must not show in its memory either.
    const auto cost = zmtest::ExpectBounded({60, 0}, [] {
        int status = 0;
        const std::string said = EverythingSaid(Fixture("billion-laughs.xml"), status);
        EXPECT_EQ(status, 161);
        EXPECT_EQ(said.find("lollollol"), std::string::npos);
    });
    EXPECT_LT(cost.GrowthKb(), zmtest::AllowedGrowthKb(64));
}

TEST(BrooksideXML, ReadsALargeSectionInLinearTime) {
    // 100,000 rows of four values, about 4 MB of raw text, in 500 short intervals.
    zmtest::ScratchDir scratch;
    std::string text = TwoWafersWith("NUM_DATA_COLS=4\nNUM_DATA_ROWS=10", "NUM_DATA_ROWS=100000");
    const size_t rowsAt = text.find("1\t0.0\t12.25");
    const size_t rowsEnd = text.find("</RawData>", rowsAt);
    std::string rows;
    rows.reserve(5'000'000);
    for (int n = 1; n <= 100000; ++n)
        rows += std::to_string(n) + "\t" + std::to_string(n * 0.01) + "\t12.5\t300\t25.25\n";
    text.replace(rowsAt, rowsEnd - rowsAt, rows);
    std::string intervals;
    for (int i = 0; i < 500; ++i)
        intervals += "<Interval Name=\"S" + std::to_string(i) + "\" Number=\"" + std::to_string(i) +
                     "\" FromRow=\"" + std::to_string(i * 200 + 1) + "\" ToRow=\"" +
                     std::to_string(i * 200 + 200) + "\" Duration=\"1\" StartTime=\"t\"/>";
    text.replace(text.find("<Interval Name=\"f_MainEtch\""), 0, intervals);
    const std::string file = scratch.Write("large.xml", text);
    text.clear();
    text.shrink_to_fit();

    BrooksideXML reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, file, sink), 0) << Message(reader);
    EXPECT_EQ(sink.rows, 100000 + 5 + 1);
    EXPECT_DOUBLE_EQ(sink.Number(3, 100001), 1000);
    // Row 4 lies past "Stabilize" (1..3) and in S0 (1..200).
    EXPECT_EQ(sink.Text(2, 5), "S0");
    EXPECT_EQ(sink.Text(2, 100001), "S499");
}

}  // namespace
