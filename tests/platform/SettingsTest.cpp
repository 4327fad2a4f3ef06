// Settings documents, their framing in options records, and the binary-string framing.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "framework/OptionsRecord.h"
#include "platform/BinaryString.h"
#include "platform/Exception.h"
#include "platform/Settings.h"

namespace {

using zm::OptionsDecode;
using zm::SettingsDocument;
using Strings = std::vector<std::string>;

TEST(SettingsDocument, EveryValueKindSurvivesWriteAndRead) {
    // clang-format off
    const Strings texts = {";", "\xC3\xA9t\xC3\xA9 <&> \"'", "\t", " ", "  a  b  ", "x\ny", "\r\n",
                           "a\rb", "\x01", "\x1F|\x0B|\x0C", "\x7F", "\xC2\x85 \xE2\x80\xA8", "<&>]]>&amp;"};
    // The smallest normal and subnormal doubles and the largest one among them.
    const std::vector<double> doubles = {0.1, -1.0 / 3.0, 6.02214076e23, 2.2250738585072014e-308,
                                         4.9406564584124654e-324, 1.7976931348623157e308};
    // clang-format on
    SettingsDocument doc;
    for (size_t i = 0; i < texts.size(); ++i)
        doc.SetString("Other", "T" + std::to_string(i), texts[i]);
    for (size_t i = 0; i < doubles.size(); ++i)
        doc.SetDouble("Settings", "D" + std::to_string(i), doubles[i]);
    doc.SetBool("Settings", "No", false);
    doc.SetBool("Settings", "Merge", true);
    doc.SetInt("Settings", "ReadOrder", -42);
    doc.SetInt("Settings", "Big", 9007199254740993LL);
    doc.SetList("Settings", "Files", {"a.txt", "b c.txt", "", " ", "\t"});
    // Setting again replaces, whatever the kind; removing deletes.
    doc.SetList("Settings", "Sheets", {"a", "b"});
    doc.SetString("Settings", "Sheets", "c;d");
    doc.SetString("Settings", "Gone", "x");
    doc.RemoveKey("Settings", "Gone");
    doc.RemoveKey("Settings", "NeverThere");

    const std::string xml = doc.ToXml();
    const auto back = SettingsDocument::Parse(xml);
    for (size_t i = 0; i < texts.size(); ++i)
        EXPECT_EQ(back->GetString("Other", "T" + std::to_string(i)), texts[i]) << i;
    for (size_t i = 0; i < doubles.size(); ++i) {
        const auto v = back->GetDouble("Settings", "D" + std::to_string(i));
        EXPECT_TRUE(v && std::memcmp(&*v, &doubles[i], sizeof(double)) == 0) << doubles[i];
    }
    EXPECT_EQ(back->GetBool("Settings", "No"), false);
    EXPECT_EQ(back->GetBool("Settings", "Merge"), true);
    EXPECT_EQ(back->GetInt("Settings", "ReadOrder"), -42);
    EXPECT_EQ(back->GetInt("Settings", "Big"), 9007199254740993LL);
    EXPECT_EQ(back->GetList("Settings", "Files"), (Strings{"a.txt", "b c.txt", "", " ", "\t"}));
    EXPECT_EQ(back->GetString("Settings", "Sheets"), "c;d");
    EXPECT_EQ(back->GetList("Settings", "Sheets"), Strings{});
    EXPECT_FALSE(back->HasKey("Settings", "Gone"));
    // Booleans are written as words, doubles with a dot whatever the locale.
    EXPECT_NE(xml.find("<Merge>true</Merge>"), std::string::npos);
    EXPECT_NE(xml.find("<D0>0.1</D0>"), std::string::npos);
}

TEST(SettingsDocument, AbsentKeysAndMalformedValuesReadAsAbsent) {
    const auto doc = SettingsDocument::Parse(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Configuration><Settings>"
        "<Empty></Empty><Word>yes</Word><Num>12x</Num><Float>1,5</Float>"
        "</Settings></Configuration>");
    EXPECT_FALSE(doc->HasKey("Settings", "Missing"));
    EXPECT_FALSE(doc->GetString("Settings", "Missing").has_value());
    EXPECT_FALSE(doc->GetString("Nowhere", "Empty").has_value());
    EXPECT_FALSE(doc->GetList("Settings", "Missing").has_value());
    EXPECT_EQ(doc->GetString("Settings", "Empty"), "");  // present but empty is not absent
    EXPECT_FALSE(doc->GetBool("Settings", "Word").has_value());
    EXPECT_FALSE(doc->GetInt("Settings", "Num").has_value());
    EXPECT_FALSE(doc->GetDouble("Settings", "Float").has_value());
    EXPECT_FALSE(doc->GetInt("Settings", "Empty").has_value());
}

TEST(SettingsDocument, RefusesTextThatIsNotUtf8AndMalformedXml) {
    SettingsDocument doc;
    EXPECT_THROW(doc.SetString("Settings", "Delimiter", "\xA7"), zm::Exception);
    EXPECT_THROW(doc.SetList("Settings", "Sheets", {"ok", "\xFF"}), zm::Exception);
    for (const char* xml : {"", "<Configuration>", "<Configuration><a></b></Configuration>",
                            "not xml at all", "<Other/>", "\xFF\xFE<"}) {
        try {
            SettingsDocument::Parse(xml);
            ADD_FAILURE() << "no exception: " << xml;
        } catch (const zm::Exception& e) {
            EXPECT_STREQ(e.what(), "Invalid file open option format");
        }
    }
}

ZmImportOpenOptions Record(std::string& bytes, size_t size) {
    return {static_cast<uint32_t>(size), reinterpret_cast<unsigned char*>(bytes.data())};
}

// Hostile documents end with the options error, in time and memory that follow the
// document's size: deep nesting, and entities that expand a thousandfold per level.
TEST(SettingsDocument, RefusesNestingAndEntityExpansionCheaply) {
    auto refused = [](const std::string& xml) {
        try {
            SettingsDocument::Parse(xml);
        } catch (const zm::Exception& e) {
            return std::string(e.what()) == "Invalid file open option format";
        }
        return false;
    };
    std::string deep = "<Configuration>";
    for (int i = 0; i < 30000; ++i)
        deep += "<a>";
    for (int i = 0; i < 30000; ++i)
        deep += "</a>";
    EXPECT_TRUE(refused(deep + "</Configuration>"));
    EXPECT_TRUE(refused("<Configuration><S><K><Item><x/></Item></K></S></Configuration>"));
    EXPECT_FALSE(refused("<Configuration><S><K><Item>1</Item></K></S><T/></Configuration>"));

    std::string laughs =
        "<?xml version=\"1.0\"?>\n<!-- a -->\n<!DOCTYPE Configuration [\n"
        "<!ENTITY l0 \"lol\">\n";
    for (int i = 1; i < 10; ++i) {
        laughs += "<!ENTITY l" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j)
            laughs += "&l" + std::to_string(i - 1) + ";";
        laughs += "\">\n";
    }
    laughs += "]>\n<Configuration><Settings><K>&l9;</K></Settings></Configuration>";
    EXPECT_TRUE(refused(laughs));
    // The same document in UTF-16 slips past the text check; the expansion cap stops it.
    std::string utf16 = "\xFF\xFE";
    const std::string body = laughs.substr(laughs.find("<!--"));
    for (char c : body)
        utf16 += std::string{c, '\0'};
    EXPECT_TRUE(refused(utf16));
}

