// JCAMP-DX reader: value decoding, the writer's encodings, LINK files and resampling,
// options, several files, refusals, warnings and damaged files; the x axis of resampled
// rows, line-start x checks, a second Open and file names that hold the list's separator.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "formats/spectral/JCAMPFile.h"
#include "formats/spectral/JCAMPText.h"
#include "framework/OptionsRecord.h"
#include "platform/FileNames.h"
#include "platform/Settings.h"
#include "tests/support/BoundedTest.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Message;

std::string Fixture(const std::string& name) {
    return std::string(ZM_TEST_DATA) + "/jcamp/" + name;
}

struct Value {
    int code;
    double value;
    int count;
    bool missing;
};

// The values of one line, as ReadNextValue takes them off it.
std::vector<Value> Values(const std::string& line, bool plainOnly) {
    std::vector<Value> out;
    size_t pos = 0;
    for (int guard = 0; guard < 100; ++guard) {
        Value v{};
        v.code = JCAMPFile::ReadNextValue(line, pos, v.value, v.count, v.missing, plainOnly);
        if (v.code != 0 || v.count == 0) {
            if (v.code != 0)
                out.push_back(v);
            break;
        }
        out.push_back(v);
    }
    return out;
}

// Forms the numeral test below does not build: separators, repeats after a difference,
// signs ending a value, the missing mark, and what no encoding writes.
TEST(JCAMPFileValues, DecodesSeparatorsRepeatsAndSignsAndRefusesTheRest) {
    const struct {
        const char* line;
        bool plainOnly;
        std::vector<double> values;
        std::vector<int> counts;
    } cases[] = {
        // A decimal comma in ordinates, a separator in point tables.
        {"1,5", false, {1.5}, {1}},
        {"1,5", true, {1, 5}, {1, 1}},
        // Squeezed digits, differences and repeats.
        {"A3 j5 J3T @ % a0", false, {13, -15, 13, 0, 0, -10}, {1, -1, -2, 1, -1, 1}},
        // PAC: signs end the value before; exponents need their sign outside point tables.
        {"12-3+4.5 3E-2 7e+1", false, {12, -3, 4.5, 0.03, 70}, {1, 1, 1, 1, 1}},
        {"12E5", false, {12, 55}, {1, 1}},  // 12, then the squeezed 55
        {"A5s12", false, {15}, {912}},
    };
    for (const auto& c : cases) {
        const auto v = Values(c.line, c.plainOnly);
        ASSERT_EQ(v.size(), c.values.size()) << c.line;
        for (size_t i = 0; i < v.size(); ++i) {
            EXPECT_DOUBLE_EQ(v[i].value, c.values[i]) << c.line << " " << i;
            EXPECT_EQ(v[i].count, c.counts[i]) << c.line << " " << i;
        }
    }
    const auto missing = Values("1.5E3, ?; 2", true);
    ASSERT_EQ(missing.size(), 3u);
    EXPECT_DOUBLE_EQ(missing[0].value, 1500);
    EXPECT_TRUE(missing[1].missing);
    const std::pair<std::string, int> kRefused[] = {
        {"a0 s", JCAMPFile::kIllegalCharacter},  // a repeat standing alone
        {"5ST", JCAMPFile::kTwoDups},
        {"1 ! 2", JCAMPFile::kIllegalCharacter},
        {"+x", JCAMPFile::kIllegalCharacter},
        {std::string(80, '9'), JCAMPFile::kIllegalCharacter},
    };
    for (const auto& [line, code] : kRefused)
        EXPECT_EQ(Values(line, false).back().code, code) << line;
    EXPECT_EQ(Values("1 A2", true).back().code, JCAMPFile::kInvalidCharacter);
}

