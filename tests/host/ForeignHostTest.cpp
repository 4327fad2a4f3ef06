// A host that loads the library at run time, binds the fifteen exported functions by
// name, lists the formats and reads a spectra file into its own data object.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "framework/ZmHostData.h"
#include "framework/ZmImportTypes.h"

namespace {

// The interface as a host declares it for itself; bool results are one byte.
struct Interface {
    int (*SizeFileFormatsSupported)();
    const ZmImportFileFormatInfo* (*GetFileFormatInfo)(int);
    char (*IsCorrectFileType)(int, const char*);
    bool (*Open)(int, const char*, bool, void**, ZmImportOpenOptions*);
    void (*Close)(int, void*);
    const char* (*GetLastError)(int, void*);
    bool (*EstablishSize)(int, void*, int*, int*);
    bool (*Read)(int, void*, void*);
    bool (*Write)(int, void*, void*);
    const char* (*GetWarning)(int, void*);
    void (*SetSpec)(void*, void*);
    const char* (*GetFileRead)(void*);
    ZmImportOpenOptions* (*GetFileOptions)(int, const char*, bool);
    void (*InitPackage)();
    void (*ReleasePackage)();
};

template <typename F>
void Bind(void* library, const char* name, F& f) {
    f = reinterpret_cast<F>(dlsym(library, name));
    ASSERT_NE(f, nullptr) << name;
}

// The host's own read target: a dense table, filled row first.
class HostSheet : public ZmHostReadTarget {
  public:
    struct Cell {
        char kind = 0;  // 0 empty, 'n' number, 't' text
        float number = 0;
        std::string text;
    };
    void SetNumber(int row, int col, float value) override {
        if (Cell* c = At(row, col)) {
            c->kind = 'n';
            c->number = value;
        }
    }
    void SetText(int row, int col, const char* text) override {
        if (Cell* c = At(row, col)) {
            c->kind = 't';
            c->text = text;
        }
    }
    void SetSize(int r, int c) override {
        rows = r;
        cols = c;
        table.assign(static_cast<size_t>(r) * static_cast<size_t>(c), Cell());
    }
    Cell* At(int row, int col) {
        if (row < 1 || col < 1 || row > rows || col > cols) {
            ++outside;
            return nullptr;
        }
        return &table[static_cast<size_t>(row - 1) * cols + (col - 1)];
    }
    std::vector<Cell> table;
    int outside = 0;
};

void PutU16(std::string& b, size_t at, uint16_t v) {
    b[at] = static_cast<char>(v & 0xFF);
    b[at + 1] = static_cast<char>(v >> 8);
}
void PutU32(std::string& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        b[at + i] = static_cast<char>((v >> (8 * i)) & 0xFF);
}
void PutF32(std::string& b, size_t at, float f) {
    uint32_t u;
    std::memcpy(&u, &f, 4);
    PutU32(b, at, u);
}

// A spectra file: 512-byte main header, then per spectrum a 128-byte sub-header (time
// stamp, label) and one float per point.
std::string SpectraFile(uint16_t points, uint16_t spectra, uint32_t magic = 0x0D0C10FF) {
    std::string b(512, '\0');
    PutU32(b, 0, magic);
    PutF32(b, 29, 1100.0f);
    PutF32(b, 33, 1100.0f + 2.0f * (points - 1));
    PutF32(b, 37, 2.0f);
    PutU16(b, 41, points);
    PutU16(b, 45, spectra);
    for (uint16_t s = 0; s < spectra; ++s) {
        std::string sub(128, '\0');
        PutU32(sub, 0, 1262304000u + 3723u * s);  // 2010-01-01 00:00:00 UTC, then +1:02:03
        std::snprintf(&sub[4], 16, "sample %u", s + 1);
        std::string values(4u * points, '\0');
        for (uint16_t p = 0; p < points; ++p)
            PutF32(values, 4u * p, s * 10.0f + p * 0.25f - 1);
        b += sub + values;
    }
    return b;
}

class ForeignHost : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        setenv("TZ", "UTC", 1);
        tzset();
        library = dlopen(ZM_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        Bind(library, "ZmImportSizeFileFormatsSupported", api.SizeFileFormatsSupported);
        Bind(library, "ZmImportGetFileFormatInfo", api.GetFileFormatInfo);
        Bind(library, "ZmImportIsCorrectFileType", api.IsCorrectFileType);
        Bind(library, "ZmImportOpen", api.Open);
        Bind(library, "ZmImportClose", api.Close);
        Bind(library, "ZmImportGetLastError", api.GetLastError);
        Bind(library, "ZmImportEstablishSize", api.EstablishSize);
        Bind(library, "ZmImportRead", api.Read);
        Bind(library, "ZmImportWrite", api.Write);
        Bind(library, "ZmImportGetWarning", api.GetWarning);
        Bind(library, "ZmImportSetSpec", api.SetSpec);
        Bind(library, "ZmImportGetFileRead", api.GetFileRead);
        Bind(library, "ZmImportGetFileOptions", api.GetFileOptions);
        Bind(library, "ZmImportInitPackage", api.InitPackage);
        Bind(library, "ZmImportReleasePackage", api.ReleasePackage);
        api.InitPackage();
    }
    static void TearDownTestSuite() {
        if (api.ReleasePackage != nullptr)
            api.ReleasePackage();
        // Never unloaded: the library's records must stay valid for the whole process.
    }

