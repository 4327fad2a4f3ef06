// A host that loads the library at run time, binds the fifteen exported functions by
// name, lists the formats and reads a spectra file into its own data object.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>

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

// The exported names, in the order of Interface's members.
const char kNames[] =
    "SizeFileFormatsSupported GetFileFormatInfo IsCorrectFileType Open Close GetLastError "
    "EstablishSize Read Write GetWarning SetSpec GetFileRead GetFileOptions InitPackage "
    "ReleasePackage";

// The host's own read target, kept in the fixtures' golden form (row, column, kind, value).
struct HostSheet : ZmHostReadTarget {
    void SetNumber(int row, int col, float value) override {
        char buffer[32];
        const auto end = std::to_chars(buffer, buffer + 32, static_cast<double>(value)).ptr;
        Put(row, col, "number\t" + std::string(buffer, end));
    }
    void SetText(int row, int col, const char* text) override {
        Put(row, col, std::string("text\t") + text);
    }
    void SetSize(int r, int c) override {
        rows = r;
        cols = c;
    }
    void Put(int row, int col, const std::string& cell) {
        if (row < 1 || col < 1 || row > rows || col > cols)
            ++outside;
        else
            cells[{row, col}] = std::to_string(row) + '\t' + std::to_string(col) + '\t' + cell;
    }
    std::map<std::pair<int, int>, std::string> cells;
    int outside = 0;
};

std::string Fixture(const char* name) {
    return std::string(ZM_TEST_DATA) + "/brimrose/" + name;
}

class ForeignHost : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        setenv("TZ", "UTC", 1);
        tzset();
        library = dlopen(ZM_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        std::istringstream names(kNames);
        size_t bound = 0;
        for (std::string name; names >> name; bound += sizeof(void*)) {
            void* function = dlsym(library, ("ZmImport" + name).c_str());
            ASSERT_NE(function, nullptr) << name;
            std::memcpy(reinterpret_cast<char*>(&api) + bound, &function, sizeof function);
        }
        ASSERT_EQ(bound, sizeof api);
        api.InitPackage();
    }
    static void TearDownTestSuite() {
        if (api.ReleasePackage != nullptr)
            api.ReleasePackage();
        // Never unloaded: the library's records must stay valid for the whole process.
    }
    void SetUp() override { ASSERT_NE(library, nullptr); }

    // Opens, sizes and reads `file` as format `format` (the first unless named); returns
    // whether the read succeeded.
    bool ReadInto(const std::string& file, HostSheet& sheet, int format = 1) {
        void* handle = nullptr;
        EXPECT_TRUE(api.Open(format, file.c_str(), true, &handle, nullptr));
        int rows = 0, cols = 0;
        EXPECT_TRUE(api.EstablishSize(format, handle, &rows, &cols));
        sheet.SetSize(rows, cols);  // the host sizes its sheet before the cells arrive
        const bool read = api.Read(format, handle, &sheet);
        lastError = api.GetLastError(format, handle);
        api.Close(format, handle);
        return read;
    }

    static int FormatNamed(const char* name) {
        for (int i = 1; i <= api.SizeFileFormatsSupported(); ++i) {
            if (std::strcmp(api.GetFileFormatInfo(i)->name, name) == 0)
                return i;
        }
        return 0;
    }

    static inline void* library = nullptr;
    static inline Interface api{};
    std::string lastError;
};

TEST_F(ForeignHost, ReadsASpectraFileIntoItsOwnSheet) {
    ASSERT_EQ(api.SizeFileFormatsSupported(), 22);
    ASSERT_STREQ(api.GetFileFormatInfo(1)->name, "Brimrose File");
    EXPECT_EQ(api.IsCorrectFileType(1, Fixture("two-spectra.dat").c_str()), 2);
    HostSheet sheet;
    ASSERT_TRUE(ReadInto(Fixture("two-spectra.dat"), sheet)) << lastError;
    EXPECT_EQ(sheet.outside, 0);
    std::ifstream golden(Fixture("two-spectra.expected.tsv"));
    std::string dump;
    for (const auto& [at, line] : sheet.cells)
        dump += line + '\n';
    EXPECT_EQ(dump, (std::ostringstream() << golden.rdbuf()).str());
}

TEST_F(ForeignHost, DamagedFilesFailWithTheFormatsOwnText) {
    HostSheet sheet;
    EXPECT_FALSE(ReadInto(Fixture("cut-in-third-spectrum.dat"), sheet));
    EXPECT_EQ(lastError, "File corrupt! Could not read data (possibly end of file).");
    EXPECT_EQ(sheet.outside, 0);

    const std::string wrong = Fixture("wrong-magic.dat");
    EXPECT_EQ(api.IsCorrectFileType(1, wrong.c_str()), 0);
    for (bool forReading : {true, false}) {
        void* handle = nullptr;
        EXPECT_FALSE(api.Open(1, (forReading ? wrong : Fixture("two-spectra.dat")).c_str(),
                              forReading, &handle, nullptr));
        ASSERT_NE(handle, nullptr);
        EXPECT_STREQ(api.GetLastError(1, handle),
                     forReading ? "The file does not seem to be a valid Brimrose file."
                                : "Tried to write to the file when it was opened for reading or "
                                  "vice versa.");
        int rows = 0, cols = 0;
        EXPECT_FALSE(api.EstablishSize(1, handle, &rows, &cols));
        EXPECT_EQ(std::pair(rows, cols), std::pair(-1, -1));
        api.Close(1, handle);
    }
    EXPECT_STREQ(api.GetLastError(0, nullptr), "");
}

// True when a library whose file name holds `name` is mapped into this process.
bool Mapped(const char* name) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(name) != std::string::npos)
            return true;
    }
    return false;
}

// xerces-c and netCDF (with HDF5 and the network libraries behind them) are loaded only
// when a file needs them, so reads of other formats start without them.
TEST_F(ForeignHost, LoadsTheXmlAndNetCdfLibrariesOnlyForFilesThatNeedThem) {
    const std::string spectra = Fixture("two-spectra.dat");
    for (int i = 1; i <= api.SizeFileFormatsSupported(); ++i)
        api.IsCorrectFileType(i, spectra.c_str());
    HostSheet sheet;
    ASSERT_TRUE(ReadInto(spectra, sheet)) << lastError;
    EXPECT_FALSE(Mapped("libxerces-c"));
    EXPECT_FALSE(Mapped("libnetcdf"));

    HostSheet workbook;
    const int excel = FormatNamed("Excel2007 File");
    ASSERT_TRUE(ReadInto(std::string(ZM_TEST_DATA) + "/xlsx/two-sheets.xlsx", workbook, excel))
        << lastError;
    EXPECT_FALSE(workbook.cells.empty());
    EXPECT_TRUE(Mapped("libzmimport_xml.so"));
    EXPECT_TRUE(Mapped("libxerces-c"));
    EXPECT_FALSE(Mapped("libnetcdf"));

    HostSheet chromatogram;
    const int netcdf = FormatNamed("NetCDF Files");
    ASSERT_TRUE(ReadInto(std::string(ZM_TEST_DATA) + "/netcdf/aia_run1.cdf", chromatogram, netcdf))
        << lastError;
    EXPECT_TRUE(Mapped("libnetcdf"));
}

}  // namespace