// Every numeral reads as the double its text parses to, to the last bit, whether built
// by hand (up to 15 digits) or parsed: with a squeezed or difference first digit, a sign,
// a point or decimal comma anywhere, a repeat count or an exponent after it. Past 40
// digits before the point or 58 characters up to the exponent it is refused.
TEST(JCAMPFileValues, NumeralsReadAsTheirText) {
    std::mt19937 random(5);
    for (int i = 0; i < 20000; ++i) {
        const size_t length = 1 + random() % 45;
        std::string text;
        for (size_t k = 0; k < length; ++k)
            text += static_cast<char>('0' + random() % 10);
        const size_t point = random() % (length + 1);  // `length`: no point
        if (point < length)
            text.insert(point, ".");
        const bool negative = random() % 2 != 0 && text[0] != '0';
        // Plain, squeezed or difference: a point cannot be squeezed.
        const int form = text[0] == '.' ? 0 : static_cast<int>(random() % 3);
        std::string line = text;
        if (form != 0) {
            const char* leads[] = {"@ABCDEFGHI", "@abcdefghi", "%JKLMNOPQR", "%jklmnopqr"};
            line[0] = leads[(form - 1) * 2 + negative][text[0] - '0'];
        } else if (negative) {
            line = "-" + line;
        }
        if (point < length && random() % 4 == 0)
            line[line.find('.')] = ',';
        const int repeat = 1 + static_cast<int>(random() % 3);
        std::string exponent;
        if (repeat > 1)
            line += static_cast<char>('S' + repeat - 1);
        else if (random() % 3 == 0)
            exponent = (random() % 2 ? "E+" : "e-") + std::to_string(random() % 40);
        line += exponent + "J1";
        const double expected =
            std::strtod(((negative ? "-" : "") + text + exponent).c_str(), nullptr);
        const auto v = Values(line, false);
        const bool tooLong = (point < length ? point : length) > 40 || text.size() > 58;
        ASSERT_FALSE(v.empty()) << line;
        if (tooLong) {
            EXPECT_EQ(v[0].code, JCAMPFile::kIllegalCharacter) << line;
            continue;
        }
        ASSERT_EQ(v.size(), 2u) << line;
        EXPECT_EQ(std::memcmp(&v[0].value, &expected, sizeof expected), 0)
            << line << ": " << v[0].value << " against " << expected;
        EXPECT_EQ(v[0].count, form == 2 ? -repeat : repeat) << line;
        EXPECT_EQ(v[1].count, -1) << line;
    }
}

// Lines end at LF, CR LF or a lone CR, wherever they fall in the eight-byte steps of
// the line-end search, and the text may end without one.
TEST(JCAMPFileValues, LinesEndWhereverTheyFall) {
    for (size_t length = 0; length < 20; ++length) {
        for (const std::string end : {"\n", "\r\n", "\r", ""}) {
            const std::string first(length, 'A');
            const std::string text = first + end + "B2" + end;
            size_t pos = 0;
            std::string_view line;
            ASSERT_TRUE(zm::jcamp::NextLine(text, pos, line));
            if (end.empty()) {
                EXPECT_EQ(line, text);
                EXPECT_FALSE(zm::jcamp::NextLine(text, pos, line));
                continue;
            }
            EXPECT_EQ(line, first);
            ASSERT_TRUE(zm::jcamp::NextLine(text, pos, line));
            EXPECT_EQ(line, "B2");
            EXPECT_EQ(pos, text.size());
            EXPECT_FALSE(zm::jcamp::NextLine(text, pos, line));
        }
    }
}

// The x-y pairs the writer was given.
std::vector<std::pair<double, double>> Expected() {
    std::ifstream in(Fixture("bands.expected.tsv"));
    std::vector<std::pair<double, double>> out;
    double x = 0, y = 0;
    while (in >> x >> y)
        out.emplace_back(x, y);
    return out;
}

class JCAMPFileWriterEncodings : public ::testing::TestWithParam<const char*> {};

