// The common option keys: documents, read order and merge flag, and owning records.
#include "framework/ImportOptionsHelper.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/BinaryString.h"
#include "platform/Exception.h"
#include "platform/Settings.h"

namespace {

using ImportOptionsHelper::OpenOptions;

std::unique_ptr<OpenOptions> WithSettings(const std::string& keys) {
    return std::unique_ptr<OpenOptions>(ImportOptionsHelper::CreateOpenOptions(
        "<Configuration><Settings>" + keys + "</Settings></Configuration>"));
}

TEST(ImportOptionsHelper, DocumentsRoundTripThroughTheRecord) {
    OpenOptions options;
    EXPECT_TRUE(ImportOptionsHelper::GetDocuments(options).empty());
    ASSERT_TRUE(ImportOptionsHelper::SetDocuments(options, {"Sheet 1", "Data;raw", "x"}));
    ASSERT_GT(options.size, 0u);
    // A ";" inside a name cannot survive the joined form: it splits there.
    EXPECT_EQ(ImportOptionsHelper::GetDocuments(options),
              (std::vector<std::string>{"Sheet 1", "Data", "raw", "x"}));

    // The key is one ";"-joined text beside the other keys, which stay.
    auto other = WithSettings("<Delimiter>\t</Delimiter>");
    ASSERT_TRUE(ImportOptionsHelper::SetDocuments(*other, {"a", "b"}));
    std::unique_ptr<zm::SettingsDocument> document;
    ASSERT_EQ(zm::DecodeOptions(other.get(), document), zm::OptionsDecode::kDecoded);
    EXPECT_EQ(document->GetString("Settings", "Sheets"), "a;b");
    EXPECT_EQ(document->GetString("Settings", "Delimiter"), "\t");

    // Replacing the documents replaces the whole list.
    ASSERT_TRUE(ImportOptionsHelper::SetDocuments(*other, {"c"}));
    EXPECT_EQ(ImportOptionsHelper::GetDocuments(*other), std::vector<std::string>{"c"});
}

TEST(ImportOptionsHelper, SetDocumentsRefusesBytesThatAreNoSettingsDocument) {
    std::string framed;
    zm::WriteBinaryString(framed, "not xml");
    OpenOptions options;
    options.size = static_cast<uint32_t>(framed.size());
    options.data = new unsigned char[framed.size()];
    std::copy(framed.begin(), framed.end(), options.data);
    EXPECT_FALSE(ImportOptionsHelper::SetDocuments(options, {"a"}));
    EXPECT_EQ(options.size, framed.size());
    EXPECT_TRUE(ImportOptionsHelper::GetDocuments(options).empty());
}

TEST(ImportOptionsHelper, ReadOrderAndMergeFlag) {
    OpenOptions none;
    EXPECT_EQ(ImportOptionsHelper::GetReadOrder(none), 3);
    EXPECT_TRUE(ImportOptionsHelper::IsMergeDocuments(none));

    // A document without the key reads as order 3 but does not merge.
    auto without = WithSettings("<Sheets>a</Sheets>");
    EXPECT_EQ(ImportOptionsHelper::GetReadOrder(*without), 3);
    EXPECT_FALSE(ImportOptionsHelper::IsMergeDocuments(*without));

    auto stacked = WithSettings("<ReadOrder>1</ReadOrder>");
    EXPECT_EQ(ImportOptionsHelper::GetReadOrder(*stacked), 1);
    EXPECT_FALSE(ImportOptionsHelper::IsMergeDocuments(*stacked));

    auto merged = WithSettings("<ReadOrder>3</ReadOrder>");
    EXPECT_EQ(ImportOptionsHelper::GetReadOrder(*merged), 3);
    EXPECT_TRUE(ImportOptionsHelper::IsMergeDocuments(*merged));

    auto garbage = WithSettings("<ReadOrder>three</ReadOrder>");
    EXPECT_EQ(ImportOptionsHelper::GetReadOrder(*garbage), 3);
    EXPECT_FALSE(ImportOptionsHelper::IsMergeDocuments(*garbage));
}

TEST(ImportOptionsHelper, CreateOpenOptionsRejectsTextThatIsNoSettingsDocument) {
    for (const char* bad : {"", "<Configuration><Settings>", "plain words", "<Other/>"}) {
        try {
            delete ImportOptionsHelper::CreateOpenOptions(bad);
            ADD_FAILURE() << "accepted: " << bad;
        } catch (const zm::Exception& e) {
            EXPECT_STREQ(e.what(), "Invalid file open option format");
        }
    }
}

TEST(ImportOptionsHelper, OpenOptionsCopiesDeeplyAndAdoptsRecords) {
    auto original = WithSettings("<ReadOrder>1</ReadOrder>");
    OpenOptions copy(*original);
    ASSERT_EQ(copy.size, original->size);
    EXPECT_NE(copy.data, original->data);
    original.reset();  // the copy must not share the freed bytes
    EXPECT_EQ(ImportOptionsHelper::GetReadOrder(copy), 1);

    OpenOptions assigned;
    assigned = copy;
    assigned = assigned;
    EXPECT_EQ(ImportOptionsHelper::GetReadOrder(assigned), 1);

    // Adopting a record the library handed out takes over its bytes.
    zm::SettingsDocument document;
    document.SetInt("Settings", "ReadOrder", 1);
    ZmImportOpenOptions* record = zm::NewOptionsRecord(document);
    OpenOptions adopted(*record);
    delete record;
    EXPECT_EQ(ImportOptionsHelper::GetReadOrder(adopted), 1);
}

}  // namespace
