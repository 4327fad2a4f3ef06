// Settings documents, their framing in options records, and the binary-string framing.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "platform/BinaryString.h"
#include "platform/Exception.h"
#include "platform/Settings.h"

namespace {

using zm::OptionsDecode;
using zm::SettingsDocument;

std::unique_ptr<SettingsDocument> RoundTrip(const SettingsDocument& doc) {
    return SettingsDocument::Parse(doc.ToXml());
}

TEST(SettingsDocument, EveryValueKindSurvivesWriteAndRead) {
    SettingsDocument doc;
    doc.SetString("Settings", "Delimiter", ";");
    doc.SetString("Settings", "Encoding", "utf8");
    doc.SetBool("Settings", "IgnoreConsecutiveDelimiters", false);
    doc.SetBool("Settings", "Merge", true);
    doc.SetInt("Settings", "ReadOrder", -42);
    doc.SetInt("Settings", "Big", 9007199254740993LL);
    doc.SetList("Settings", "Files", {"a.txt", "b c.txt", ""});
    doc.SetString("Other", "Name", "\xC3\xA9t\xC3\xA9 <&> \"'");

    const auto back = RoundTrip(doc);
    EXPECT_EQ(back->GetString("Settings", "Delimiter"), ";");
    EXPECT_EQ(back->GetString("Settings", "Encoding"), "utf8");
    EXPECT_EQ(back->GetBool("Settings", "IgnoreConsecutiveDelimiters"), false);
    EXPECT_EQ(back->GetBool("Settings", "Merge"), true);
    EXPECT_EQ(back->GetInt("Settings", "ReadOrder"), -42);
    EXPECT_EQ(back->GetInt("Settings", "Big"), 9007199254740993LL);
    EXPECT_EQ(back->GetList("Settings", "Files"),
              (std::vector<std::string>{"a.txt", "b c.txt", ""}));
    EXPECT_EQ(back->GetString("Other", "Name"), "\xC3\xA9t\xC3\xA9 <&> \"'");
    // Booleans are written as words.
    EXPECT_NE(doc.ToXml().find("<Merge>true</Merge>"), std::string::npos);
}

TEST(SettingsDocument, DoublesReadBackBitForBit) {
    const std::vector<double> values = {0.1,
                                        -1.0 / 3.0,
                                        6.02214076e23,
                                        std::numeric_limits<double>::min(),
                                        std::numeric_limits<double>::denorm_min(),
                                        std::numeric_limits<double>::max(),
                                        1e-300,
                                        123456789.123456789};
    SettingsDocument doc;
    for (size_t i = 0; i < values.size(); ++i)
        doc.SetDouble("Settings", "D" + std::to_string(i), values[i]);
    const auto back = RoundTrip(doc);
    for (size_t i = 0; i < values.size(); ++i) {
        const auto v = back->GetDouble("Settings", "D" + std::to_string(i));
        ASSERT_TRUE(v.has_value()) << i;
        EXPECT_EQ(std::memcmp(&*v, &values[i], sizeof(double)), 0) << values[i];
    }
    // C locale: the decimal point is a dot.
    EXPECT_NE(doc.ToXml().find("<D0>0.1</D0>"), std::string::npos);
}

TEST(SettingsDocument, ValuesKeepWhiteSpaceAndLineBreaks) {
    const std::vector<std::string> values = {
        "\t",         " ",    "  a  b  ",       "x\ny", "\r\n",
        "a\rb",       "\x01", "\x1F|\x0B|\x0C", "\x7F", "\xC2\x85 \xE2\x80\xA8",
        "<&>]]>&amp;"};
    SettingsDocument doc;
    for (size_t i = 0; i < values.size(); ++i)
        doc.SetString("Settings", "K" + std::to_string(i), values[i]);
    doc.SetList("Settings", "L", {" ", "\t"});
    const auto back = RoundTrip(doc);
    for (size_t i = 0; i < values.size(); ++i)
        EXPECT_EQ(back->GetString("Settings", "K" + std::to_string(i)), values[i]) << i;
    EXPECT_EQ(back->GetList("Settings", "L"), (std::vector<std::string>{" ", "\t"}));
}

TEST(SettingsDocument, TextThatIsNotUtf8IsRefusedWithAStandardException) {
    SettingsDocument doc;
    EXPECT_THROW(doc.SetString("Settings", "Delimiter", "\xA7"), zm::Exception);
    EXPECT_THROW(doc.SetList("Settings", "Sheets", {"ok", "\xFF"}), zm::Exception);
    doc.SetString("Settings", "Delimiter", ";");
    EXPECT_EQ(RoundTrip(doc)->GetString("Settings", "Delimiter"), ";");
}

TEST(SettingsDocument, AbsentKeysAndMalformedNumbersReadAsAbsent) {
    const auto doc = SettingsDocument::Parse(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Configuration><Settings>"
        "<Empty></Empty><Word>yes</Word><Num>12x</Num><Float>1,5</Float>"
        "</Settings></Configuration>");
    EXPECT_FALSE(doc->HasKey("Settings", "Missing"));
    EXPECT_FALSE(doc->GetString("Settings", "Missing").has_value());
    EXPECT_FALSE(doc->GetString("Nowhere", "Empty").has_value());
    EXPECT_FALSE(doc->GetList("Settings", "Missing").has_value());
    // Present but empty is not absent.
    EXPECT_TRUE(doc->HasKey("Settings", "Empty"));
    EXPECT_EQ(doc->GetString("Settings", "Empty"), "");
    EXPECT_FALSE(doc->GetBool("Settings", "Word").has_value());
    EXPECT_FALSE(doc->GetInt("Settings", "Num").has_value());
    EXPECT_FALSE(doc->GetDouble("Settings", "Float").has_value());
    EXPECT_FALSE(doc->GetInt("Settings", "Empty").has_value());
}

TEST(SettingsDocument, SettingAgainReplacesAndRemoveDeletes) {
    SettingsDocument doc;
    doc.SetList("Settings", "Sheets", {"a", "b"});
    doc.SetString("Settings", "Sheets", "c;d");
    doc.SetString("Settings", "Gone", "x");
    doc.RemoveKey("Settings", "Gone");
    doc.RemoveKey("Settings", "NeverThere");
    const auto back = RoundTrip(doc);
    EXPECT_EQ(back->GetString("Settings", "Sheets"), "c;d");
    EXPECT_EQ(back->GetList("Settings", "Sheets"), std::vector<std::string>{});
    EXPECT_FALSE(back->HasKey("Settings", "Gone"));
}

TEST(SettingsDocument, MalformedXmlThrowsTheOptionsText) {
    for (const char* xml : {"", "<Configuration>", "<Configuration><a></b></Configuration>",
                            "not xml at all", "<Other/>", "\xFF\xFE<"}) {
        SCOPED_TRACE(xml);
        try {
            SettingsDocument::Parse(xml);
            ADD_FAILURE() << "no exception";
        } catch (const zm::Exception& e) {
            EXPECT_STREQ(e.what(), "Invalid file open option format");
        }
    }
}

TEST(OptionsRecord, EncodesAndDecodesADocument) {
    SettingsDocument doc;
    doc.SetString("Settings", "Delimiter", "\t");
    ZmImportOpenOptions* record = zm::NewOptionsRecord(doc);
    ASSERT_NE(record, nullptr);
    ASSERT_GT(record->size, 4u);
    // Framing: the first four bytes count the rest.
    const uint32_t n = record->data[0] | record->data[1] << 8 | record->data[2] << 16 |
                       static_cast<uint32_t>(record->data[3]) << 24;
    EXPECT_EQ(n + 4, record->size);
    EXPECT_EQ(zm::EncodeOptions(doc),
              std::string(reinterpret_cast<char*>(record->data), record->size));

    std::unique_ptr<SettingsDocument> back;
    ASSERT_EQ(zm::DecodeOptions(record, back), OptionsDecode::kDecoded);
    EXPECT_EQ(back->GetString("Settings", "Delimiter"), "\t");
    zm::FreeOptionsRecord(record);
}

TEST(OptionsRecord, EmptyRecordsAreNoOptionsAndBrokenOnesMalformed) {
    std::unique_ptr<SettingsDocument> doc;
    EXPECT_EQ(zm::DecodeOptions(nullptr, doc), OptionsDecode::kNoOptions);
    ZmImportOpenOptions empty{0, nullptr};
    EXPECT_EQ(zm::DecodeOptions(&empty, doc), OptionsDecode::kNoOptions);
    ZmImportOpenOptions nullData{12, nullptr};
    EXPECT_EQ(zm::DecodeOptions(&nullData, doc), OptionsDecode::kMalformed);

    SettingsDocument good;
    good.SetString("Settings", "Encoding", "utf8");
    std::string bytes = zm::EncodeOptions(good);
    // Every truncation of the frame is malformed, never a crash or a partial read.
    for (size_t len = 1; len < bytes.size(); ++len) {
        ZmImportOpenOptions cut{static_cast<uint32_t>(len),
                                reinterpret_cast<unsigned char*>(bytes.data())};
        EXPECT_EQ(zm::DecodeOptions(&cut, doc), OptionsDecode::kMalformed) << len;
        EXPECT_EQ(doc, nullptr);
    }
    // A frame claiming more than four gigabytes less one, and one holding no XML.
    std::string huge = "\xFF\xFF\xFF\xFF<Configuration/>";
    ZmImportOpenOptions big{static_cast<uint32_t>(huge.size()),
                            reinterpret_cast<unsigned char*>(huge.data())};
    EXPECT_EQ(zm::DecodeOptions(&big, doc), OptionsDecode::kMalformed);
    std::string text;
    zm::WriteBinaryString(text, "plain words");
    ZmImportOpenOptions words{static_cast<uint32_t>(text.size()),
                              reinterpret_cast<unsigned char*>(text.data())};
    EXPECT_EQ(zm::DecodeOptions(&words, doc), OptionsDecode::kMalformed);
}

TEST(OptionsRecord, StoreReplacesTheBytesOfAnExistingRecord) {
    SettingsDocument doc;
    doc.SetInt("Settings", "ReadOrder", 2);
    ZmImportOpenOptions record{0, nullptr};
    zm::StoreOptions(&record, doc);
    std::unique_ptr<SettingsDocument> back;
    ASSERT_EQ(zm::DecodeOptions(&record, back), OptionsDecode::kDecoded);
    EXPECT_EQ(back->GetInt("Settings", "ReadOrder"), 2);
    delete[] record.data;
    zm::StoreOptions(nullptr, doc);  // tolerated
}

TEST(BinaryString, FramesWithALittleEndianCount) {
    std::string out;
    zm::WriteBinaryString(out, std::string("a\0b", 3));
    zm::WriteBinaryString(out, "");
    ASSERT_EQ(out, std::string("\x03\x00\x00\x00"
                               "a\0b"
                               "\x00\x00\x00\x00",
                               11));

    std::string value = "untouched";
    const auto* p = reinterpret_cast<const uint8_t*>(out.data());
    ASSERT_TRUE(zm::ReadBinaryString(p, out.size(), value));
    EXPECT_EQ(value, std::string("a\0b", 3));
    EXPECT_TRUE(zm::ReadBinaryString(p + 7, 4, value));
    EXPECT_EQ(value, "");

    value = "untouched";
    EXPECT_FALSE(zm::ReadBinaryString(p, 3, value));  // count itself cut
    EXPECT_FALSE(zm::ReadBinaryString(p, 6, value));  // body cut
    EXPECT_FALSE(zm::ReadBinaryString(nullptr, 0, value));
    EXPECT_EQ(value, "untouched");

    std::string longer(300, 'x');
    std::string framed;
    zm::WriteBinaryString(framed, longer);
    EXPECT_EQ(framed.substr(0, 4), std::string("\x2C\x01\x00\x00", 4));
}

}  // namespace
