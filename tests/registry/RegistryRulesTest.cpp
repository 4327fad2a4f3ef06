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
// Instances live in static storage, like every real factory, so their priority is 0.
class TestFactory : public SprFileFactory {
  public:
    TestFactory(const char* name, const char* filter, char priority, MyKindOfFile answer)
        : SprFileFactory(name, filter, nullptr, 1, ".tst\0", 0, 1, 0, 1, 0, priority),
          answer(answer) {}

  protected:
    MyKindOfFile IsMyKindOfFile(const char*) override { return answer; }
    SpreadsheetFile* GetSpreadsheetFile() override {
        auto* reader = new zmtest::ScriptedReader;
        reader->openResult = 900;
        reader->ownText = "scripted";
        return reader;
    }

  private:
    MyKindOfFile answer;
};

class TestPendingFactory : public PendingFormatFactory {
  public:
    TestPendingFactory(const char* name, const char* filter)
        : PendingFormatFactory(name, filter, nullptr, 1, ".tst\0", 0, 1, 0, 1, 0, 1) {}
};

// 1-based position of the record named `name`, 0 when absent.
int IndexOf(const char* name) {
    for (int i = 1; i <= SprFileFactory::SizeInfos(); ++i)
        if (std::strcmp(ZmImportGetFileFormatInfo(i)->name, name) == 0)
            return i;
    return 0;
}

TEST(RegistryRules, TheBuiltInRegistryHoldsTwentyTwoFormats) {
    EXPECT_EQ(SprFileFactory::SizeInfos(), 22);
    EXPECT_EQ(IndexOf("CSV File"), 6);
}

TEST(RegistryRules, ASameNamedFactoryWithPriorityOneReplacesTheFormat) {
    const int before = SprFileFactory::SizeInfos();
    const int csv = IndexOf("CSV File");
    ASSERT_GT(csv, 0);
    const ZmImportFileFormatInfo* held = ZmImportGetFileFormatInfo(csv);
    const SprFileFactory* original = held->factory;
    static TestFactory replacement("CSV File", "CSV Files (*.csv)", 1, SprFileFactory::kSurely);
    // A host still holding the replaced record may go on reading it.
    EXPECT_STREQ(held->name, "CSV File");
    EXPECT_EQ(held->factory, original);
    EXPECT_EQ(SprFileFactory::SizeInfos(), before);
    EXPECT_EQ(IndexOf("CSV File"), csv);
    EXPECT_EQ(ZmImportGetFileFormatInfo(csv)->factory, &replacement);
    EXPECT_NE(ZmImportGetFileFormatInfo(csv)->factory, original);
    EXPECT_EQ(ZmImportIsCorrectFileType(csv, "any"), 2);
    EXPECT_STREQ(ZmImportGetFileFormatInfo(csv)->extensions, ".tst");
}

TEST(RegistryRules, ASameNamedFactoryWithNegativePriorityYields) {
    const int before = SprFileFactory::SizeInfos();
    const int csv = IndexOf("CSV File");
    const SprFileFactory* original = ZmImportGetFileFormatInfo(csv)->factory;
    static TestFactory yielding("CSV File", "AAA Yielding (*.csv)", -1, SprFileFactory::kSurely);
    EXPECT_EQ(SprFileFactory::SizeInfos(), before);
    EXPECT_EQ(IndexOf("CSV File"), csv);
    EXPECT_EQ(ZmImportGetFileFormatInfo(csv)->factory, original);
    EXPECT_STREQ(ZmImportGetFileFormatInfo(csv)->filter, "CSV Files (*.csv)");
}

TEST(RegistryRules, ANewNameWithAnExistingFilterIsNotEntered) {
    const int before = SprFileFactory::SizeInfos();
    const int csv = IndexOf("CSV File");
    const SprFileFactory* original = ZmImportGetFileFormatInfo(csv)->factory;
    static TestFactory copycat("Copycat CSV", "CSV Files (*.csv)", 1, SprFileFactory::kSurely);
    EXPECT_EQ(SprFileFactory::SizeInfos(), before);
    EXPECT_EQ(IndexOf("Copycat CSV"), 0);
    EXPECT_EQ(ZmImportGetFileFormatInfo(csv)->factory, original);
}

