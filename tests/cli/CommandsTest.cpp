// The command grammar, the format choice, and the read, options and convert commands run
// in-process against stand-in formats registered only in this test program and against
// real files.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "framework/OptionsRecord.h"
#include "framework/SprFileFactory.h"
#include "framework/host/FormatChoice.h"
#include "framework/host/FormatTable.h"
#include "platform/ErrorText.h"
#include "platform/Settings.h"

using namespace zmcli;
using namespace zmhost;

namespace {

constexpr int kLongRows = 200000;

// A two-by-two sheet whose cell (2,2) shows the "Marker" setting it was given. The file
// name steers it: "missing" fails to open, "fileopts" offers options only through
// GetFileReadOptions, "noopts" has none; otherwise it writes its defaults into an empty
// record. "late" and "broken" give over a megabyte of rows, then go back to row 1 or fail.
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
        if (Has("missing"))
            return SetStatus(2900);
        std::unique_ptr<zm::SettingsDocument> document;
        if (zm::DecodeOptions(options, document) == zm::OptionsDecode::kDecoded) {
            marker = document->GetString("Settings", "Marker").value_or("");
        } else if (options != nullptr && !Has("opts")) {
            zm::StoreOptions(options, Defaults());
        }
        return 0;
    }
    int Read(ReadSpreadSheetData* sink) override {
        for (int row = 1; IsLong() && row <= kLongRows; ++row)
            sink->Set(1, row, row);
        if (Has("broken"))
            return SetStatus(2901);
        sink->Set(1, 1, IsLong() ? "1" : "id");
        sink->Set(2, 1, IsLong() ? "late" : "value");
        sink->Set(1, 2, IsLong() ? 2 : 1);
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
    bool Has(const char* part) const { return name.find(part) != std::string::npos; }
    bool IsLong() const { return Has("late") || Has("broken"); }
    static zm::SettingsDocument& Defaults() {
        static zm::SettingsDocument document;
        document.SetString("Settings", "Delimiter", ";");
        return document;
    }
    static ZmImportOpenOptions* NewDefaults() { return zm::NewOptionsRecord(Defaults()); }

    std::string name, marker;
};

// Stand-in formats: a fixed claim for every file ("surely" only for names holding
// "-sure"); the one that claims nothing reads FakeSheetFile.
class StandIn : public SprFileFactory {
  public:
    StandIn(const char* name, const char* extensions, int count, MyKindOfFile claim)
        : SprFileFactory(name, name, nullptr, count, extensions, 0, 1, 0, 1, 0, 1), claim(claim) {}
    MyKindOfFile IsMyKindOfFile(const char* file) override {
        const bool sure = std::string(file).find("-sure") != std::string::npos;
        return claim != kSurely ? claim : sure ? kSurely : kNotMine;
    }
    SpreadsheetFile* GetSpreadsheetFile() override {
        return claim == kNotMine ? new FakeSheetFile : nullptr;
    }

  private:
    MyKindOfFile claim;
};
StandIn canRead("ZZ CanRead", ".zzq\0.zzc\0", 2, SprFileFactory::kCanRead);
StandIn plausible("ZZ Plausible", ".zzq\0.zzp\0", 2, SprFileFactory::kPlausible);
StandIn surely("ZZ Surely", ".zzs\0.zzt\0", 2, SprFileFactory::kSurely);
StandIn fakeSheet("ZZ Fake Sheet", ".zzf\0", 1, SprFileFactory::kNotMine);

// The driver checks that files exist before any format sees them, so the tests run in a
// folder of their own holding every file they name ("absent.zzf" is the one missing).
class FilesFolder : public testing::Environment {
  public:
    void SetUp() override {
        folder = std::filesystem::path(testing::TempDir()) /
                 ("zmimport-cli-" + std::to_string(getpid()));
        std::filesystem::create_directories(folder);
        previous = std::filesystem::current_path();
        std::filesystem::current_path(folder);
        for (const char* name :
             {"a.zzf", "b.zzf", "missing.zzf", "fileopts.zzf", "noopts.zzf", "x.zzq", "x.ZZC",
              "x.zzp", "y.zzc", "a-sure.zzq", "late.zzf", "broken.zzf"})
            std::ofstream(name) << "data\n";
        std::ofstream("table.txt") << "name\tx\ty\nA\t1.5\t\nB\t-2\t3e3\nC\t\tMüller\n";
        zm::SettingsDocument settings;
        settings.SetString("Settings", "Marker", "from, the file");
        std::ofstream("settings.xml") << settings.ToXml();
        std::ofstream("bad.xml") << "not xml";
    }
    void TearDown() override {
        std::filesystem::current_path(previous);
        std::filesystem::remove_all(folder);
    }

  private:
    std::filesystem::path folder, previous;
};
testing::Environment* const filesFolder = testing::AddGlobalTestEnvironment(new FilesFolder);