TEST_P(JCAMPFileWriterEncodings, ReadsWhatTheWriterWasGiven) {
    const auto expected = Expected();
    ASSERT_EQ(expected.size(), 301u);
    JCAMPFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture(GetParam()), sink), 0) << Message(reader);
    EXPECT_EQ(reader.GetWarningMessage(), nullptr);
    ASSERT_EQ(sink.cols, 302);
    ASSERT_EQ(sink.rows, 2);
    EXPECT_EQ(sink.Text(1, 2).substr(0, 6), "bands ");
    for (size_t i = 0; i < expected.size(); ++i) {
        const int col = static_cast<int>(i) + 2;
        EXPECT_NEAR(sink.Number(col, 1), expected[i].first, 1e-6) << "point " << i;
        EXPECT_NEAR(sink.Number(col, 2), expected[i].second, 1e-3) << "point " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Encodings, JCAMPFileWriterEncodings,
                         ::testing::Values("bands-affn.jdx", "bands-pac.jdx", "bands-sqz.jdx",
                                           "bands-dif.jdx", "bands-difdup.jdx"));

TEST(JCAMPFileSheet, ResamplesALinkFileOntoTheReferenceBlock) {
    JCAMPFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("link-two-axes.jdx"), sink), 0) << Message(reader);
    std::vector<std::string> list;
    reader.GetJCAMPBlockList(list);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[1], "INFRARED SPECTRUM, 1x151 obs, part 2");
    EXPECT_TRUE(reader.JCAMPWarning());     // 301 and 151 points
    EXPECT_FALSE(reader.MultiSelection());  // both from 1000 to 2000
    ASSERT_EQ(sink.cols, 302);
    ASSERT_EQ(sink.rows, 3);
    EXPECT_EQ(sink.Text(1, 3), "part 2");
    // Every other column of the first block's axis is a point of the second: its own
    // value; the columns between lie halfway between two of its points.
    const auto expected = Expected();
    JCAMPFile alone;
    zmtest::RecordingSink second;
    zm::SettingsDocument choice;
    choice.SetList("Settings", "DataBlocks", {"1"});
    ZmImportOpenOptions* options = zm::NewOptionsRecord(choice);
    ASSERT_EQ(zmtest::ReadAll(alone, Fixture("link-two-axes.jdx"), second, options), 0);
    zm::FreeOptionsRecord(options);
    ASSERT_EQ(second.cols, 152);
    for (int i = 0; i + 2 < 151; ++i) {
        EXPECT_NEAR(sink.Number(2 * i + 2, 3), second.Number(i + 2, 2), 1e-9);
        EXPECT_NEAR(sink.Number(2 * i + 3, 3),
                    (second.Number(i + 2, 2) + second.Number(i + 3, 2)) / 2, 1e-6);
    }
    EXPECT_EQ(sink.Number(2, 2), expected[0].second);
}

TEST(JCAMPFileSheet, OptionsChooseBlocksAndTheReference) {
    // An empty record gets every block and the first as reference, byte for byte what the
    // settings layer writes for the same choices; a file without data blocks an empty list.
    zmtest::ScratchDir scratch;
    const std::string noData =
        scratch.Write("none.jdx", "##TITLE=none\n##DATA TYPE=LINK\n##END=\n");
    const std::pair<std::string, std::vector<std::string>> kWritten[] = {
        {Fixture("link-two-axes.jdx"), {"0", "1"}}, {noData, {}}};
    for (const auto& [file, blocks] : kWritten) {
        JCAMPFile reader;
        ZmImportOpenOptions empty{};
        ASSERT_EQ(reader.Open(true, file.c_str(), &empty), 0) << file;
        zm::SettingsDocument same;
        same.SetList("Settings", "DataBlocks", blocks);
        same.SetInt("Settings", "InterPolationFile", 0);
        same.SetInt("Settings", "InterPolationSerie", 0);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(empty.data), empty.size),
                  zm::EncodeOptions(same));
        delete[] empty.data;
    }
    // The second block as reference: its 151 points are the columns.
    zm::SettingsDocument choice;
    choice.SetList("Settings", "DataBlocks", {"0", "1"});
    choice.SetInt("Settings", "InterPolationSerie", 1);
    ZmImportOpenOptions* options = zm::NewOptionsRecord(choice);
    JCAMPFile reader;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(reader, Fixture("link-two-axes.jdx"), sink, options), 0);
    EXPECT_EQ(sink.cols, 152);
    zm::FreeOptionsRecord(options);
    // A reference that is not there, and options without the block list.
    for (const char* key : {"InterPolationSerie", "DataBlocks"}) {
        zm::SettingsDocument bad;
        bad.SetList("Settings", "DataBlocks", {"0", "1"});
        bad.SetInt("Settings", "InterPolationSerie", 7);
        if (std::string(key) == "DataBlocks")
            bad.RemoveKey("Settings", "DataBlocks");
        options = zm::NewOptionsRecord(bad);
        JCAMPFile refused;
        zmtest::RecordingSink none;
        EXPECT_EQ(
            zmtest::ReadAll(refused, Fixture("link-two-axes.jdx"), none, options),
            key == std::string("DataBlocks") ? JCAMPFile::kBadOptions : JCAMPFile::kBadSeries);
        zm::FreeOptionsRecord(options);
    }
}

