// The common option keys: documents, read order and merge flag, and owning records.
#include "framework/ImportOptionsHelper.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "framework/OptionsRecord.h"
#include "platform/BinaryString.h"
#include "platform/Settings.h"

namespace {

namespace helper = ImportOptionsHelper;
using Strings = std::vector<std::string>;

std::unique_ptr<helper::OpenOptions> WithSettings(const std::string& keys) {
    return std::unique_ptr<helper::OpenOptions>(helper::CreateOpenOptions(
        "<Configuration><Settings>" + keys + "</Settings></Configuration>"));
}

TEST(ImportOptionsHelper, DocumentsRoundTripThroughTheRecordBesideOtherKeys) {
    helper::OpenOptions options;
    EXPECT_TRUE(helper::GetDocuments(options).empty());
    ASSERT_TRUE(helper::SetDocuments(options, {"Sheet 1", "Data;raw", "x"}));
    // A ";" inside a name cannot survive the joined form: it splits there.
    EXPECT_EQ(helper::GetDocuments(options), (Strings{"Sheet 1", "Data", "raw", "x"}));

    // Empty items are documents too, wherever they stand.
    EXPECT_EQ(helper::GetDocuments(*WithSettings("<Sheets>a;;b;</Sheets>")),
              (Strings{"a", "", "b", ""}));

    // Setting again replaces the whole list; other keys stay.
    auto other = WithSettings("<Delimiter>\t</Delimiter>");
    ASSERT_TRUE(helper::SetDocuments(*other, {"c"}));
    ASSERT_TRUE(helper::SetDocuments(*other, {"a", "b"}));
    std::unique_ptr<zm::SettingsDocument> document;
    ASSERT_EQ(zm::DecodeOptions(other.get(), document), zm::OptionsDecode::kDecoded);
    EXPECT_EQ(document->GetString("Settings", "Sheets"), "a;b");
    EXPECT_EQ(document->GetString("Settings", "Delimiter"), "\t");

    // Bytes that are no settings document are left alone.
    std::string framed;
    zm::WriteBinaryString(framed, "not xml");
    helper::OpenOptions bad;
    bad.size = static_cast<uint32_t>(framed.size());
    bad.data = new unsigned char[framed.size()];
    std::copy(framed.begin(), framed.end(), bad.data);
    EXPECT_FALSE(helper::SetDocuments(bad, {"a"}));
    EXPECT_EQ(bad.size, framed.size());
    EXPECT_TRUE(helper::GetDocuments(bad).empty());
}

TEST(ImportOptionsHelper, ReadOrderAndMergeFlag) {
    // No record merges; a document merges only with order 3 written out.
    EXPECT_EQ(helper::GetReadOrder(helper::OpenOptions()), 3);
    EXPECT_TRUE(helper::IsMergeDocuments(helper::OpenOptions()));
    const std::tuple<const char*, int, bool> cases[] = {{"<Sheets>a</Sheets>", 3, false},
                                                        {"<ReadOrder>1</ReadOrder>", 1, false},
                                                        {"<ReadOrder>3</ReadOrder>", 3, true},
                                                        {"<ReadOrder>three</ReadOrder>", 3, false}};
    for (const auto& [keys, order, merge] : cases) {
        EXPECT_EQ(helper::GetReadOrder(*WithSettings(keys)), order) << keys;
        EXPECT_EQ(helper::IsMergeDocuments(*WithSettings(keys)), merge) << keys;
    }
}

TEST(ImportOptionsHelper, OpenOptionsCopiesDeeply) {
    auto original = WithSettings("<ReadOrder>1</ReadOrder>");
    helper::OpenOptions copy(*original);
    EXPECT_NE(copy.data, original->data);
    original.reset();  // the copy must not share the freed bytes
    helper::OpenOptions assigned;
    assigned = copy;
    assigned = assigned;
    EXPECT_EQ(helper::GetReadOrder(assigned), 1);
}

}  // namespace
