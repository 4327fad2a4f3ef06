// Every fixture under tests/data, cut short and with bytes overwritten, goes through
// every registered format by way of the exported functions. Nothing may crash, hang or
// write outside the announced table, and every failure must come with a status and a
// text.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "framework/SpreadsheetFile.h"
#include "framework/ZmHostData.h"
#include "framework/ZmImport.h"
#include "platform/Settings.h"

namespace fs = std::filesystem;

namespace {

// Generator scripts, notes and expected dumps sit beside the fixtures; they are not input.
bool IsFixture(const fs::path& path) {
    static const std::set<std::string> kSkipped = {".md", ".tsv", ".py", ".sh", ".cmake"};
    if (kSkipped.count(path.extension().string()) != 0)
        return false;
    if (path.filename().string().find(".expected") != std::string::npos)
        return false;
    for (const auto& part : path) {
        if (part == "scripts")
            return false;
    }
    return true;
}

std::vector<std::string> Fixtures() {
    std::vector<std::string> out;
    const fs::path root = ZM_TEST_DATA;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(root, ec); !ec && it != fs::end(it);
         it.increment(ec)) {
        if (it->is_regular_file() && IsFixture(it->path()))
            out.push_back(fs::relative(it->path(), root).string());
    }
    std::sort(out.begin(), out.end());
    if (out.empty())
        out.push_back("");  // keeps the suite instantiated on an empty tree
    return out;
}

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A stable seed per fixture, so that a failure repeats.
uint32_t Seed(const std::string& name) {
    uint32_t h = 2166136261u;
    for (unsigned char c : name)
        h = (h ^ c) * 16777619u;
    return h;
}

// One damaged copy: its bytes and what was done to them.
struct Mutation {
    std::string what;
    std::string bytes;
};

// Truncations at evenly spread offsets (always 0, 1, 2 and length - 1) and byte
// overwrites with 0x00, 0xFF and seeded random values. The whole run shares a budget of
// copies, so more fixtures mean fewer copies each, and bigger files get fewer still:
// the suite stays short under the sanitizers however the fixture tree grows.
std::vector<Mutation> Mutations(const std::string& name, const std::string& original,
                                size_t fixtureCount) {
    constexpr size_t kCopiesPerRun = 1600;
    const size_t n = original.size();
    const size_t share =
        std::clamp<size_t>(kCopiesPerRun / std::max<size_t>(fixtureCount, 1), 6, 40);
    const size_t perKind = n <= 64 * 1024     ? share
                           : n <= 1024 * 1024 ? std::min<size_t>(share, 8)
                                              : 3;
    std::set<size_t> cuts = {0, 1, 2};
    if (n > 0)
        cuts.insert(n - 1);
    const size_t step = std::max<size_t>(1, n / perKind);
    for (size_t at = 3; at < n && cuts.size() < perKind + 4; at += step)
        cuts.insert(at);

    std::vector<Mutation> out;
    for (size_t at : cuts) {
        if (at < n)
            out.push_back({"cut at " + std::to_string(at), original.substr(0, at)});
    }
    if (n == 0)
        return out;
    std::mt19937 random(Seed(name));
    std::uniform_int_distribution<size_t> offset(0, n - 1);
    std::uniform_int_distribution<int> byte(0, 255);
    // The opening bytes hold magic numbers and counts: hit each of the first 16 once.
    for (size_t i = 0; i < perKind; ++i) {
        const size_t at = i < 16 && i < n ? i : offset(random);
        const int value = i % 3 == 0 ? 0x00 : i % 3 == 1 ? 0xFF : byte(random);
        std::string bytes = original;
        bytes[at] = static_cast<char>(value);
        if (bytes == original)
            continue;
        out.push_back({"byte " + std::to_string(at) + " := " + std::to_string(value), bytes});
    }
    return out;
}

// A host that keeps no cells, only checks that each lands inside the announced table.
class CheckingHost : public ZmHostReadTarget {
  public:
    void SetNumber(int row, int col, float) override { Count(row, col); }
    void SetText(int row, int col, const char* text) override {
        Count(row, col);
        if (text == nullptr) {
            ++nullTexts;
        } else {
            textBytes += std::strlen(text);  // touches every byte of the text
        }
    }
    void SetSize(int r, int c) override {
        rows = r;
        cols = c;
        ++sizeCalls;
    }
    void Count(int row, int col) {
        ++cells;
        if (row < 1 || col < 1 || row > rows || col > cols)
            ++outside;
    }
    long long cells = 0;
    long long outside = 0;
    long long nullTexts = 0;
    size_t textBytes = 0;
    int sizeCalls = 0;
};