TEST(JCAMPFileSheet, SeveralFilesMakeOneSheet) {
    const std::string names =
        zm::JoinFileNames({Fixture("bands-sqz.jdx"), Fixture("bands-difdup.jdx")});
    JCAMPFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, names, sink), 0) << Message(reader);
    ASSERT_EQ(sink.rows, 3);
    EXPECT_EQ(sink.Text(1, 2), "bands-sqz, bands SQZ");
    EXPECT_EQ(sink.Text(1, 3), "bands-difdup, bands DIFDUP");
    for (int col = 2; col <= sink.cols; ++col)
        EXPECT_EQ(sink.Number(col, 2), sink.Number(col, 3));
    JCAMPFile refused;
    const std::string withBad =
        zm::JoinFileNames({Fixture("bands-sqz.jdx"), Fixture("no-title.jdx")});
    EXPECT_EQ(refused.Open(true, withBad.c_str(), nullptr), JCAMPFile::kNotJCAMPFile);
    EXPECT_EQ(Message(refused), "One of the files does not appear to be a valid JCAMP-DX file.");
    EXPECT_STREQ(refused.GetFailedFile(), Fixture("no-title.jdx").c_str());
}

TEST(JCAMPFileSheet, ReadsVariedLabelsCommasAndMissingPoints) {
    const std::pair<const char*, std::vector<zmtest::Expect>> kFiles[] = {
        {"labels-vary.jdx", {{2, 1, 10.0}, {4, 1, 20.0}, {4, 2, 6.0}}},  // "##y/factor= 2"
        {"decimal-comma.jdx", {{2, 2, 1.5}, {3, 2, 2.25}, {4, 2, 3.125}}},
        {"points-missing.jdx", {zmtest::Absent(3, 2), {4, 2, 15.0}, zmtest::Absent(5, 2)}},
    };
    for (const auto& [name, cells] : kFiles) {
        JCAMPFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, Fixture(name), sink), 0) << Message(reader);
        zmtest::ExpectCells(sink, cells, name);
    }
}

// Repeated differences at a line's end, the y check that opens the next line, and
// lines of one file that run up to the last byte, in one file and in several.
TEST(JCAMPFileSheet, RepeatedDifferencesAcrossLinesAndFiles) {
    const std::string text =
        "##TITLE=steps\n##JCAMP-DX=5.01\n##DATA TYPE=INFRARED SPECTRUM\n"
        "##FIRSTX=1\n##LASTX=7\n##NPOINTS=7\n##YFACTOR=0.5\n"
        "##XYDATA=(X++(Y..Y))\n1 A0J1T\r\n4 C2J2U\r7 F8K\n##END=";
    const std::string path = ::testing::TempDir() + "jcamp-steps.jdx";
    std::ofstream(path, std::ios::binary) << text;
    const std::vector<double> expected = {5, 10.5, 16, 22, 28, 34, 35};
    for (int files = 1; files <= 2; ++files) {
        const std::string names = files == 1 ? path : zm::JoinFileNames({path, path});
        JCAMPFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, names, sink), 0) << Message(reader);
        EXPECT_EQ(reader.GetWarningMessage(), nullptr);
        ASSERT_EQ(sink.cols, 8);
        ASSERT_EQ(sink.rows, 1 + files);
        for (int row = 2; row <= sink.rows; ++row) {
            for (size_t i = 0; i < expected.size(); ++i)
                EXPECT_EQ(sink.Number(static_cast<int>(i) + 2, row), expected[i]) << i;
        }
    }
}

