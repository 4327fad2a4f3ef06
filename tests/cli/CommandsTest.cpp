// The command grammar, the format choice and the commands run against stand-in formats
// registered only in this test program.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/FormatChoice.h"
#include "cli/FormatTable.h"
#include "framework/SprFileFactory.h"
#include "platform/ErrorText.h"
#include "platform/Settings.h"

using namespace zmcli;

namespace {

// Answers with a fixed claim for every file, or "surely" for names holding "-sure".
class ClaimFactory : public SprFileFactory {
  public:
    ClaimFactory(const char* name, const char* filter, const char* extensions, MyKindOfFile claim)
        : SprFileFactory(name, filter, nullptr, 2, extensions, 0, 1, 0, 1, 0, 1), claim(claim) {}
    MyKindOfFile IsMyKindOfFile(const char* file) override {
        if (claim == kSurely) {
            return std::string(file).find("-sure") != std::string::npos ? kSurely : kNotMine;
        }
        return claim;
    }
    SpreadsheetFile* GetSpreadsheetFile() override { return nullptr; }

  private:
    MyKindOfFile claim;
};

ClaimFactory canReadFactory("ZZ CanRead", "zz can read (*.zzq)", ".zzq\0.zzc\0",
                            SprFileFactory::kCanRead);
ClaimFactory plausibleFactory("ZZ Plausible", "zz plausible (*.zzq)", ".zzq\0.zzp\0",
                              SprFileFactory::kPlausible);
ClaimFactory surelyFactory("ZZ Surely", "zz surely (*.zzs)", ".zzs\0.zzt\0",
                           SprFileFactory::kSurely);

// A two-by-two sheet. The file name steers it: "late" and "broken" make a long sheet
// whose reader goes back to row 1 at the end, or fails there; "missing" fails to open, "fileopts"
// offers options only through GetFileReadOptions, "noopts" has no options at all;
// otherwise it writes its defaults into an empty options record. Cell (2,2) shows the
// "Marker" setting it was given.
constexpr int kLongRows = 200000;

class FakeSheetFile : public SpreadsheetFile {
  public:
    void GetErrorMessage(char* buffer, unsigned int size) override {
        zm::CopyErrorText(status == 2900 ? "Fake file is missing." : "other", buffer, size);
    }
    const char* GetWarningMessage() override { return "fake warning"; }
    ZmImportOpenOptions* GetFileReadOptions(const char* file, bool) override {
        return std::string(file).find("fileopts") != std::string::npos ? NewDefaults() : nullptr;
    }
    int Open(bool, const char* file, ZmImportOpenOptions* options) override {
        name = file;
        if (name.find("missing") != std::string::npos)
            return SetStatus(2900);
        std::unique_ptr<zm::SettingsDocument> document;
        if (zm::DecodeOptions(options, document) == zm::OptionsDecode::kDecoded) {
            marker = document->GetString("Settings", "Marker").value_or("");
        } else if (options != nullptr && name.find("opts") == std::string::npos) {
            zm::FreeOptionsRecord(NewDefaults());  // exercise a throwaway record too
            zm::StoreOptions(options, Defaults());
        }
        return 0;
    }
    int Read(ReadSpreadSheetData* sink) override {
        if (IsLong()) {
            // Over a megabyte of rows, then back to the first row or a failure.
            for (int row = 1; row <= kLongRows; ++row)
                sink->Set(1, row, row);
            if (name.find("broken") != std::string::npos)
                return SetStatus(2901);
            sink->Set(2, 1, "late");
            return 0;
        }
        sink->Set(1, 1, "id");
        sink->Set(2, 1, "value");
        sink->Set(1, 2, 1);
        sink->Set(2, 2, marker.c_str());
        return 0;
    }

  private:
    int EstablishSize() override {
        numCols = 2;
        numRows = IsLong() ? kLongRows : 2;
        sizeEstablished = true;
        return 0;
    }
    static zm::SettingsDocument& Defaults() {
        static zm::SettingsDocument document;
        document.SetString("Settings", "Delimiter", ";");
        return document;
    }
    static ZmImportOpenOptions* NewDefaults() { return zm::NewOptionsRecord(Defaults()); }

    bool IsLong() const {
        return name.find("late") != std::string::npos || name.find("broken") != std::string::npos;
    }