int StatusOf(void* handle) {
    return static_cast<SpreadsheetFile*>(handle)->GetStatus();
}

void FreeRecord(ZmImportOpenOptions* options) {
    if (options == nullptr)
        return;
    delete[] options->data;
    delete options;
}

// Drives one format over one file the way a host does and checks every answer.
void Exercise(int format, const std::string& file, ZmImportOpenOptions* options = nullptr) {
    if (options == nullptr) {
        const char type = ZmImportIsCorrectFileType(format, file.c_str());
        EXPECT_TRUE(type == 0 || type == 1 || type == 2) << "detection " << int(type);
        FreeRecord(ZmImportGetFileOptions(format, file.c_str(), true));
    }

    void* handle = nullptr;
    const bool opened = ZmImportOpen(format, file.c_str(), true, &handle, options);
    ASSERT_NE(handle, nullptr);
    if (!opened) {
        EXPECT_NE(StatusOf(handle), 0) << "failed open without a status";
        EXPECT_STRNE(ZmImportGetLastError(format, handle), "") << "failed open without a text";
        ZmImportClose(format, handle);
        return;
    }

    int rows = -2, cols = -2;
    const bool sized = ZmImportEstablishSize(format, handle, &rows, &cols);
    EXPECT_TRUE(rows == -1 || rows >= 0) << rows;
    EXPECT_TRUE(cols == -1 || cols >= 0) << cols;
    EXPECT_EQ(sized, rows >= 0 && cols >= 0);
    if (!sized) {
        EXPECT_NE(StatusOf(handle), 0) << "failed sizing without a status";
        EXPECT_STRNE(ZmImportGetLastError(format, handle), "");
    }

    CheckingHost host;
    host.SetSize(std::max(rows, 0), std::max(cols, 0));
    const bool read = ZmImportRead(format, handle, &host);
    EXPECT_EQ(host.outside, 0) << host.outside << " of " << host.cells
                               << " cells outside the table of " << host.rows << " x " << host.cols;
    EXPECT_EQ(host.nullTexts, 0);
    if (!read) {
        EXPECT_NE(StatusOf(handle), 0) << "failed read without a status";
        EXPECT_STRNE(ZmImportGetLastError(format, handle), "") << "failed read without a text";
    } else {
        EXPECT_TRUE(sized) << "read succeeded on a table that could not be sized";
    }
    if (const char* warning = ZmImportGetWarning(format, handle))
        (void)std::strlen(warning);
    if (const char* what = ZmImportGetFileRead(handle))
        (void)std::strlen(what);
    (void)std::strlen(ZmImportGetLastError(format, handle));
    ZmImportClose(format, handle);
}

class Mutated : public ::testing::TestWithParam<std::string> {};