// Runs of differences end wherever a value needs more than a bare difference: 15
// digits and no more, an exponent after a difference (not a squeezed 5), a blank or a
// separator, a repeat count of two digits, a line longer than the room made at a time;
// a second repeat count or one past what the block can hold stops the read with the
// line it is on.
TEST(JCAMPFileSheet, DifferenceRunsHandOverWhereValuesNeedMore) {
    const std::string head =
        "##TITLE=runs\n##JCAMP-DX=5.01\n##DATA TYPE=INFRARED SPECTRUM\n"
        "##FIRSTX=1\n##LASTX=19\n##NPOINTS=19\n##XYDATA=(X++(Y..Y))\n";
    const std::string path = ::testing::TempDir() + "jcamp-runs.jdx";
    std::ofstream(path, std::ios::binary)
        << head
        << "1 @J00000000000000j00000000000000J000000000000000j000000000000000JE+1 J;KJS0\n"
           "19 B3K\n##END=";
    JCAMPFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, path, sink), 0) << Message(reader);
    EXPECT_EQ(reader.GetWarningMessage(), nullptr);
    std::vector<double> expected = {0, 1e14, 0, 1e15, 0, 10, 11, 13};
    for (int y = 14; y <= 23; ++y)
        expected.push_back(y);
    expected.push_back(25);
    ASSERT_EQ(sink.cols, 1 + static_cast<int>(expected.size()));
    for (size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(sink.Number(static_cast<int>(i) + 2, 2), expected[i]) << i;

    // One line of more differences than the room made for a run at a time.
    std::ofstream(path, std::ios::binary)
        << "##TITLE=long\n##FIRSTX=0\n##LASTX=5000\n##NPOINTS=5001\n##XYDATA=(X++(Y..Y))\n0 @"
        << std::string(5000, 'J') << "\n##END=";
    JCAMPFile longLine;
    zmtest::RecordingSink ramp;
    ASSERT_EQ(zmtest::ReadAll(longLine, path, ramp), 0) << Message(longLine);
    ASSERT_EQ(ramp.cols, 1 + 5001);
    for (int col = 2; col <= ramp.cols; ++col)
        ASSERT_EQ(ramp.Number(col, 2), col - 2);

    struct Damage {
        const char* data;
        int code;
        const char* text;
    };
    for (const Damage& d :
         {Damage{"1 @JKJTTJ\n", JCAMPFile::kTwoDups,
                 "Error in file 'jcamp-runs.jdx', line 8: Two consecutive DUP-values is not "
                 "allowed."},
          Damage{"1 @JK\n3 JT\n", JCAMPFile::kDupFirstOrdinate,
                 "Error in file 'jcamp-runs.jdx', line 9: A DUP-value is not allowed as first "
                 "ordinate."},
          Damage{"1 @JK\n3 CJS0000000\n", JCAMPFile::kReadError,
                 "Error in file 'jcamp-runs.jdx', line 9: Error occurred while reading the "
                 "file."}}) {
        std::ofstream(path, std::ios::binary) << head << d.data << "##END=";
        JCAMPFile refused;
        zmtest::RecordingSink none;
        EXPECT_EQ(zmtest::ReadAll(refused, path, none), d.code) << d.data;
        EXPECT_EQ(Message(refused), d.text) << d.data;
    }
}

TEST(JCAMPFileWarnings, YCheckAndPointCount) {
    JCAMPFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("y-check.jdx"), sink), 0) << Message(reader);
    ASSERT_NE(reader.GetWarningMessage(), nullptr);
    EXPECT_EQ(std::string(reader.GetWarningMessage()),
              "Error in file 'y-check.jdx', line 12: Y-value check failed on line 12. The "
              "remaining part of the dataset will be ignored.");
    EXPECT_EQ(sink.cols, 1 + 5);  // 10 11 12, then 13 14 of the line whose check held
    EXPECT_EQ(sink.Number(6, 2), 14);
}

