// The convert command end to end (read, type, write through the exported interface,
// read back), the typing of texts, and the sheet seen as a write source.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/SheetSource.h"
#include "cli/TextTyping.h"

using namespace zmcli;

namespace {

struct CliResult {
    int status;
    std::string out, err;
};

CliResult Cli(std::vector<std::string> args) {
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

class Convert : public ::testing::Test {
  protected:
    void SetUp() override {
        dir = std::filesystem::path(testing::TempDir()) /
              ("zm_convert_" + std::to_string(::getpid()) + "_" +
               testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(dir);
        table = Path("table.txt");
        std::ofstream(table, std::ios::binary) << "name\tx\ty\nA\t1.5\t\nB\t-2\t3e3\nC\t\tMüller\n";
    }
    void TearDown() override { std::filesystem::remove_all(dir); }
    std::string Path(const std::string& name) const { return (dir / name).string(); }
    static std::string Json(const std::string& file, bool keepText = false) {
        std::vector<std::string> args{"read", file, "--to", "json"};
        if (keepText)
            args.push_back("--keep-text");
        const CliResult run = Cli(args);
        EXPECT_EQ(run.status, kExitOk) << run.err;
        return run.out;
    }

    std::filesystem::path dir;
    std::string table;
};

const char* const kTypedTable = R"({"columns": 3, "rows": 4, "cells": [
  ["name", "x", "y"],
  ["A", 1.5, null],
  ["B", -2, 3000],
  ["C", null, "Müller"]
]}
)";

TEST_F(Convert, TextToDifAndBackKeepsTheTypedCells) {
    ASSERT_EQ(Json(table), kTypedTable);
    const std::string dif = Path("table.dif");
    const CliResult run = Cli({"convert", table, dif});
    ASSERT_EQ(run.status, kExitOk) << run.err;
    // Numbers became numeric records, names string records.
    const std::string written = Slurp(dif);
    EXPECT_NE(written.find("\n0,1.5\nV\n"), std::string::npos);
    EXPECT_NE(written.find("\n1,0\n\"name\"\n"), std::string::npos);
    EXPECT_EQ(Json(dif), kTypedTable);

    const std::string back = Path("back.txt");
    ASSERT_EQ(Cli({"convert", dif, back}).status, kExitOk);
    EXPECT_EQ(Slurp(back), "name\tx\ty\nA\t1.5\t\nB\t-2\t3000\nC\t\tMüller\n");
    EXPECT_EQ(Json(back), kTypedTable);
}

TEST_F(Convert, OtherReadableFormatsGoToTextAndDifAndReadBackTheSame) {
    const std::string csv = Path("table.csv");
    std::ofstream(csv, std::ios::binary)
        << "id,\"name, full\",value\r\n1,\"Doe, J\",2.5\r\n2,,-1e-3\r\n";
    const std::string spectra = std::string(ZM_TEST_DATA) + "/brimrose/two-spectra.dat";
    for (const std::string& input : {csv, spectra}) {
        SCOPED_TRACE(input);
        const std::string original = Json(input);
        ASSERT_NE(original.find("\"cells\""), std::string::npos);
        for (const char* extension : {".dif", ".txt"}) {
            const std::string output = Path(std::string("converted") + extension);
            const CliResult run = Cli({"convert", input, output});
            ASSERT_EQ(run.status, kExitOk) << run.err;
            EXPECT_EQ(Json(output), original) << extension;
        }
    }
}

TEST_F(Convert, KeepTextWritesTextsAsTheyAre) {
    const std::string dif = Path("kept.dif");
    ASSERT_EQ(Cli({"convert", table, dif, "--keep-text"}).status, kExitOk);
    const std::string written = Slurp(dif);
    EXPECT_NE(written.find("\n1,0\n\"3e3\"\n"), std::string::npos);
    EXPECT_EQ(written.find("\nV\n"), std::string::npos);
    EXPECT_NE(Json(table, true).find(R"(["B", "-2", "3e3"])"), std::string::npos);
}