struct CliRun {
    int status;
    std::string out, err;
};

CliRun Cli(std::vector<std::string> args) {
    std::vector<const char*> argv{"zmimport"};
    for (const std::string& a : args)
        argv.push_back(a.c_str());
    std::ostringstream out, err;
    const int status = RunCommandLine(static_cast<int>(argv.size()), argv.data(), out, err);
    return {status, out.str(), err.str()};
}

std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string Json(const std::string& file, bool keepText = false) {
    const CliRun run = keepText ? Cli({"read", file, "--to=json", "--keep-text"})
                                : Cli({"read", file, "--to=json"});
    EXPECT_EQ(run.status, kExitOk) << run.err;
    return run.out;
}

const char* const kTypedTable = R"({"columns": 3, "rows": 4, "cells": [
  ["name", "x", "y"],
  ["A", 1.5, null],
  ["B", -2, 3000],
  ["C", null, "Müller"]
]}
)";

}  // namespace

TEST(Arguments, FilesAndOptionsComeInAnyOrder) {
    const char* argv[] = {"zmimport", "read", "a.csv",    "--to=json", "b.csv",     "--format",
                          "6",        "-o",   "out.json", "--",        "--odd-name"};
    const Arguments args = ParseArguments(11, argv);
    EXPECT_EQ(args.files, (std::vector<std::string>{"a.csv", "b.csv", "--odd-name"}));
    EXPECT_EQ(args.to, OutputFormat::kJson);
    EXPECT_EQ(args.format + "|" + args.output, "6|out.json");
}

TEST(FormatChoice, SureWinsThenExtensionsDecideAmongPossibleFormats) {
    const int canReadIndex = ResolveFormat("ZZ CanRead");
    const int plausibleIndex = ResolveFormat("ZZ Plausible");
    ASSERT_LT(canReadIndex, plausibleIndex);
    // Both weak claims count as "possible"; of two with the extension, the first listed.
    EXPECT_EQ(ChooseFormat({"x.zzq"}), canReadIndex);
    EXPECT_EQ(ChooseFormat({"x.ZZC"}), canReadIndex);
    EXPECT_EQ(ChooseFormat({"x.zzp", "y.zzc"}), plausibleIndex);  // the first file decides
    EXPECT_EQ(ChooseFormat({"a-sure.zzq"}), ResolveFormat("ZZ Surely"));
    EXPECT_EQ(ResolveFormat(std::to_string(plausibleIndex)), plausibleIndex);
    EXPECT_EQ(ChooseFormat({}), 0);
}

// Exit status, output and messages of whole command lines. An expected text starting
// with "~" need only occur in the output; "*" is not checked.
struct Outcome {
    std::vector<std::string> args;
    int status;
    std::string out = "*", err = "*";
};

TEST(Commands, CommandLinesAndTheirOutcomes) {
    const std::string fake = "--format=ZZ Fake Sheet", delimiter = "~<Delimiter>;</Delimiter>";
    const std::string warned = "zmimport: a.zzf: warning: fake warning\n";
    const std::string tsv = "id\tvalue\n1\tfrom, the file\n";
    const std::vector<Outcome> cases = {
        {{"read", "a.zzf", fake}, kExitOk, "id,value\n1,\n", warned},
        {{"read", "a.zzf", fake, "--options=settings.xml", "--to=tsv"}, kExitOk, tsv, warned},
        {{"read", "a.zzf", fake, "--options=bad.xml"}, kExitFailure, "", "~not a settings doc"},
        {{"read", "missing.zzf", fake}, kExitFailure, "", "~: Fake file is missing.\n"},
        {{"read", "absent.zzf", fake}, kExitFailure, "", "~: The file does not exist.\n"},
        {{"options", "a.zzf", fake}, kExitOk, delimiter, ""},
        {{"options", "fileopts.zzf", fake}, kExitOk, delimiter, ""},
        {{"options", "noopts.zzf", fake}, kExitOk, "~\"ZZ Fake Sheet\" has no options.\n"},
        {{"options", "missing.zzf", fake}, kExitFailure},
        {{"convert", "table.txt", "out.xyz"}, kExitUsage, "", "~\"Text File\""},
        {{"convert", "table.txt", "o.txt", "--to-format", "CSV File"}, kExitUsage},
        {{"convert", "table.txt", "o.txt", "--encoding", "UTF8"}, kExitUsage},
        {{"convert", "absent.txt", "o.txt"}, kExitFailure},
        {{"convert", "table.txt", "no/dir/o.txt"}, kExitFailure, "", "~Failed to open stream"},
        // Malformed command lines.
        {{"read"}, kExitUsage},
        {{"read", "a", "--format"}, kExitUsage},
        {{"read", "a", "--verbose"}, kExitUsage},
        {{"detect", "a", "b"}, kExitUsage},
        {{"detect", "a", "--to", "csv"}, kExitUsage},
        {{"formats", "a"}, kExitUsage},
        {{"read", "a.zzf", "--format", "0"}, kExitUsage},
        {{"read", "a.zzf", "b.zzf", fake}, kExitUsage},
        {{"convert", "table.txt"}, kExitUsage},
        {{"read", "table.txt", "--encoding", "utf8"}, kExitUsage},
    };
    auto matches = [](const std::string& actual, const std::string& expected) {
        return expected == "*" || actual == expected ||
               (expected[0] == '~' && actual.find(expected.substr(1)) != std::string::npos);
    };
    for (const Outcome& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.args));
        const CliRun run = Cli(c.args);
        EXPECT_EQ(run.status, c.status);
        EXPECT_PRED2(matches, run.out, c.out);
        EXPECT_PRED2(matches, run.err, c.err);
    }
}