struct Refusal {
    const char* file;
    int code;
    const char* text;
};

class JCAMPFileRefusals : public ::testing::TestWithParam<Refusal> {};

TEST_P(JCAMPFileRefusals, GiveTheirCodeAndText) {
    const Refusal& r = GetParam();
    JCAMPFile reader;
    zmtest::RecordingSink sink;
    EXPECT_EQ(zmtest::ReadAll(reader, Fixture(r.file), sink), r.code);
    EXPECT_EQ(Message(reader), r.text);
    EXPECT_EQ(reader.GetNumCols(), -1);
}

INSTANTIATE_TEST_SUITE_P(
    Files, JCAMPFileRefusals,
    ::testing::Values(
        Refusal{"dup-2-31.jdx", JCAMPFile::kReadError,
                "Error in file 'dup-2-31.jdx', line 10: Error occurred while reading the file."},
        // Refused at the 65th nested title (three lines a level), not at the end.
        Refusal{"endless-link.jdx", JCAMPFile::kTitleEndMismatch,
                "Error in file 'endless-link.jdx', line 193: Mismatching '##TITLE=' and "
                "'##END=' labels were found in the file."},
        Refusal{"npoints-fraction.jdx", JCAMPFile::kBadNPoints,
                "Error in file 'npoints-fraction.jdx', line 8: Invalid value of '##NPOINTS=' "
                "label in the file. The value of '##NPOINTS=' must be a positive integer."},
        Refusal{"npoints-zero.jdx", JCAMPFile::kBadNPoints,
                "Error in file 'npoints-zero.jdx', line 8: Invalid value of '##NPOINTS=' label "
                "in the file. The value of '##NPOINTS=' must be a positive integer."},
        Refusal{"no-title.jdx", JCAMPFile::kNotJCAMPFile,
                "The file does not appear to be a valid JCAMP-DX file."},
        Refusal{"mixed-classes.jdx", JCAMPFile::kMixedDataClasses,
                "Only files with dataclass = 'XYDATA' are supported by multiselection."},
        Refusal{"blocks-outside-link.jdx", JCAMPFile::kBlocksOutsideLink,
                "Found an illegal label ##BLOCKS within a LINK-block"},
        Refusal{"binary.jdx", JCAMPFile::kBinaryData,
                "Error in file 'binary.jdx', line 2: The data is stored in an unsupported "
                "(binary) form."},
        Refusal{"two-dups.jdx", JCAMPFile::kTwoDups,
                "Error in file 'two-dups.jdx', line 10: Two consecutive DUP-values is not "
                "allowed."},
        Refusal{"dup-abscissa.jdx", JCAMPFile::kDupOnAbscissa,
                "Error in file 'dup-abscissa.jdx', line 10: Duplicate suppression count (DUP) "
                "should be 1 for abscissa."},
        Refusal{"no-spacing.jdx", JCAMPFile::kNoSpacing,
                "Error in file 'no-spacing.jdx', line 3: Couldn't establish dx, either the "
                "'##FIRSTX=' and/or '##LASTX=' labels are missing in the file, or the "
                "'##DELTAX=' label."},
        Refusal{"illegal-character.jdx", JCAMPFile::kIllegalCharacter,
                "Error in file 'illegal-character.jdx', line 11: Found an illegal character on "
                "line 11 while reading data from the file."}));

TEST(JCAMPFileDamage, EveryTruncationIsReadOrRefusedWithAText) {
    for (const char* name : {"bands-difdup.jdx", "link-two-axes.jdx", "points-missing.jdx"}) {
        std::ifstream in(Fixture(name), std::ios::binary);
        const std::string whole = (std::ostringstream() << in.rdbuf()).str();
        const std::string path = ::testing::TempDir() + "jcamp-cut.jdx";
        const size_t step = whole.size() > 4000 ? 7 : 1;
        for (size_t cut = 0; cut < whole.size(); cut += step) {
            std::ofstream(path, std::ios::binary) << whole.substr(0, cut);
            JCAMPFile reader;
            zmtest::RecordingSink sink;
            const int code = zmtest::ReadAll(reader, path, sink);
            if (code != 0)
                EXPECT_FALSE(Message(reader).empty()) << name << " cut at " << cut;
            else
                EXPECT_LE(static_cast<int>(sink.cells.size()), sink.cols * sink.rows);
        }
    }
}