TEST_F(Convert, EncodingAndWriterCanBeNamed) {
    const std::string utf16 = Path("wide.txt");
    ASSERT_EQ(Cli({"convert", table, utf16, "--encoding", "utf16le"}).status, kExitOk);
    EXPECT_EQ(Slurp(utf16).substr(0, 4), std::string("\xFF\xFEn\0", 4));
    EXPECT_EQ(Json(utf16), kTypedTable);

    const std::string cp = Path("legacy.dat");
    ASSERT_EQ(
        Cli({"convert", table, cp, "--to-format", "Text File", "--encoding", "windows1252"}).status,
        kExitOk);
    EXPECT_NE(Slurp(cp).find("M\xFCller"), std::string::npos);
    EXPECT_EQ(Json(cp), kTypedTable);
}

TEST_F(Convert, RefusesWhatItCannotWrite) {
    CliResult run = Cli({"convert", table, Path("out.xyz")});
    EXPECT_EQ(run.status, kExitUsage);
    EXPECT_NE(run.err.find("\"Text File\""), std::string::npos);
    EXPECT_EQ(Cli({"convert", table, Path("o.txt"), "--to-format", "CSV File"}).status, kExitUsage);
    EXPECT_EQ(Cli({"convert", table, Path("o.txt"), "--encoding", "UTF8"}).status, kExitUsage);
    EXPECT_EQ(Cli({"convert", table}).status, kExitUsage);
    EXPECT_EQ(Cli({"read", table, "--encoding", "utf8"}).status, kExitUsage);
    run = Cli({"convert", Path("absent.txt"), Path("o.txt")});
    EXPECT_EQ(run.status, kExitFailure);
    run = Cli({"convert", table, Path("no/such/dir/o.txt")});
    EXPECT_EQ(run.status, kExitFailure);
    EXPECT_NE(run.err.find("Failed to open stream"), std::string::npos);
}

TEST(TextTyping, OnlyWholeNumbersBecomeNumbers) {
    double v = 0;
    for (const auto& [text, expected] :
         std::vector<std::pair<const char*, double>>{{"1.5", 1.5},
                                                     {"-2", -2},
                                                     {"3e3", 3000},
                                                     {".5", 0.5},
                                                     {"007", 7},
                                                     {"-0.25E-2", -0.0025}}) {
        EXPECT_TRUE(ParseNumberText(text, v)) << text;
        EXPECT_EQ(v, expected) << text;
    }
    for (const char* text : {"", "+1", " 1", "1 ", "inf", "-inf", "nan", "NaN", "1,5", "0x10", "1e",
                             "-", ".", "12abc"}) {
        EXPECT_FALSE(ParseNumberText(text, v)) << text;
    }
    EXPECT_FALSE(ParseNumberText(nullptr, v));
}

TEST(SheetWriteSource, AnswersTypesTextsAndOrigin) {
    Sheet sheet;
    sheet.Announce(3, 3);
    sheet.SetText(2, 1, "x");
    sheet.SetText(1, 2, "row");
    sheet.SetDouble(2, 2, 0.1);
    sheet.SetFloat(3, 2, 0.1f);
    sheet.SetInteger(2, 3, 12345678901LL);
    SheetWriteSource source(sheet);
    EXPECT_EQ(source.rows, 3);
    EXPECT_EQ(source.cols, 3);
    EXPECT_EQ(source.GetCellType(1, 2), kHostText);  // the row comes first
    EXPECT_EQ(source.GetCellType(2, 2), kHostNumber);
    EXPECT_EQ(source.GetCellType(3, 3), kHostMissing);
    EXPECT_STREQ(source.GetText(2, 2), "0.1");
    EXPECT_STREQ(source.GetText(2, 3), "0.1");
    EXPECT_STREQ(source.GetText(3, 2), "12345678901");
    EXPECT_STREQ(source.GetText(3, 3), "");
    EXPECT_FLOAT_EQ(source.GetNumber(2, 2), 0.1f);
    int col = 0, row = 0;
    ASSERT_TRUE(source.GetDataOrigin(&col, &row));
    EXPECT_EQ(col, 2);
    EXPECT_EQ(row, 2);

    Sheet numbers;
    numbers.SetDouble(1, 1, 1);
    numbers.SetDouble(2, 2, 2);
    SheetWriteSource plain(numbers);
    ASSERT_TRUE(plain.GetDataOrigin(&col, &row));
    EXPECT_EQ(col, 1);
    EXPECT_EQ(row, 1);
}

}  // namespace
