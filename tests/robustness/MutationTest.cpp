// Every fixture under tests/data, cut short and with bytes overwritten, goes through
// every registered format by way of the exported functions. Nothing may crash, hang or
// write outside the announced table, and every failure must come with a status and a
// text.
#include <gtest/gtest.h>

#include <strings.h>

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

#include "framework/OptionsRecord.h"
#include "platform/Settings.h"
#include "tests/support/ExerciseFormat.h"

namespace fs = std::filesystem;

namespace {

// Generator scripts, notes and expected dumps sit beside the fixtures; they are not input.
std::vector<std::string> Fixtures() {
    static const std::regex kNotInput(R"((^|/)scripts/|\.expected|\.(md|tsv|py|sh|cmake)$)");
    std::vector<std::string> out;
    const fs::path root = ZM_TEST_DATA;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const std::string name = fs::relative(entry.path(), root).string();
        if (entry.is_regular_file() && !std::regex_search(name, kNotInput))
            out.push_back(name);
    }
    std::sort(out.begin(), out.end());
    return out;
}

// A damaged copy: what was done, and its bytes.
using Mutation = std::pair<std::string, std::string>;

// The copy unchanged, truncations at evenly spread offsets (always 0, 1, 2 and
// length - 1) and byte overwrites with 0x00, 0xFF and seeded random values. The whole
// run shares a budget of copies, so more fixtures mean fewer copies each, and bigger
// files get fewer still: the suite stays short under the sanitizers.
std::vector<Mutation> Mutations(const std::string& name, const std::string& original,
                                size_t fixtureCount) {
    const size_t n = original.size();
    const size_t share = std::clamp<size_t>(1600 / std::max<size_t>(fixtureCount, 1), 6, 40);
    const size_t perKind = n <= 65536 ? share : n <= 1048576 ? std::min<size_t>(share, 8) : 3;
    std::set<size_t> cuts = {0, 1, 2, n - 1};
    for (size_t at = 3, step = std::max<size_t>(1, n / perKind);
         at < n && cuts.size() < perKind + 4; at += step)
        cuts.insert(at);
    std::vector<Mutation> out = {{"unchanged", original}};
    for (size_t at : cuts)
        if (at < n)
            out.push_back({"cut at " + std::to_string(at), original.substr(0, at)});
    // A stable seed per fixture, so that a failure repeats.
    std::mt19937 random(std::hash<std::string>()(name) & 0xFFFFFFFF);
    // The opening bytes hold magic numbers and counts: hit each of the first 16 once.
    for (size_t i = 0; i < perKind && n > 0; ++i) {
        const size_t at = i < 16 && i < n ? i : random() % n;
        const int value = i % 3 == 0 ? 0x00 : i % 3 == 1 ? 0xFF : random() % 256;
        std::string bytes = original;
        bytes[at] = static_cast<char>(value);
        if (bytes != original)
            out.push_back({"byte " + std::to_string(at) + " := " + std::to_string(value), bytes});
    }
    return out;
}

class Mutated : public ::testing::TestWithParam<std::string> {};