// An XYDATA block of `n` points y = i from `first` to `last`, ten values a line, each line
// starting with its x; `npoints` false leaves "##NPOINTS=" out; `skipLine` >= 0 drops
// that data line.
std::string Spectrum(int n, double first, double last, bool npoints = true, int skipLine = -1) {
    std::string text = "##TITLE=n" + std::to_string(n) + "\n##JCAMP-DX=4.24\n##DATA TYPE=IR\n";
    char buffer[128];
    std::snprintf(buffer, sizeof buffer, "##FIRSTX=%.17g\n##LASTX=%.17g\n", first, last);
    text += buffer;
    if (npoints)
        text += "##NPOINTS=" + std::to_string(n) + "\n";
    text += "##XFACTOR=1\n##YFACTOR=1\n##XYDATA=(X++(Y..Y))\n";
    const double step = (last - first) / (n - 1);
    for (int i = 0, line = 0; i < n; i += 10, ++line) {
        std::string data;
        std::snprintf(buffer, sizeof buffer, "%.10g", first + i * step);
        data += buffer;
        for (int k = i; k < std::min(n, i + 10); ++k)
            data += " " + std::to_string(k);
        if (line != skipLine)
            text += data + "\n";
    }
    return text + "##END=\n";
}

TEST(JCAMPFileAxis, ResampledRowsKeepTheirLastPoint) {
    // The reference's last column gets the other row's last value, however first + i * step
    // rounds.
    zmtest::ScratchDir scratch;
    int pairs = 0;
    for (int n = 20; n < 120; n += 3) {
        const std::string reference = scratch.Write("a.jdx", Spectrum(n, 399.1, 4001.7));
        const std::string other = scratch.Write("b.jdx", Spectrum(n + 7, 399.1, 4001.7));
        JCAMPFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, zm::JoinFileNames({reference, other}), sink), 0)
            << Message(reader);
        ASSERT_EQ(sink.cols, n + 1) << n;
        EXPECT_TRUE(sink.Has(sink.cols, 3)) << "n = " << n;
        EXPECT_NEAR(sink.Number(sink.cols, 3), n + 6, 1e-6) << n;
        EXPECT_EQ(sink.Number(2, 3), 0) << n;
        ++pairs;
    }
    EXPECT_GT(pairs, 30);
}

TEST(JCAMPFileAxis, ResampledRowsTakeNoRoomOfTheirOwn) {
    // One spectrum of 200,000 points and 100 short ones over its x range: each short one
    // resampled onto the long axis would be 1.6 MB if held, 160 MB for the sheet. They
    // are resampled as they are written, so the read stays within 16 bytes per input
    // byte over what the child held at its start.
    zmtest::ScratchDir scratch;
    std::vector<std::string> names{scratch.Write("long.jdx", Spectrum(200000, 400, 4000))};
    for (int i = 0; i < 100; ++i)
        names.push_back(scratch.Write("s" + std::to_string(i) + ".jdx", Spectrum(50, 400, 4000)));
    uintmax_t input = 0;
    for (const std::string& name : names)
        input += std::filesystem::file_size(name);
    const std::string joined = zm::JoinFileNames(names);
    const auto cost = zmtest::ExpectBounded({60, 0}, [&joined] {
        JCAMPFile reader;
        ASSERT_EQ(reader.Open(true, joined.c_str(), nullptr), 0);
        ASSERT_EQ(reader.GetNumRows(), 102);
        ASSERT_EQ(reader.GetNumCols(), 200001);
        // A sink that keeps nothing: the reader's own memory is what is measured.
        struct Drop : ReadSpreadSheetData {
            int GetNumberOfColumns() override { return 200001; }
            int GetNumberOfRows() override { return 102; }
            void Set(int, int, const char*) override {}
            void Set(int, int, float) override {}
            void SetDataSize(int, int) override {}
        } drop;
        EXPECT_EQ(reader.Read(&drop), 0);
    });
    EXPECT_LT(cost.GrowthKb(), static_cast<long>(16 * input / 1024) + zmtest::AllowedGrowthKb(8))
        << "input " << input << " bytes";
}

