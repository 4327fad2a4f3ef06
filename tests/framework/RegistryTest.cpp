// The registry holds every built-in format in filter order with its exact record.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "framework/SprFileFactory.h"
#include "framework/ZmImport.h"

namespace {

struct Row {
    const char* name;
    const char* filter;
    const char* saveFilter;
    std::vector<std::string> extensions;
    int w, r, m, f4, f5;
};

const std::vector<Row> kTable = {
    {"Brimrose File", "Brimrose Files (*.dat)", nullptr, {".dat"}, 0, 1, 0, 1, 0},
    {"Brookside File", "Brookside Files (*.trn; *.pkg)", nullptr, {".trn", ".pkg"}, 0, 1, 0, 1, 0},
    {"Brookside Ver. 2.6 XML File",
     "Brookside Ver. 2.6 XML Files (*.xml)",
     nullptr,
     {".xml"},
     0,
     1,
     1,
     1,
     0},
    {"Bruker OPUS File", "Bruker OPUS File (*.*)", nullptr, {".*"}, 0, 1, 1, 1, 0},
    {"Bruker OPUS Interpolated File",
     "Bruker OPUS Interpolated File (*.*)",
     nullptr,
     {".*"},
     0,
     1,
     1,
     1,
     0},
    {"CSV File", "CSV Files (*.csv)", nullptr, {".csv"}, 0, 1, 0, 1, 1},
    {"DEXAN File", "DEXAN Files (*.mip; *.dat)", nullptr, {".mip", ".dat"}, 0, 1, 0, 1, 0},
    {"DIF File", "DIF Files (*.dif)", "DIF Files (*.dif)", {".dif"}, 1, 1, 0, 1, 1},
    {"Excel File", "Excel 97-2003 Workbook (*.xl*)", nullptr, {".xls", ".xlw"}, 0, 1, 0, 1, 1},
    {"Excel2007 File",
     "Excel Workbook (*.xlsx; *.xlsb)",
     "Excel Workbook (*.xlsx)",
     {".xlsx", ".xlsb"},
     0,
     1,
     0,
     1,
     0},
    {"GalacticSPC File", "Galactic SPC Files (*.spc)", nullptr, {".spc"}, 0, 1, 1, 1, 1},
    {"HPLC ChemStation File",
     "HPLC ChemStation Files (*.ch, *.uv)",
     "HPLC ChemStation File (*.ch)",
     {".ch", ".uv"},
     0,
     1,
     1,
     1,
     0},
    {"JCAMP-DX File",
     "JCAMP-DX Files (*.jcm; *.dx; *.jdx)",
     nullptr,
     {".jcm", ".dx", ".jdx"},
     0,
     1,
     1,
     1,
     0},
    {"Lotus 1-2-3 File",
     "Lotus 1-2-3 Files (*.wks; *.wk1)",
     nullptr,
     {".wks", ".wk1", ".wrk", ".wr1"},
     0,
     1,
     0,
     1,
     0},
    {"Matlab File", "Matlab Files (*.mat)", "Matlab Files (*.mat)", {".mat"}, 1, 1, 0, 0, 0},
    {"NSAS File", "NSAS Files (*.da)", nullptr, {".da"}, 0, 1, 0, 1, 0},
    {"NetCDF Files",
     "NetCDF Files (*.nc; *.cdf) (MVACDF, ANDI)",
     nullptr,
     {".nc", ".cdf"},
     0,
     1,
     1,
     1,
     0},
    {"TAVIX project file", "TAVIX project file (*.tvp)", nullptr, {".tvp"}, 0, 1, 0, 1, 0},
    {"Text File",
     "Text Files (*.txt; *.dat)",
     "Text File (*.txt)",
     {".txt", ".dat"},
     1,
     1,
     0,
     1,
     1},
    {"Text UTF-8 File",
     "Text UTF-8 Files (*.txt; *.dat)",
     "Text UTF-8 File (*.txt)",
     {".txt", ".dat"},
     1,
     0,
     0,
     1,
     1},
    {"Thermo SIEVE File",
     "Thermo SIEVE Files (*.txt)",
     "Thermo SIEVE File (*.txt)",
     {".txt"},
     0,
     1,
     0,
     1,
     1},
    {"Unscrambler File",
     "Unscrambler Files (*.uns; *.inp)",
     nullptr,
     {".uns", ".inp"},
     0,
     1,
     0,
     1,
     0},
};

std::vector<std::string> Extensions(const ZmImportFileFormatInfo* info) {
    std::vector<std::string> out;
    const char* p = info->extensions;
    for (int i = 0; i < info->extensionCount; ++i) {
        out.emplace_back(p);
        p += std::strlen(p) + 1;
    }
    return out;
}

TEST(SprFileFactory, HoldsTheTwentyTwoFormatsInFilterOrder) {
    ASSERT_EQ(SprFileFactory::SizeInfos(), 22);
    ASSERT_EQ(ZmImportSizeFileFormatsSupported(), 22);
    for (size_t i = 0; i < kTable.size(); ++i) {
        SCOPED_TRACE(kTable[i].name);
        const ZmImportFileFormatInfo* info = ZmImportGetFileFormatInfo(static_cast<int>(i + 1));
        ASSERT_NE(info, nullptr);
        EXPECT_STREQ(info->name, kTable[i].name);
        EXPECT_STREQ(info->filter, kTable[i].filter);
        if (kTable[i].saveFilter == nullptr) {
            EXPECT_EQ(info->saveFilter, nullptr);
        } else {
            EXPECT_STREQ(info->saveFilter, kTable[i].saveFilter);
        }
        EXPECT_EQ(Extensions(info), kTable[i].extensions);
        EXPECT_EQ(info->canWrite, kTable[i].w);
        EXPECT_EQ(info->canRead, kTable[i].r);
        EXPECT_EQ(info->multiFile, kTable[i].m);
        EXPECT_EQ(info->flag4, kTable[i].f4);
        EXPECT_EQ(info->flag5, kTable[i].f5);
        EXPECT_NE(info->factory, nullptr);
    }
}

TEST(SprFileFactory, IndexBelowTwoSelectsTheFirstRecord) {
    EXPECT_EQ(ZmImportGetFileFormatInfo(0), ZmImportGetFileFormatInfo(1));
    EXPECT_EQ(ZmImportGetFileFormatInfo(-5), ZmImportGetFileFormatInfo(1));
    EXPECT_EQ(SprFileFactory::GetInfo(23), nullptr);
    EXPECT_EQ(SprFileFactory::GetSpreadsheetFile(23), nullptr);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(99, "x"), SprFileFactory::kNotMine);
}

}  // namespace