    void SetUp() override {
        ASSERT_NE(library, nullptr);
        dir = std::filesystem::temp_directory_path() /
              ("zmimport-host-" + std::to_string(::getpid()));
        std::filesystem::create_directories(dir);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }

    std::string Write(const std::string& name, const std::string& bytes) {
        const std::string path = (dir / name).string();
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    int IndexOf(const char* name) {
        for (int i = 1; i <= api.SizeFileFormatsSupported(); ++i)
            if (std::strcmp(api.GetFileFormatInfo(i)->name, name) == 0)
                return i;
        return 0;
    }

    static inline void* library = nullptr;
    static inline Interface api{};
    std::filesystem::path dir;
};

TEST_F(ForeignHost, ListsTheFormatsWithTheirRecords) {
    ASSERT_EQ(api.SizeFileFormatsSupported(), 22);
    EXPECT_STREQ(api.GetFileFormatInfo(1)->name, "Brimrose File");
    EXPECT_STREQ(api.GetFileFormatInfo(22)->name, "Unscrambler File");
    EXPECT_EQ(api.GetFileFormatInfo(0), api.GetFileFormatInfo(1));
    // Read at the record's fixed byte offsets, as a host of another compiler does.
    const auto* bytes = reinterpret_cast<const unsigned char*>(api.GetFileFormatInfo(15));
    const char* name;
    const char* extensions;
    int32_t count;
    std::memcpy(&name, bytes + 0, 8);
    std::memcpy(&count, bytes + 24, 4);
    std::memcpy(&extensions, bytes + 32, 8);
    EXPECT_STREQ(name, "Matlab File");
    EXPECT_EQ(count, 1);
    EXPECT_STREQ(extensions, ".mat");
    EXPECT_EQ(bytes[40], 1);  // can write
    EXPECT_EQ(bytes[41], 1);  // can read
    EXPECT_EQ(bytes[43], 0);  // the one format whose fourth flag is clear
    const char* lotusExt;
    std::memcpy(&lotusExt, reinterpret_cast<const unsigned char*>(api.GetFileFormatInfo(14)) + 32,
                8);
    EXPECT_STREQ(lotusExt + 5 + 5 + 5, ".wr1");  // four extensions laid end to end
}

TEST_F(ForeignHost, ReadsASpectraFileIntoItsOwnSheet) {
    const std::string file = Write("spectra.dat", SpectraFile(3, 2));
    const int brimrose = IndexOf("Brimrose File");
    ASSERT_EQ(brimrose, 1);
    EXPECT_EQ(api.IsCorrectFileType(brimrose, file.c_str()), 2);

    void* handle = nullptr;
    ASSERT_TRUE(api.Open(brimrose, file.c_str(), true, &handle, nullptr))
        << api.GetLastError(brimrose, handle);
    int rows = 0, cols = 0;
    ASSERT_TRUE(api.EstablishSize(brimrose, handle, &rows, &cols));
    EXPECT_EQ(rows, 3);
    EXPECT_EQ(cols, 5);
    // The host sizes its sheet from the announced size before the cells arrive.
    HostSheet sheet;
    sheet.SetSize(rows, cols);
    ASSERT_TRUE(api.Read(brimrose, handle, &sheet)) << api.GetLastError(brimrose, handle);
    EXPECT_EQ(api.GetWarning(brimrose, handle), nullptr);
    api.Close(brimrose, handle);

    EXPECT_EQ(sheet.rows, 3);
    EXPECT_EQ(sheet.cols, 5);
    EXPECT_EQ(sheet.outside, 0);
    ASSERT_EQ(sheet.table.size(), 15u);
    EXPECT_EQ(sheet.At(1, 1)->text, "SampleNo");
    EXPECT_EQ(sheet.At(1, 2)->text, "DateTime");
    EXPECT_EQ(sheet.At(1, 3)->text, "w1100");
    EXPECT_EQ(sheet.At(1, 5)->text, "w1104");
    EXPECT_EQ(sheet.At(2, 1)->kind, 'n');
    EXPECT_EQ(sheet.At(2, 1)->number, 1.0f);
    EXPECT_EQ(sheet.At(3, 1)->number, 2.0f);
    EXPECT_EQ(sheet.At(2, 2)->text, "2010-01-01/00:00:00");
    EXPECT_EQ(sheet.At(3, 2)->text, "2010-01-01/01:02:03");
    EXPECT_EQ(sheet.At(2, 3)->number, -1.0f);
    EXPECT_EQ(sheet.At(2, 5)->number, -0.5f);
    EXPECT_EQ(sheet.At(3, 4)->number, 9.25f);
    for (const auto& cell : sheet.table)
        EXPECT_NE(cell.kind, 0);
}

TEST_F(ForeignHost, DamagedFilesFailWithTheFormatsOwnText) {
    const int brimrose = IndexOf("Brimrose File");
    std::string bytes = SpectraFile(3, 2);
    const std::string cut = Write("cut.dat", bytes.substr(0, 512 + 132 + 12 + 60));
    void* handle = nullptr;
    ASSERT_TRUE(api.Open(brimrose, cut.c_str(), true, &handle, nullptr));
    int rows = 0, cols = 0;
    EXPECT_TRUE(api.EstablishSize(brimrose, handle, &rows, &cols));
    HostSheet sheet;
    sheet.SetSize(rows, cols);
    EXPECT_FALSE(api.Read(brimrose, handle, &sheet));
    EXPECT_STREQ(api.GetLastError(brimrose, handle),
                 "File corrupt! Could not read the whole sub header (possibly end of file).");
    EXPECT_EQ(sheet.outside, 0);
    api.Close(brimrose, handle);

    bytes[0] = 0x00;
    const std::string wrong = Write("wrong.dat", bytes);
    EXPECT_EQ(api.IsCorrectFileType(brimrose, wrong.c_str()), 0);
    handle = nullptr;
    EXPECT_FALSE(api.Open(brimrose, wrong.c_str(), true, &handle, nullptr));
    ASSERT_NE(handle, nullptr);
    EXPECT_STREQ(api.GetLastError(brimrose, handle),
                 "The file does not seem to be a valid Brimrose file.");
    EXPECT_FALSE(api.EstablishSize(brimrose, handle, &rows, &cols));
    EXPECT_EQ(rows, -1);
    EXPECT_EQ(cols, -1);
    api.Close(brimrose, handle);
}

TEST_F(ForeignHost, WritingAndMissingFilesReportFailures) {
    const int brimrose = IndexOf("Brimrose File");
    const std::string file = Write("spectra.dat", SpectraFile(2, 1));
    void* handle = nullptr;
    EXPECT_FALSE(api.Open(brimrose, file.c_str(), false, &handle, nullptr));
    ASSERT_NE(handle, nullptr);
    EXPECT_STRNE(api.GetLastError(brimrose, handle), "");
    api.Close(brimrose, handle);

    for (int i = 1; i <= api.SizeFileFormatsSupported(); ++i) {
        handle = nullptr;
        EXPECT_FALSE(api.Open(i, (dir / "missing.dat").c_str(), true, &handle, nullptr)) << i;
        ASSERT_NE(handle, nullptr);
        EXPECT_STRNE(api.GetLastError(i, handle), "") << i;
        api.Close(i, handle);
    }
    EXPECT_STREQ(api.GetLastError(0, nullptr), "");
}

}  // namespace
