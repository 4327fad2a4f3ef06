// The registry holds every built-in format in filter order with its exact record.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "framework/SprFileFactory.h"
#include "framework/ZmImport.h"

namespace {

// Extensions joined by blanks; flags are can write, can read, multi-file, flag 4, flag 5.
struct Row {
    const char *name, *filter, *saveFilter, *extensions, *flags;
};

const Row kTable[] = {
    {"Brimrose File", "Brimrose Files (*.dat)", nullptr, ".dat", "01010"},
    {"Brookside File", "Brookside Files (*.trn; *.pkg)", nullptr, ".trn .pkg", "01010"},
    {"Brookside Ver. 2.6 XML File", "Brookside Ver. 2.6 XML Files (*.xml)", nullptr, ".xml",
     "01110"},
    {"Bruker OPUS File", "Bruker OPUS File (*.*)", nullptr, ".*", "01110"},
    {"Bruker OPUS Interpolated File", "Bruker OPUS Interpolated File (*.*)", nullptr, ".*",
     "01110"},
    {"CSV File", "CSV Files (*.csv)", nullptr, ".csv", "01011"},
    {"DEXAN File", "DEXAN Files (*.mip; *.dat)", nullptr, ".mip .dat", "01010"},
    {"DIF File", "DIF Files (*.dif)", "DIF Files (*.dif)", ".dif", "11011"},
    {"Excel File", "Excel 97-2003 Workbook (*.xl*)", nullptr, ".xls .xlw", "01011"},
    {"Excel2007 File", "Excel Workbook (*.xlsx; *.xlsb)", "Excel Workbook (*.xlsx)", ".xlsx .xlsb",
     "01010"},
    {"GalacticSPC File", "Galactic SPC Files (*.spc)", nullptr, ".spc", "01111"},
    {"HPLC ChemStation File", "HPLC ChemStation Files (*.ch, *.uv)", "HPLC ChemStation File (*.ch)",
     ".ch .uv", "01110"},
    {"JCAMP-DX File", "JCAMP-DX Files (*.jcm; *.dx; *.jdx)", nullptr, ".jcm .dx .jdx", "01110"},
    {"Lotus 1-2-3 File", "Lotus 1-2-3 Files (*.wks; *.wk1)", nullptr, ".wks .wk1 .wrk .wr1",
     "01010"},
    {"Matlab File", "Matlab Files (*.mat)", "Matlab Files (*.mat)", ".mat", "11000"},
    {"NSAS File", "NSAS Files (*.da)", nullptr, ".da", "01010"},
    {"NetCDF Files", "NetCDF Files (*.nc; *.cdf) (MVACDF, ANDI)", nullptr, ".nc .cdf", "01110"},
    {"TAVIX project file", "TAVIX project file (*.tvp)", nullptr, ".tvp", "01010"},
    {"Text File", "Text Files (*.txt; *.dat)", "Text File (*.txt)", ".txt .dat", "11011"},
    {"Text UTF-8 File", "Text UTF-8 Files (*.txt; *.dat)", "Text UTF-8 File (*.txt)", ".txt .dat",
     "10011"},
    {"Thermo SIEVE File", "Thermo SIEVE Files (*.txt)", "Thermo SIEVE File (*.txt)", ".txt",
     "01011"},
    {"Unscrambler File", "Unscrambler Files (*.uns; *.inp)", nullptr, ".uns .inp", "01010"},
};

TEST(SprFileFactory, HoldsTheTwentyTwoFormatsInFilterOrder) {
    ASSERT_EQ(ZmImportSizeFileFormatsSupported(), 22);
    for (int i = 1; i <= 22; ++i) {
        const Row& row = kTable[i - 1];
        SCOPED_TRACE(row.name);
        const ZmImportFileFormatInfo* info = ZmImportGetFileFormatInfo(i);
        EXPECT_STREQ(info->name, row.name);
        EXPECT_STREQ(info->filter, row.filter);
        EXPECT_STREQ(info->saveFilter != nullptr ? info->saveFilter : "(none)",
                     row.saveFilter != nullptr ? row.saveFilter : "(none)");
        // The extensions are laid end to end, each with its terminating zero.
        std::string extensions;
        for (int e = 0, at = 0; e < info->extensionCount; ++e) {
            extensions += (e > 0 ? " " : "") + std::string(info->extensions + at);
            at += std::strlen(info->extensions + at) + 1;
        }
        EXPECT_EQ(extensions, row.extensions);
        const std::string flags = {char('0' + info->canWrite), char('0' + info->canRead),
                                   char('0' + info->multiFile), char('0' + info->flag4),
                                   char('0' + info->flag5)};
        EXPECT_EQ(flags, row.flags);
        EXPECT_NE(info->factory, nullptr);
    }
    // Indexes below two select the first record; indexes past the end select nothing.
    EXPECT_EQ(ZmImportGetFileFormatInfo(-5), ZmImportGetFileFormatInfo(1));
    EXPECT_EQ(ZmImportGetFileFormatInfo(0), ZmImportGetFileFormatInfo(1));
    EXPECT_EQ(SprFileFactory::GetInfo(23), nullptr);
    EXPECT_EQ(SprFileFactory::GetSpreadsheetFile(23), nullptr);
    EXPECT_EQ(SprFileFactory::IsMyKindOfFile(99, "x"), SprFileFactory::kNotMine);
}

}  // namespace