TEST(RegistryRules, AReplacementWithAnotherFilterMovesToItsPlace) {
    const int before = SprFileFactory::SizeInfos();
    ASSERT_EQ(IndexOf("Unscrambler File"), before);
    static TestFactory moved("Unscrambler File", "AAA Unscrambler (*.uns)", 1,
                             SprFileFactory::kNotMine);
    EXPECT_EQ(SprFileFactory::SizeInfos(), before);
    EXPECT_EQ(IndexOf("Unscrambler File"), 1);
    EXPECT_STREQ(ZmImportGetFileFormatInfo(2)->name, "Brimrose File");
}

TEST(RegistryRules, NewFormatsAreOrderedByTheirFilterBytewise) {
    const int before = SprFileFactory::SizeInfos();
    static TestFactory lower("lower", "lower case sorts last (*.l)", 1, SprFileFactory::kNotMine);
    static TestFactory upper("Upper", "Upper case (*.u)", 1, SprFileFactory::kNotMine);
    static TestFactory blank("Blank", "Text Files  (*.b)", 1, SprFileFactory::kNotMine);
    EXPECT_EQ(SprFileFactory::SizeInfos(), before + 3);
    EXPECT_EQ(IndexOf("lower"), before + 3);
    EXPECT_EQ(IndexOf("Upper"), before + 2);
    // "Text Files  (" sorts before "Text Files (": a blank before "(".
    EXPECT_EQ(IndexOf("Blank") + 1, IndexOf("Text File"));
}

TEST(RegistryRules, DetectionAnswersMapToTheExportedScale) {
    static TestFactory surely("Map Surely", "Map 0 (*.m0)", 1, SprFileFactory::kSurely);
    static TestFactory canRead("Map CanRead", "Map 1 (*.m1)", 1, SprFileFactory::kCanRead);
    static TestFactory plausible("Map Plausible", "Map 2 (*.m2)", 1, SprFileFactory::kPlausible);
    static TestFactory notMine("Map NotMine", "Map 3 (*.m3)", 1, SprFileFactory::kNotMine);
    EXPECT_EQ(ZmImportIsCorrectFileType(IndexOf("Map Surely"), "f"), 2);
    EXPECT_EQ(ZmImportIsCorrectFileType(IndexOf("Map CanRead"), "f"), 1);
    EXPECT_EQ(ZmImportIsCorrectFileType(IndexOf("Map Plausible"), "f"), 1);
    EXPECT_EQ(ZmImportIsCorrectFileType(IndexOf("Map NotMine"), "f"), 0);
}

TEST(RegistryRules, OpenCreatesTheReaderOfTheIndexedFactory) {
    static TestFactory scripted("Scripted", "Scripted (*.s)", 1, SprFileFactory::kSurely);
    void* handle = nullptr;
    EXPECT_FALSE(ZmImportOpen(IndexOf("Scripted"), "f", true, &handle, nullptr));
    ASSERT_NE(handle, nullptr);
    EXPECT_STREQ(ZmImportGetLastError(0, handle), "scripted");
    ZmImportClose(0, handle);
}

TEST(RegistryRules, APendingFormatRecognisesNothingAndCannotOpen) {
    static TestPendingFactory pending("Pending Test", "Pending Test (*.pt)");
    const int index = IndexOf("Pending Test");
    ASSERT_GT(index, 0);
    EXPECT_EQ(ZmImportIsCorrectFileType(index, "/etc/hostname"), 0);
    void* handle = nullptr;
    EXPECT_FALSE(ZmImportOpen(index, "/etc/hostname", true, &handle, nullptr));
    ASSERT_NE(handle, nullptr);
    EXPECT_STREQ(ZmImportGetLastError(0, handle),
                 "This function is not implemented for this file format.");
    ZmImportClose(0, handle);
}

}  // namespace