TEST(JCAMPFileAxis, ASecondOpenStartsAfresh) {
    zmtest::ScratchDir scratch;
    const std::string a = scratch.Write("a.jdx", Spectrum(30, 100, 129));
    const std::string b = scratch.Write("b.jdx", Spectrum(12, 5, 16));
    JCAMPFile reader;
    ASSERT_EQ(reader.Open(true, a.c_str(), nullptr), 0);
    ASSERT_EQ(reader.GetNumJCAMPBlocks(), 1);
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, b, sink), 0) << Message(reader);
    EXPECT_EQ(reader.GetNumJCAMPBlocks(), 1);
    EXPECT_EQ(sink.rows, 2);
    EXPECT_EQ(sink.cols, 13);
    EXPECT_EQ(sink.Number(2, 1), 5);
    EXPECT_EQ(sink.Text(1, 2), "n12");
}

TEST(JCAMPFileAxis, LineStartsTellAMissingLineWithoutAPointCount) {
    // A line left out of 100 points, ten a line, is told by the x starting each line, as
    // "##NPOINTS=" would tell it.
    zmtest::ScratchDir scratch;
    const struct {
        bool npoints;
        int skip;
        bool warned;
    } cases[] = {
        {false, -1, false}, {false, 0, true}, {false, 4, true},
        {false, 9, true},   {true, 4, true},  {true, -1, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "npoints " << c.npoints << ", line " << c.skip);
        const std::string path =
            scratch.Write("lines.jdx", Spectrum(100, 1000, 1099, c.npoints, c.skip));
        JCAMPFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, path, sink), 0) << Message(reader);
        const char* warning = reader.GetWarningMessage();
        ASSERT_EQ(warning != nullptr, c.warned) << (warning ? warning : "");
        if (warning != nullptr) {
            EXPECT_NE(std::string(warning).find("Could only read 90 y-values, but expected to "
                                                "read 100."),
                      std::string::npos)
                << warning;
        }
    }
}

TEST(JCAMPFileAxis, BlocksOpenedWithoutEndAreRefusedAndEmptyOnesCostNothing) {
    zmtest::ScratchDir scratch;
    std::string open = "##TITLE=a\n";
    for (int i = 0; i < 100; ++i)
        open += "##TITLE=t\n";
    JCAMPFile deep;
    EXPECT_EQ(deep.Open(true, scratch.Write("deep.jdx", open).c_str(), nullptr),
              JCAMPFile::kTitleEndMismatch);

    // 200,000 blocks without data, then one with: the empty ones leave nothing behind, so
    // the block list holds the one.
    std::string many;
    for (int i = 0; i < 200000; ++i)
        many += "##TITLE=e\n##PAGE=p\n##PAGE=q\n##END=\n";
    many += Spectrum(12, 5, 16);
    JCAMPFile reader;
    ASSERT_EQ(reader.Open(true, scratch.Write("many.jdx", many).c_str(), nullptr), 0)
        << Message(reader);
    EXPECT_EQ(reader.GetNumJCAMPBlocks(), 1);
}

TEST(JCAMPFileAxis, ANameHoldingALineFeedStaysOneFile) {
    zmtest::ScratchDir scratch;
    const std::string odd = scratch.Write("x.jdx\ny.jdx", Spectrum(12, 5, 16));
    scratch.Write("x.jdx", Spectrum(30, 100, 129));
    scratch.Write("y.jdx", Spectrum(30, 100, 129));
    for (const std::string& names : {zm::JoinFileNames({odd}), odd}) {
        JCAMPFile reader;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(reader, names, sink), 0) << Message(reader);
        EXPECT_EQ(sink.rows, 2);
        EXPECT_EQ(sink.cols, 13);
    }
}

}  // namespace
