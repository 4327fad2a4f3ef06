// Replacement by name, the priority rule, silent refusal of a duplicate filter, and the
// mapping of detection answers at the exported interface.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "framework/PendingFormat.h"
#include "framework/SprFileFactory.h"
#include "framework/ZmImport.h"
#include "tests/support/ScriptedReader.h"

namespace {

// A factory whose detection answer the test chooses; its readers are scripted readers.
// Instances live in static storage, like every real factory.
struct TestFactory : SprFileFactory {
    TestFactory(const char* name, const char* filter, char priority, MyKindOfFile answer = kNotMine)
        : SprFileFactory(name, filter, nullptr, 1, ".tst\0", 0, 1, 0, 1, 0, priority),
          answer(answer) {}
    MyKindOfFile IsMyKindOfFile(const char*) override { return answer; }
    SpreadsheetFile* GetSpreadsheetFile() override { return new zmtest::ScriptedReader; }
    MyKindOfFile answer;
};

struct TestPendingFactory : PendingFormatFactory {
    TestPendingFactory()
        : PendingFormatFactory("Pending", "Pending (*.pt)", nullptr, 1, ".pt\0", 0, 1, 0, 1, 0, 1) {
    }
};

// 1-based position of the record named `name`, 0 when absent.
int IndexOf(const char* name) {
    for (int i = 1; i <= SprFileFactory::SizeInfos(); ++i)
        if (std::strcmp(ZmImportGetFileFormatInfo(i)->name, name) == 0)
            return i;
    return 0;
}

TEST(RegistryRules, ReplacementByNameHonoursPriorityAndFilters) {
    const int csv = IndexOf("CSV File");
    ASSERT_EQ(csv, 6);
    const ZmImportFileFormatInfo* held = ZmImportGetFileFormatInfo(csv);
    const SprFileFactory* original = held->factory;
    // Priority -1 yields to the format already there.
    static TestFactory yielding("CSV File", "AAA Yielding (*.csv)", -1, SprFileFactory::kSurely);
    EXPECT_EQ(ZmImportGetFileFormatInfo(csv)->factory, original);
    EXPECT_STREQ(ZmImportGetFileFormatInfo(csv)->filter, "CSV Files (*.csv)");
    // A new name with a filter already taken is not entered.
    static TestFactory copycat("Copycat CSV", "CSV Files (*.csv)", 1, SprFileFactory::kSurely);
    EXPECT_EQ(IndexOf("Copycat CSV"), 0);
    EXPECT_EQ(ZmImportGetFileFormatInfo(csv)->factory, original);
    // Priority 1 replaces in place; a host still holding the old record may go on reading it.
    static TestFactory replacement("CSV File", "CSV Files (*.csv)", 1, SprFileFactory::kSurely);
    EXPECT_STREQ(held->name, "CSV File");
    EXPECT_EQ(held->factory, original);
    EXPECT_EQ(IndexOf("CSV File"), csv);
    EXPECT_EQ(ZmImportGetFileFormatInfo(csv)->factory, &replacement);
    EXPECT_STREQ(ZmImportGetFileFormatInfo(csv)->extensions, ".tst");
    EXPECT_EQ(ZmImportIsCorrectFileType(csv, "any"), 2);
    // A replacement with another filter moves to that filter's place.
    static TestFactory moved("Unscrambler File", "AAA Unscrambler (*.uns)", 1);
    EXPECT_EQ(IndexOf("Unscrambler File"), 1);
    EXPECT_STREQ(ZmImportGetFileFormatInfo(2)->name, "Brimrose File");
    EXPECT_EQ(SprFileFactory::SizeInfos(), 22);
}

TEST(RegistryRules, NewFormatsAreOrderedByTheirFilterBytewise) {
    static TestFactory lower("lower", "lower case sorts last (*.l)", 1);
    static TestFactory upper("Upper", "Upper case (*.u)", 1);
    static TestFactory blank("Blank", "Text Files  (*.b)", 1);
    EXPECT_EQ(SprFileFactory::SizeInfos(), 25);
    EXPECT_EQ(IndexOf("lower"), 25);
    EXPECT_EQ(IndexOf("Upper"), 24);
    // "Text Files  (" sorts before "Text Files (": a blank before "(".
    EXPECT_EQ(IndexOf("Blank") + 1, IndexOf("Text File"));
}

TEST(RegistryRules, DetectionOpeningAndPendingFormatsAtTheInterface) {
    [[maybe_unused]] static TestFactory answers[] = {
        {"Map 0", "Map 0 (*.m)", 1, SprFileFactory::kSurely},
        {"Map 1", "Map 1 (*.m)", 1, SprFileFactory::kCanRead},
        {"Map 2", "Map 2 (*.m)", 1, SprFileFactory::kPlausible},
        {"Map 3", "Map 3 (*.m)", 1, SprFileFactory::kNotMine}};
    for (int i = 0; i < 4; ++i) {
        const int index = IndexOf(("Map " + std::to_string(i)).c_str());
        EXPECT_EQ(ZmImportIsCorrectFileType(index, "f"), "\2\1\1\0"[i]) << i;
    }

    // Open creates the reader of the indexed factory.
    void* handle = nullptr;
    EXPECT_TRUE(ZmImportOpen(IndexOf("Map 0"), "f", true, &handle, nullptr));
    EXPECT_NE(dynamic_cast<zmtest::ScriptedReader*>(static_cast<SpreadsheetFile*>(handle)),
              nullptr);
    ZmImportClose(0, handle);

    static TestPendingFactory pending;
    const int index = IndexOf("Pending");
    ASSERT_GT(index, 0);
    EXPECT_EQ(ZmImportIsCorrectFileType(index, "/etc/hostname"), 0);
    handle = nullptr;
    EXPECT_FALSE(ZmImportOpen(index, "/etc/hostname", true, &handle, nullptr));
    ASSERT_NE(handle, nullptr);
    EXPECT_STREQ(ZmImportGetLastError(0, handle),
                 "This function is not implemented for this file format.");
    ZmImportClose(0, handle);
}

}  // namespace