TEST_P(Mutated, EveryFormatSurvivesDamagedCopies) {
    const fs::path source = fs::path(ZM_TEST_DATA) / GetParam();
    std::ifstream in(source, std::ios::binary);
    const std::string original{std::istreambuf_iterator<char>(in), {}};
    const fs::path dir =
        fs::temp_directory_path() / ("zmimport-mutation-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    // The copy keeps the fixture's name and extension: some formats look at them.
    const std::string copy = (dir / source.filename()).string();
    for (const Mutation& m : Mutations(GetParam(), original, Fixtures().size())) {
        std::ofstream(copy, std::ios::binary | std::ios::trunc) << m.second;
        for (int format = 1; format <= ZmImportSizeFileFormatsSupported(); ++format) {
            // One report per fixture is enough to start from.
            ASSERT_EQ(zmtest::ExerciseFormat(format, copy.c_str()), "")
                << m.first << ", format " << ZmImportGetFileFormatInfo(format)->name;
        }
    }
    fs::remove_all(dir);
}

// Opens with the bytes of `options`, as a host hands them over; the reader may put new
// bytes (its defaults) into the record, which then belong to the host.
std::string OpenWithOptions(int format, const std::string& file, std::string options) {
    auto* data = reinterpret_cast<unsigned char*>(options.data());
    ZmImportOpenOptions record{static_cast<uint32_t>(options.size()), data};
    std::string broken = zmtest::ExerciseFormat(format, file.c_str(), &record);
    if (record.data != data)
        delete[] record.data;
    return broken;
}

// Formats with options get their own default settings back with odd values in every key,
// and bytes that are no settings document at all.
TEST_P(Mutated, FormatsWithOptionsSurviveOddValues) {
    const std::string file = (fs::path(ZM_TEST_DATA) / GetParam()).string();
    // clang-format off
    std::vector<std::string> values = {"", " ", "\t", "\x01", "\r\n", "\"", "-1", "0", "2147483648",
                                       "1e308", "NaN", "true", "\xC3\xA9\xE6\x97\xA5"};
    // clang-format on
    values.push_back(std::string(4096, 'x'));
    static const std::regex kElement("<([A-Za-z_][A-Za-z0-9_.-]*)[ />]");
    for (int format = 1; format <= ZmImportSizeFileFormatsSupported(); ++format) {
        // A reader given an empty record writes its defaults into it.
        ZmImportOpenOptions defaults{0, nullptr};
        void* probe = nullptr;
        ZmImportOpen(format, file.c_str(), true, &probe, &defaults);
        ZmImportClose(format, probe);
        std::unique_ptr<zm::SettingsDocument> document;
        const auto decoded = zm::DecodeOptions(&defaults, document);
        delete[] defaults.data;
        if (defaults.size == 0)
            continue;
        SCOPED_TRACE(ZmImportGetFileFormatInfo(format)->name);
        ASSERT_EQ(decoded, zm::OptionsDecode::kDecoded) << "the format's own defaults";
        const std::string xml = document->ToXml();
        std::set<std::string> keys = {"Sheets", "ReadOrder"};
        for (std::sregex_iterator it(xml.begin(), xml.end(), kElement), end; it != end; ++it)
            keys.insert((*it)[1]);
        for (const char* frame : {"Configuration", "Settings", "Item"})
            keys.erase(frame);
        for (const std::string& key : keys) {
            for (const std::string& value : values) {
                auto odd = zm::SettingsDocument::Parse(xml);
                odd->SetString("Settings", key, value);
                ASSERT_EQ(OpenWithOptions(format, file, zm::EncodeOptions(*odd)), "")
                    << key << " = \"" << value.substr(0, 20) << "\"";
            }
        }
        // Undecodable bytes make the open fail, with a status and a text.
        for (std::string junk : {std::string("abc"), std::string("\x05\0\0\0<Conf", 9),
                                 std::string("\x03\0\0\0abc", 7)}) {
            ZmImportOpenOptions record{static_cast<uint32_t>(junk.size()),
                                       reinterpret_cast<unsigned char*>(junk.data())};
            void* handle = nullptr;
            EXPECT_FALSE(ZmImportOpen(format, file.c_str(), true, &handle, &record));
            ASSERT_NE(handle, nullptr);
            EXPECT_STRNE(ZmImportGetLastError(format, handle), "");
            ZmImportClose(format, handle);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Fixtures, Mutated, ::testing::ValuesIn(Fixtures()));

// Cut copies readers cannot refuse: ChemStation signal files give the number of points
// in no header field, so a file cut at the end of a coded value reads as a shorter run,
// exactly as a whole file of that length would. Formats that carry no length are left out
// of the check as a whole (zmtest::CarriesNoLength).
bool KnownCut(const std::string& file, const std::string& format) {
    return file.find("chemstation/") != std::string::npos && format == "HPLC ChemStation File";
}

// Cut offsets past the opening bytes: evenly spread, and the last few bytes, so that
// each fixture costs a bounded number of reads.
std::set<size_t> CutOffsets(size_t n) {
    constexpr size_t kSamples = 40;
    const size_t header = std::min<size_t>(16, n / 2);
    std::set<size_t> cuts;
    for (size_t i = 0; i < kSamples && header < n; ++i)
        cuts.insert(header + (n - header) * i / kSamples);
    for (size_t back = 1; back <= 3 && back < n; ++back)
        cuts.insert(n - back);
    return cuts;
}

// Fixtures, and a sample of each family of the shared corpus of real files: the
// smallest few, which hold the same structures as the big ones.
std::vector<std::string> CutInputs() {
    std::vector<std::string> out;
    for (const std::string& name : Fixtures())
        out.push_back((fs::path(ZM_TEST_DATA) / name).string());
    const fs::path corpus = ZM_CORPUS;
    if (!fs::is_directory(corpus))
        return out;
    for (const auto& family : fs::directory_iterator(corpus)) {
        if (!family.is_directory())
            continue;
        std::vector<std::pair<uintmax_t, std::string>> files;
        for (const auto& entry : fs::directory_iterator(family))
            if (entry.is_regular_file())
                files.push_back({entry.file_size(), entry.path().string()});
        std::sort(files.begin(), files.end());
        for (size_t i = 0; i < files.size() && i < 4; ++i)
            out.push_back(files[i].second);
    }
    return out;
}

bool ClaimsExtension(int format, const std::string& extension) {
    const ZmImportFileFormatInfo* info = ZmImportGetFileFormatInfo(format);
    const char* p = info->extensions;
    for (int i = 0; p != nullptr && i < info->extensionCount; ++i, p += std::strlen(p) + 1)
        if (!extension.empty() && strcasecmp(p, extension.c_str()) == 0)
            return true;
    return false;
}

class Cut : public ::testing::TestWithParam<std::string> {};

// A copy cut short is refused, read with a warning, or read with the same cells: never
// a sheet that differs from the whole file's without a word.
TEST_P(Cut, CopiesCutShortAreRefusedOrWarnedAbout) {
    const fs::path source = GetParam();
    std::ifstream in(source, std::ios::binary);
    const std::string original{std::istreambuf_iterator<char>(in), {}};
    const fs::path dir = fs::temp_directory_path() / ("zmimport-cut-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    const std::string copy = (dir / source.filename()).string();
    std::ofstream(copy, std::ios::binary | std::ios::trunc) << original;
    std::vector<std::pair<int, zmtest::Snapshot>> wholes;
    // The formats the file is meant for, by its extension: a binary file read as
    // delimited text says nothing about either.
    for (int format = 1; format <= ZmImportSizeFileFormatsSupported(); ++format) {
        if (!ClaimsExtension(format, source.extension().string()) ||
            zmtest::CarriesNoLength(ZmImportGetFileFormatInfo(format)->name))
            continue;
        zmtest::Snapshot whole = zmtest::ReadSnapshot(format, copy.c_str());
        if (whole.read && !whole.cells.empty())
            wholes.push_back({format, std::move(whole)});
    }
    std::vector<std::string> silent;
    for (size_t cut : CutOffsets(original.size())) {
        std::ofstream(copy, std::ios::binary | std::ios::trunc) << original.substr(0, cut);
        for (const auto& [format, whole] : wholes) {
            const std::string name = ZmImportGetFileFormatInfo(format)->name;
            const std::string change =
                zmtest::SilentChange(whole, zmtest::ReadSnapshot(format, copy.c_str()));
            if (!change.empty() && !KnownCut(source.string(), name))
                silent.push_back(name + " cut at " + std::to_string(cut) + " of " +
                                 std::to_string(original.size()) + ": " + change);
        }
    }
    fs::remove_all(dir);
    for (const std::string& s : silent)
        ADD_FAILURE() << source.string() << " " << s;
}

INSTANTIATE_TEST_SUITE_P(FixturesAndCorpus, Cut, ::testing::ValuesIn(CutInputs()));

}  // namespace