TEST(OptionsRecord, FramesADocumentAndRefusesBrokenFrames) {
    SettingsDocument doc;
    doc.SetString("Settings", "Delimiter", "\t");
    ZmImportOpenOptions* record = zm::NewOptionsRecord(doc);
    std::string bytes(reinterpret_cast<char*>(record->data), record->size);
    zm::FreeOptionsRecord(record);
    EXPECT_EQ(bytes, zm::EncodeOptions(doc));
    // The first four bytes count the rest.
    std::string count;
    zm::WriteBinaryString(count, bytes.substr(4));
    EXPECT_EQ(count, bytes);

    std::unique_ptr<SettingsDocument> back;
    ZmImportOpenOptions whole = Record(bytes, bytes.size());
    ASSERT_EQ(zm::DecodeOptions(&whole, back), OptionsDecode::kDecoded);
    EXPECT_EQ(back->GetString("Settings", "Delimiter"), "\t");
    // Every truncation of the frame is malformed, never a crash or a partial read.
    for (size_t len = 1; len < bytes.size(); ++len) {
        ZmImportOpenOptions cut = Record(bytes, len);
        EXPECT_EQ(zm::DecodeOptions(&cut, back), OptionsDecode::kMalformed) << len;
        EXPECT_EQ(back, nullptr);
    }
    // Empty records are no options; a frame claiming four gigabytes, or holding no
    // settings document, is malformed.
    ZmImportOpenOptions empty{0, nullptr}, nullData{12, nullptr};
    EXPECT_EQ(zm::DecodeOptions(nullptr, back), OptionsDecode::kNoOptions);
    EXPECT_EQ(zm::DecodeOptions(&empty, back), OptionsDecode::kNoOptions);
    EXPECT_EQ(zm::DecodeOptions(&nullData, back), OptionsDecode::kMalformed);
    for (std::string junk : {std::string("\xFF\xFF\xFF\xFF<Configuration/>"),
                             std::string("\x0B\0\0\0plain words", 15)}) {
        ZmImportOpenOptions record = Record(junk, junk.size());
        EXPECT_EQ(zm::DecodeOptions(&record, back), OptionsDecode::kMalformed);
    }
    // Storing fills a host's empty record.
    ZmImportOpenOptions stored{0, nullptr};
    zm::StoreOptions(&stored, doc);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(stored.data), stored.size), bytes);
    delete[] stored.data;
    zm::StoreOptions(nullptr, doc);  // tolerated
}

TEST(BinaryString, FramesWithALittleEndianCount) {
    std::string out;
    zm::WriteBinaryString(out, std::string("a\0b", 3));
    zm::WriteBinaryString(out, "");
    zm::WriteBinaryString(out, std::string(300, 'x'));
    ASSERT_EQ(out.substr(0, 15), std::string("\x03\0\0\0a\0b\0\0\0\0\x2C\x01\0\0", 15));
    std::string value = "untouched";
    const auto* p = reinterpret_cast<const uint8_t*>(out.data());
    EXPECT_FALSE(zm::ReadBinaryString(p, 3, value));  // count itself cut
    EXPECT_FALSE(zm::ReadBinaryString(p, 6, value));  // body cut
    EXPECT_FALSE(zm::ReadBinaryString(nullptr, 0, value));
    EXPECT_EQ(value, "untouched");
    EXPECT_TRUE(zm::ReadBinaryString(p, out.size(), value));
    EXPECT_EQ(value, std::string("a\0b", 3));
    EXPECT_TRUE(zm::ReadBinaryString(p + 7, 4, value));
    EXPECT_EQ(value, "");
}

}  // namespace