TEST_P(Mutated, EveryFormatSurvivesDamagedCopies) {
    if (GetParam().empty())
        GTEST_SKIP() << "no fixtures";
    const fs::path source = fs::path(ZM_TEST_DATA) / GetParam();
    const std::string original = ReadFile(source);
    const fs::path dir =
        fs::temp_directory_path() / ("zmimport-mutation-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    // The copy keeps the fixture's name and extension: some formats look at them.
    const std::string copy = (dir / source.filename()).string();

    const int formats = ZmImportSizeFileFormatsSupported();
    std::vector<Mutation> mutations = Mutations(GetParam(), original, Fixtures().size());
    mutations.insert(mutations.begin(), Mutation{"unchanged", original});
    for (const Mutation& m : mutations) {
        std::ofstream(copy, std::ios::binary | std::ios::trunc) << m.bytes;
        for (int format = 1; format <= formats; ++format) {
            SCOPED_TRACE(m.what + ", format " + ZmImportGetFileFormatInfo(format)->name);
            Exercise(format, copy);
            if (HasFailure())
                break;
        }
        if (HasFailure())
            break;  // one report per fixture is enough to start from
    }
    fs::remove_all(dir);
}

// The keys of a settings document, as element names below its root.
std::vector<std::string> KeysOf(const std::string& xml) {
    std::set<std::string> keys = {"Sheets", "ReadOrder"};
    static const std::regex kElement("<([A-Za-z_][A-Za-z0-9_.-]*)[ />]");
    for (auto it = std::sregex_iterator(xml.begin(), xml.end(), kElement);
         it != std::sregex_iterator(); ++it) {
        const std::string name = (*it)[1];
        if (name != "Configuration" && name != "Settings" && name != "Item")
            keys.insert(name);
    }
    return {keys.begin(), keys.end()};
}

// Opens with a record built from `document`; a reader may hand back new bytes in the
// record (its defaults), which then belong to us.
void ExerciseWithOptions(int format, const std::string& file, const std::string& bytes) {
    std::string mine = bytes;
    auto* data = reinterpret_cast<unsigned char*>(mine.data());
    ZmImportOpenOptions record{static_cast<uint32_t>(mine.size()), data};
    Exercise(format, file, &record);
    if (record.data != data)
        delete[] record.data;
}

// Formats with options get their own default settings back with odd values, and bytes that
// are no settings document at all.
TEST_P(Mutated, FormatsWithOptionsSurviveOddValues) {
    if (GetParam().empty())
        GTEST_SKIP() << "no fixtures";
    const std::string file = (fs::path(ZM_TEST_DATA) / GetParam()).string();
    const std::vector<std::string> kValues = {"",
                                              " ",
                                              "\t",
                                              "\x01",
                                              "\r\n",
                                              "\"",
                                              "-1",
                                              "0",
                                              "2147483648",
                                              "1e308",
                                              "NaN",
                                              "true",
                                              std::string(4096, 'x'),
                                              "\xC3\xA9\xE6\x97\xA5"};
    for (int format = 1; format <= ZmImportSizeFileFormatsSupported(); ++format) {
        // A reader given an empty record writes its defaults into it.
        ZmImportOpenOptions defaults{0, nullptr};
        void* probe = nullptr;
        ZmImportOpen(format, file.c_str(), true, &probe, &defaults);
        ZmImportClose(format, probe);
        if (defaults.size == 0) {
            delete[] defaults.data;
            continue;
        }
        SCOPED_TRACE(ZmImportGetFileFormatInfo(format)->name);
        std::unique_ptr<zm::SettingsDocument> document;
        const auto decoded = zm::DecodeOptions(&defaults, document);
        delete[] defaults.data;
        ASSERT_EQ(decoded, zm::OptionsDecode::kDecoded) << "the format's own defaults";
        const std::string xml = document->ToXml();
        for (const std::string& key : KeysOf(xml)) {
            for (const std::string& value : kValues) {
                SCOPED_TRACE(key + " = \"" + value.substr(0, 20) + "\"");
                auto odd = zm::SettingsDocument::Parse(xml);
                odd->SetString("Settings", key, value);
                ExerciseWithOptions(format, file, zm::EncodeOptions(*odd));
                if (HasFailure())
                    return;
            }
        }
        // Undecodable bytes make the open fail, with a status and a text.
        for (const std::string& junk : {std::string("abc"), std::string("\x05\0\0\0<Conf", 9),
                                        std::string("\x03\0\0\0abc", 7)}) {
            std::string mine = junk;
            ZmImportOpenOptions record{static_cast<uint32_t>(mine.size()),
                                       reinterpret_cast<unsigned char*>(mine.data())};
            void* handle = nullptr;
            EXPECT_FALSE(ZmImportOpen(format, file.c_str(), true, &handle, &record));
            ASSERT_NE(handle, nullptr);
            EXPECT_NE(StatusOf(handle), 0);
            EXPECT_STRNE(ZmImportGetLastError(format, handle), "");
            ZmImportClose(format, handle);
        }
    }
}

std::string TestName(const ::testing::TestParamInfo<std::string>& info) {
    std::string name = info.param.empty() ? "none" : info.param;
    for (char& c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    }
    return name + "_" + std::to_string(info.index);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, Mutated, ::testing::ValuesIn(Fixtures()), TestName);

}  // namespace