TEST(Commands, ReadToAFileStartsOverWhenTheReaderGoesBackAndLeavesNoPartialFile) {
    const CliRun late = Cli({"read", "late.zzf", "--format", "ZZ Fake Sheet", "-o", "late.csv"});
    EXPECT_EQ(late.status, kExitOk) << late.err;
    std::string expected = "1,late\n";
    for (int row = 2; row <= kLongRows; ++row)
        expected += std::to_string(row) + ",\n";
    const std::string written = Slurp("late.csv");  // no diff of megabytes on failure
    EXPECT_TRUE(written == expected) << written.substr(0, 20) << "... of " << written.size();

    const CliRun broken = Cli({"read", "broken.zzf", "--format", "ZZ Fake Sheet", "-o", "b.csv"});
    EXPECT_EQ(broken.status, kExitFailure);
    EXPECT_EQ(broken.err,
              "zmimport: broken.zzf: warning: fake warning\nzmimport: broken.zzf: other\n");
    EXPECT_FALSE(std::filesystem::exists("b.csv"));
}

// Typed texts convert to DIF and text, directly and through DIF, and read back the same.
TEST(Convert, ReadableFormatsGoToDifAndTextAndReadBackTheSame) {
    ASSERT_EQ(Json("table.txt"), kTypedTable);
    std::ofstream("table.csv", std::ios::binary)
        << "id,\"name, full\",value\r\n1,\"Doe, J\",2.5\r\n2,,-1e-3\r\n";
    for (const std::string& input : {std::string("table.txt"), std::string("table.csv"),
                                     std::string(ZM_TEST_DATA) + "/brimrose/two-spectra.dat"}) {
        SCOPED_TRACE(input);
        const std::string original = Json(input);
        ASSERT_EQ(Cli({"convert", input, "c.dif"}).status, kExitOk);
        ASSERT_EQ(Cli({"convert", "c.dif", "c.txt"}).status, kExitOk);
        for (const char* output : {"c.dif", "c.txt"})
            EXPECT_EQ(Json(output), original) << output;
    }
    ASSERT_EQ(Cli({"convert", "table.txt", "c.dif"}).status, kExitOk);
    EXPECT_NE(Slurp("c.dif").find("\n0,1.5\nV\n"), std::string::npos);  // numbers: numeric
    EXPECT_NE(Slurp("c.dif").find("\n1,0\n\"name\"\n"), std::string::npos);
    ASSERT_EQ(Cli({"convert", "c.dif", "c.txt"}).status, kExitOk);
    EXPECT_EQ(Slurp("c.txt"), "name\tx\ty\nA\t1.5\t\nB\t-2\t3000\nC\t\tMüller\n");

    ASSERT_EQ(Cli({"convert", "table.txt", "kept.dif", "--keep-text"}).status, kExitOk);
    EXPECT_NE(Slurp("kept.dif").find("\n1,0\n\"3e3\"\n"), std::string::npos);
    EXPECT_EQ(Slurp("kept.dif").find("\nV\n"), std::string::npos);
    EXPECT_NE(Json("table.txt", true).find(R"(["B", "-2", "3e3"])"), std::string::npos);
}

TEST(Convert, EncodingAndWriterCanBeNamed) {
    ASSERT_EQ(Cli({"convert", "table.txt", "wide.txt", "--encoding", "utf16le"}).status, kExitOk);
    EXPECT_EQ(Slurp("wide.txt").substr(0, 4), std::string("\xFF\xFEn\0", 4));
    EXPECT_EQ(Json("wide.txt"), kTypedTable);
    ASSERT_EQ(Cli({"convert", "table.txt", "legacy.dat", "--to-format=Text File",
                   "--encoding=windows1252"})
                  .status,
              kExitOk);
    EXPECT_NE(Slurp("legacy.dat").find("M\xFCller"), std::string::npos);
    EXPECT_EQ(Json("legacy.dat"), kTypedTable);
}
