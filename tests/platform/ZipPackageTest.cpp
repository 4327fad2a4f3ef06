// Zip packages: entries of real workbooks found without regard to case, entries read whole
// or as streams, a limit that stops an entry inflating to far more than it may (or to far
// more than its compressed size), entries whose data no longer matches their checksum,
// and files that are no zip or are cut short.
#include "platform/ZipPackage.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <zipios++/zipoutputstream.h>

#include <fstream>
#include <iterator>
#include <string>
#include <utility>

namespace {

// A file in the temporary folder of this process's own: test runs may share the folder.
std::string TempPath(const std::string& name) {
    return ::testing::TempDir() + std::to_string(::getpid()) + "-" + name;
}

using zm::ZipPackage;
using Result = ZipPackage::ReadResult;

std::string Corpus(const std::string& name) {
    return std::string(ZM_CORPUS) + "/xlsx/" + name;
}

TEST(ZipPackage, FindsAndReadsThePartsOfAWorkbook) {
    std::string error;
    const auto package = ZipPackage::Open(Corpus("47813.xlsx"), &error);
    ASSERT_NE(package, nullptr) << error;
    EXPECT_NE(package->Find("[Content_Types].xml"), nullptr);
    const ZipPackage::Entry* workbook = package->Find("XL/Workbook.XML");
    ASSERT_NE(workbook, nullptr);
    EXPECT_EQ(workbook->name, "xl/workbook.xml");
    std::string text;
    ASSERT_EQ(package->Read("xl/workbook.xml", text, 1 << 20), Result::kOk);
    EXPECT_EQ(text.size(), workbook->size);
    EXPECT_EQ(text.rfind("<?xml", 0), 0u);
    auto stream = package->OpenStream("xl/workbook.xml", 1 << 20);
    ASSERT_NE(stream, nullptr);
    const std::string streamed{std::istreambuf_iterator<char>(*stream), {}};
    EXPECT_EQ(streamed, text);
    EXPECT_EQ(package->Read("xl/missing.xml", text, 1 << 20), Result::kMissing);
    EXPECT_EQ(package->OpenStream("xl/missing.xml", 1), nullptr);
    EXPECT_EQ(package->Read("xl/workbook.xml", text, workbook->size - 1), Result::kTooLarge);
}

std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Reads the entry through a stream to its end: what came out, and whether it failed.
std::pair<std::string, bool> Streamed(const ZipPackage& package, const std::string& name,
                                      uint64_t limit = 1 << 24) {
    auto stream = package.OpenStream(name, limit);
    if (!stream)
        return {"", true};
    std::string text;
    char chunk[4096];
    while (stream->read(chunk, sizeof chunk) || stream->gcount() > 0)
        text.append(chunk, static_cast<size_t>(stream->gcount()));
    return {text, stream->bad()};
}

TEST(ZipPackage, AnEntryMayNotInflatePastTheLimitNorFarBeyondItsCompressedSize) {
    // 64 MiB of zeros deflate to about 64 KiB: reading stops at the limit, and even a
    // generous limit refuses them, as they deflate about a thousand times, far beyond what
    // any workbook part does. 300 KiB of one repeated text (small entries have room) and
    // the corpus's most compressed part (140 times) read whole.
    const std::string path = TempPath("zip-bomb.zip");
    {
        zipios::ZipOutputStream out(path);
        out.putNextEntry("bomb.xml");
        const std::string zeros(1 << 20, '0');
        for (int i = 0; i < 64; ++i)
            out.write(zeros.data(), static_cast<std::streamsize>(zeros.size()));
        out.putNextEntry("small.xml");
        out << std::string(300 << 10, 'x');
    }
    const auto package = ZipPackage::Open(path);
    ASSERT_NE(package, nullptr);
    EXPECT_EQ(package->Find("bomb.xml")->size, 64u << 20);
    std::string text;
    EXPECT_EQ(package->Read("bomb.xml", text, 1 << 20), Result::kTooLarge);
    EXPECT_TRUE(text.empty());
    EXPECT_LE(Streamed(*package, "bomb.xml", 1 << 20).first.size(), size_t{1} << 20);
    EXPECT_EQ(package->Read("bomb.xml", text, uint64_t{1} << 30), Result::kTooLarge);
    EXPECT_EQ(package->Read("small.xml", text, uint64_t{1} << 30), Result::kOk);
    EXPECT_EQ(text.size(), 300u << 10);
    std::remove(path.c_str());

    const auto strings = ZipPackage::Open(std::string(ZM_CORPUS) + "/xlsb/large_strings.xlsb");
    ASSERT_NE(strings, nullptr);
    const auto [sheet, failed] = Streamed(*strings, "xl/worksheets/sheet1.bin", uint64_t{1} << 30);
    EXPECT_FALSE(failed);
    EXPECT_EQ(sheet.size(), strings->Find("xl/worksheets/sheet1.bin")->size);
}

TEST(ZipPackage, AnEntryMayNotInflatePastItsDeclaredSize) {
    // A bomb that declares 100 bytes in the directory and inflates to 8 MiB stops at 100.
    const std::string path = TempPath("zip-lie.zip");
    {
        zipios::ZipOutputStream out(path);
        out.putNextEntry("xl/worksheets/sheet1.xml");
        const std::string spaces(8 << 20, ' ');
        out.write(spaces.data(), static_cast<std::streamsize>(spaces.size()));
    }
    std::string bytes = Slurp(path);
    const size_t central = bytes.find("PK\x01\x02");
    ASSERT_NE(central, std::string::npos);
    bytes.replace(central + 24, 4, std::string("\x64\0\0\0", 4));  // inflated size 100
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;

    const auto package = ZipPackage::Open(path);
    ASSERT_NE(package, nullptr);
    EXPECT_EQ(package->Find("xl/worksheets/sheet1.xml")->size, 100u);
    const auto [text, failed] = Streamed(*package, "xl/worksheets/sheet1.xml", uint64_t{1} << 30);
    EXPECT_LE(text.size(), 100u);
    EXPECT_TRUE(failed);
    std::remove(path.c_str());
}

TEST(ZipPackage, DataThatNoLongerMatchesItsChecksumIsDamaged) {
    const std::string path = TempPath("zip-crc.zip");
    const std::string cell = "<c r=\"A1\"><v>12345</v></c>";
    for (const bool stored : {true, false}) {
        {
            zipios::ZipOutputStream out(path);
            if (stored)
                out.setMethod(zipios::STORED);
            out.putNextEntry("xl/worksheets/sheet1.xml");
            for (int i = 0; i < 200; ++i)
                out << cell << i;
        }
        std::string bytes = Slurp(path);
        if (stored) {
            // An editor changed one digit and left the checksum as it was.
            const size_t at = bytes.find("12345");
            ASSERT_NE(at, std::string::npos);
            bytes[at] = '9';
        } else {
            // One flipped bit in the middle of the deflated data.
            bytes[30 + 24 + (bytes.find("PK\x01\x02") - 54) / 2] ^= 0x10;
        }
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        const auto package = ZipPackage::Open(path);
        ASSERT_NE(package, nullptr) << stored;
        std::string text;
        EXPECT_EQ(package->Read("xl/worksheets/sheet1.xml", text, 1 << 24), Result::kDamaged)
            << stored;
        EXPECT_TRUE(Streamed(*package, "xl/worksheets/sheet1.xml").second) << stored;
    }
    std::remove(path.c_str());
}

TEST(ZipPackage, NoZipAndCutZipsEndCleanly) {
    const std::string path = TempPath("cut.xlsx");
    std::ofstream(path) << "plain text, no zip";
    std::string error;
    EXPECT_EQ(ZipPackage::Open(path, &error), nullptr);
    EXPECT_FALSE(error.empty());
    // A device or a directory is never handed to the zip library.
    for (const char* other : {"/dev/zero", "/dev/null", "/"}) {
        error.clear();
        EXPECT_EQ(ZipPackage::Open(other, &error), nullptr) << other;
        EXPECT_NE(error.find("not a regular file"), std::string::npos) << other << ": " << error;
    }
    std::ifstream in(Corpus("47813.xlsx"), std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(in), {}};
    for (size_t length = 0; length < whole.size(); length += 997) {
        std::ofstream(path, std::ios::binary).write(whole.data(), static_cast<long>(length));
        const auto package = ZipPackage::Open(path);
        if (package == nullptr)
            continue;
        for (const auto& entry : package->Entries()) {
            std::string text;
            package->Read(entry.name, text, 1 << 22);
            EXPECT_LE(text.size(), size_t{1} << 22);
        }
    }
    std::remove(path.c_str());
}

}  // namespace