    std::string name;
    std::string marker;
};

class FakeSheetFactory : public SprFileFactory {
  public:
    FakeSheetFactory()
        : SprFileFactory("ZZ Fake Sheet", "zz fake sheet (*.zzf)", nullptr, 1, ".zzf\0", 0, 1, 0, 1,
                         0, 1) {}
    MyKindOfFile IsMyKindOfFile(const char*) override { return kNotMine; }
    SpreadsheetFile* GetSpreadsheetFile() override { return new FakeSheetFile; }
} fakeSheetFactory;

struct CliRun {
    int status;
    std::string out, err;
};

// The driver checks that files exist before any format sees them, so the tests run in a
// folder of their own that holds every file they name (their contents do not matter to
// the stand-in formats). "absent.zzf" is the one file that does not exist.
class FilesFolder : public testing::Environment {
  public:
    void SetUp() override {
        folder = std::filesystem::path(testing::TempDir()) /
                 ("zmimport-cli-" + std::to_string(getpid()));
        std::filesystem::create_directories(folder);
        previous = std::filesystem::current_path();
        std::filesystem::current_path(folder);
        for (const char* name : {"a.zzf", "b.zzf", "missing.zzf", "fileopts.zzf", "noopts.zzf",
                                 "x.zzq", "x.ZZC", "x.zzp", "y.zzc", "a-sure.zzq",
                                 "x.nothing-claims-this", "no-extension", "late.zzf", "broken.zzf"})
            std::ofstream(name) << "data\n";
    }
    void TearDown() override {
        std::filesystem::current_path(previous);
        std::filesystem::remove_all(folder);
    }

  private:
    std::filesystem::path folder, previous;
};
testing::Environment* const filesFolder = testing::AddGlobalTestEnvironment(new FilesFolder);

CliRun RunCli(std::vector<const char*> args) {
    args.insert(args.begin(), "zmimport");
    std::ostringstream out, err;
    const int status = RunCommandLine(static_cast<int>(args.size()), args.data(), out, err);
    return {status, out.str(), err.str()};
}

}  // namespace

TEST(Arguments, ReadTakesFilesAndOptionsInAnyOrder) {
    const char* argv[] = {"zmimport", "read", "a.csv",    "--to=json", "b.csv",     "--format",
                          "6",        "-o",   "out.json", "--",        "--odd-name"};
    const Arguments args = ParseArguments(11, argv);
    EXPECT_EQ(args.command, Command::kRead);
    EXPECT_EQ(args.files, (std::vector<std::string>{"a.csv", "b.csv", "--odd-name"}));
    EXPECT_EQ(args.to, OutputFormat::kJson);
    EXPECT_EQ(args.format, "6");
    EXPECT_EQ(args.output, "out.json");
}

TEST(Arguments, MalformedCommandLinesAreUsageErrors) {
    const std::vector<std::vector<const char*>> bad = {
        {"zmimport"},
        {"zmimport", "frobnicate"},
        {"zmimport", "read"},
        {"zmimport", "read", "a", "--to", "xml"},
        {"zmimport", "read", "a", "--format"},
        {"zmimport", "read", "a", "--verbose"},
        {"zmimport", "detect", "a", "b"},
        {"zmimport", "detect", "a", "--to", "csv"},
        {"zmimport", "formats", "a"},
    };
    for (const auto& argv : bad) {
        EXPECT_THROW(ParseArguments(static_cast<int>(argv.size()), argv.data()), UsageError)
            << argv.back();
        EXPECT_EQ(RunCli({argv.begin() + 1, argv.end()}).status, kExitUsage) << argv.back();
    }
    EXPECT_EQ(RunCli({"read", "a.zzf", "--format", "No Such Format"}).status, kExitUsage);
    EXPECT_EQ(RunCli({"read", "a.zzf", "--format", "0"}).status, kExitUsage);
}

TEST(FormatChoice, SureWinsThenExtensionsDecideAmongPossibleFormats) {
    const int canRead = ResolveFormat("ZZ CanRead");
    const int plausible = ResolveFormat("ZZ Plausible");
    ASSERT_LT(canRead, plausible);
    // Both weak claims count as "possible"; of two with the extension, the first listed.
    EXPECT_EQ(ChooseFormat({"x.zzq"}), canRead);
    EXPECT_EQ(ChooseFormat({"x.ZZC"}), canRead);
    EXPECT_EQ(ChooseFormat({"x.zzp", "y.zzc"}), plausible);  // the first file decides
    EXPECT_EQ(ChooseFormat({"a-sure.zzq"}), ResolveFormat("ZZ Surely"));
    EXPECT_EQ(ResolveFormat(std::to_string(plausible)), plausible);

    std::string why;
    EXPECT_EQ(ChooseFormat({"absent.zzq"}, &why), 0);
    EXPECT_EQ(why, "The file does not exist.");
    EXPECT_EQ(ChooseFormat({".", "x.zzq"}, &why), 0);
    EXPECT_EQ(why, "Directories can not be imported.");
    EXPECT_EQ(ChooseFormat({}), 0);
}

TEST(Commands, ReadPrintsTheSheetAndTheReadersWarning) {
    const CliRun run = RunCli({"read", "a.zzf", "--format", "ZZ Fake Sheet"});
    EXPECT_EQ(run.status, kExitOk);
    EXPECT_EQ(run.out, "id,value\n1,\n");
    EXPECT_EQ(run.err, "zmimport: a.zzf: warning: fake warning\n");
}

TEST(Commands, ReadHandsTheSettingsFileToTheReader) {
    zm::SettingsDocument settings;
    settings.SetString("Settings", "Marker", "from, the file");
    const std::string path = testing::TempDir() + "zmimport-settings.xml";
    std::ofstream(path) << settings.ToXml();
    const CliRun run = RunCli(
        {"read", "a.zzf", "--format", "ZZ Fake Sheet", "--options", path.c_str(), "--to", "tsv"});
    EXPECT_EQ(run.out, "id\tvalue\n1\tfrom, the file\n");

    std::ofstream(path) << "not xml";
    EXPECT_EQ(
        RunCli({"read", "a.zzf", "--format", "ZZ Fake Sheet", "--options", path.c_str()}).status,
        kExitFailure);
    std::remove(path.c_str());
}

TEST(Commands, ReaderErrorsAndMultiFileMisuseExitWithTheirStatus) {
    const CliRun run = RunCli({"read", "missing.zzf", "--format", "ZZ Fake Sheet"});
    EXPECT_EQ(run.status, kExitFailure);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "zmimport: missing.zzf: Fake file is missing.\n");
    EXPECT_EQ(RunCli({"read", "a.zzf", "b.zzf", "--format", "ZZ Fake Sheet"}).status, kExitUsage);
    const CliRun absent = RunCli({"read", "absent.zzf", "--format", "ZZ Fake Sheet"});
    EXPECT_EQ(absent.status, kExitFailure);
    EXPECT_EQ(absent.err, "zmimport: absent.zzf: The file does not exist.\n");
}

TEST(Commands, OptionsComeFromTheOpenRecordThenFromTheFileThenNowhere) {
    const CliRun written = RunCli({"options", "a.zzf", "--format", "ZZ Fake Sheet"});
    EXPECT_EQ(written.status, kExitOk);
    EXPECT_NE(written.out.find("<Delimiter>;</Delimiter>"), std::string::npos) << written.out;

    const CliRun fromFile = RunCli({"options", "fileopts.zzf", "--format", "ZZ Fake Sheet"});
    EXPECT_NE(fromFile.out.find("<Delimiter>;</Delimiter>"), std::string::npos) << fromFile.out;

    const CliRun none = RunCli({"options", "noopts.zzf", "--format", "ZZ Fake Sheet"});
    EXPECT_EQ(none.status, kExitOk);
    EXPECT_EQ(none.out, "The format \"ZZ Fake Sheet\" has no options.\n");

    EXPECT_EQ(RunCli({"options", "missing.zzf", "--format", "ZZ Fake Sheet"}).status, kExitFailure);
}

TEST(Commands, DetectListsEveryAnswerAndTheChoiceLast) {
    const CliRun run = RunCli({"detect", "x.zzq"});
    EXPECT_EQ(run.status, kExitOk);
    EXPECT_NE(run.out.find("ZZ CanRead                     can read\n"), std::string::npos);
    const std::string last =
        "chosen: " + std::to_string(ResolveFormat("ZZ CanRead")) + " ZZ CanRead\n";
    ASSERT_GE(run.out.size(), last.size());
    EXPECT_EQ(run.out.substr(run.out.size() - last.size()), last);

    const CliRun none = RunCli({"detect", "absent.zzq"});
    EXPECT_EQ(none.status, kExitFailure);
    EXPECT_NE(none.out.find("chosen: none\n"), std::string::npos);
    EXPECT_EQ(none.err, "zmimport: absent.zzq: The file does not exist.\n");
}

TEST(Commands, ReadToAFileStartsOverWhenTheReaderGoesBackAndLeavesNoPartialFile) {
    const CliRun late = RunCli({"read", "late.zzf", "--format", "ZZ Fake Sheet", "-o", "late.csv"});
    EXPECT_EQ(late.status, kExitOk) << late.err;
    std::string expected = "1,late\n";
    for (int row = 2; row <= kLongRows; ++row)
        expected += std::to_string(row) + ",\n";
    std::ifstream written("late.csv", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}), expected);

    const CliRun broken =
        RunCli({"read", "broken.zzf", "--format", "ZZ Fake Sheet", "-o", "broken.csv"});
    EXPECT_EQ(broken.status, kExitFailure);
    EXPECT_EQ(broken.err,
              "zmimport: broken.zzf: warning: fake warning\nzmimport: broken.zzf: other\n");
    EXPECT_FALSE(std::filesystem::exists("broken.csv"));
}
