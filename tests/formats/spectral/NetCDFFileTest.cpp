// netCDF format: template choice and refusals, ANDI chromatograms alone and together
// (shared axis, peak-table defaults, options, averaging), MVACDF value types and markers,
// files cut short and the trial opening of netCDF-4 files. Values are checked against
// what the netCDF library itself reads from the same files.
#include <gtest/gtest.h>
#include <netcdf.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "formats/spectral/AndiFileReader.h"
#include "formats/spectral/MvaCDFFileReader.h"
#include "formats/spectral/NetCDFFile.h"
#include "framework/OptionsRecord.h"
#include "platform/BinaryString.h"
#include "platform/FileNames.h"
#include "platform/Log.h"
#include "platform/NetCDF.h"
#include "platform/NetCDFHeader.h"
#include "platform/NetCDFLibrary.h"
#include "platform/Translate.h"
#include "tests/support/BoundedTest.h"
#include "tests/support/RecordingSink.h"
#include "tests/support/TextTestSupport.h"

namespace {

using zmtest::Message;

std::string Fixture(const std::string& name) {
    return std::string(ZM_TEST_DATA) + "/netcdf/" + name;
}

std::string Corpus(const std::string& name) {
    return std::string(ZM_CORPUS) + "/netcdf/" + name;
}

std::string Files(std::initializer_list<const char*> names) {
    std::vector<std::string> paths;
    for (const char* name : names)
        paths.push_back(Fixture(name));
    return zm::JoinFileNames(paths);
}

// A whole float variable as the netCDF library reads it.
std::vector<float> LibraryFloats(const std::string& file, const char* variable) {
    int id = -1, var = -1;
    size_t length = 0;
    int dim = -1;
    EXPECT_EQ(nc_open(file.c_str(), NC_NOWRITE, &id), NC_NOERR);
    EXPECT_EQ(nc_inq_varid(id, variable, &var), NC_NOERR);
    EXPECT_EQ(nc_inq_vardimid(id, var, &dim), NC_NOERR);
    EXPECT_EQ(nc_inq_dimlen(id, dim, &length), NC_NOERR);
    std::vector<float> values(length);
    EXPECT_EQ(nc_get_var_float(id, var, values.data()), NC_NOERR);
    nc_close(id);
    return values;
}

float LibraryScalar(const std::string& file, const char* variable) {
    int id = -1, var = -1;
    float value = 0;
    EXPECT_EQ(nc_open(file.c_str(), NC_NOWRITE, &id), NC_NOERR);
    EXPECT_EQ(nc_inq_varid(id, variable, &var), NC_NOERR);
    EXPECT_EQ(nc_get_var_float(id, var, &value), NC_NOERR);
    nc_close(id);
    return value;
}

// An options record holding a constraints text, as a host hands it over.
struct ConstraintsRecord {
    explicit ConstraintsRecord(const USDConstraints& c) {
        std::string text;
        USDBase::GetStringFromUSDConstraints(&c, text);
        zm::WriteBinaryString(bytes, text);
        record = {static_cast<uint32_t>(bytes.size()), reinterpret_cast<unsigned char*>(&bytes[0])};
    }
    std::string bytes;
    ZmImportOpenOptions record{};
};

TEST(NetCDFFile, ChoosesTheTemplateAndRefusesOthersWithTheirTexts) {
    EXPECT_EQ(NetCDFFile::GetFileTemplate(Corpus("agilent_hplc.cdf").c_str()),
              NetCDFFile::kAndiChromatography);
    EXPECT_EQ(NetCDFFile::GetFileTemplate(Fixture("mva_double.nc").c_str()), NetCDFFile::kMvaCDF);
    EXPECT_EQ(NetCDFFile::GetFileTemplate(Corpus("P071.CDF").c_str()),
              NetCDFFile::kAndiMassSpectrometry);
    EXPECT_EQ(NetCDFFile::GetFileTemplate(Corpus("madis-sao.nc").c_str()),
              NetCDFFile::kUnknownTemplate);
    EXPECT_FALSE(NetCDFFile::IsNetCDFFile(Corpus("dummy.cdf").c_str()));
    EXPECT_TRUE(NetCDFFile::IsNetCDFFile(Corpus("non_andi.cdf").c_str()));

    zm::SetApplicationName("Analyst");
    const std::string gcms =
        "This NetCDF file contains the raw data from one GcMS run. Such files cannot be "
        "imported by Analyst. Please see Q576 in the knowledge base for further information.";
    const std::string unknown =
        "The NetCDF template used to create this file is not recognized by Analyst.";
    const struct {
        std::string file;
        int code;
        std::string text;
    } cases[] = {
        {Corpus("P071.CDF"), NetCDFFile::kTemplateNotSupported, gcms},
        {Corpus("andi_ms_centroid.cdf"), NetCDFFile::kTemplateNotSupported, gcms},
        {Corpus("andi_ms_continuum.cdf"), NetCDFFile::kTemplateNotSupported, gcms},
        {Corpus("madis-sao.nc"), NetCDFFile::kTemplateNotSupported, unknown},
        {Corpus("non_andi.cdf"), NetCDFFile::kTemplateNotSupported, unknown},
        {Corpus("dummy.cdf"), NetCDFFile::kNotNetCDFFile,
         "The file does not seem to be a valid NetCDF file."},
        // The first file decides: an ANDI file after a generic one is not looked at.
        {Corpus("non_andi.cdf") + "\n" + Fixture("aia_run1.cdf"), NetCDFFile::kTemplateNotSupported,
         unknown},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        NetCDFFile reader;
        EXPECT_EQ(reader.Open(true, c.file.c_str(), nullptr), c.code);
        EXPECT_EQ(reader.GetInnerReader(), nullptr);
        EXPECT_EQ(reader.GetNumCols(), -1);
        EXPECT_EQ(Message(reader), c.text);
    }
    zm::SetApplicationName("TAVIX");

    NetCDFFile writer;
    EXPECT_EQ(writer.Open(false, Fixture("aia_run1.cdf").c_str(), nullptr), kStatusWrongMode);
}

TEST(AndiFileReader, ReadsOneChromatogramOnItsTimeAxis) {
    const std::string file = Fixture("aia_run1.cdf");
    NetCDFFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, file, sink), 0) << Message(reader);
    const std::vector<float> values = LibraryFloats(file, "ordinate_values");
    const float delay = LibraryScalar(file, "actual_delay_time");
    const float interval = LibraryScalar(file, "actual_sampling_interval");
    ASSERT_EQ(sink.cols, static_cast<int>(values.size()) + 2);
    ASSERT_EQ(sink.rows, 3);
    zmtest::ExpectCells(sink, {{1, 1, "Primary ID"},
                               {2, 1, "Name"},
                               {2, 2, "Retention Time(seconds)"},
                               {1, 2, 1.0},
                               {2, 3, "aia_run1: Run one"},
                               {1, 3, 2.0}});
    for (size_t i = 0; i < values.size(); ++i) {
        const int col = static_cast<int>(i) + 3;
        const float x = static_cast<float>(delay + static_cast<double>(i) * interval);
        EXPECT_FLOAT_EQ(sink.Number(col, 2), x);
        EXPECT_EQ(sink.Text(col, 1), "t " + zm::FormatMessage("%1%", x));
        EXPECT_EQ(sink.Number(col, 3), values[i]) << i;
    }
    // The retention unit names the time row.
    NetCDFFile minutes;
    zmtest::RecordingSink m;
    ASSERT_EQ(zmtest::ReadAll(minutes, Fixture("aia_minutes.cdf"), m), 0) << Message(minutes);
    EXPECT_EQ(m.Text(2, 2), "Retention Time(minutes)");
}

TEST(AndiFileReader, ReadsTheRealExportAndItsPeakTableOrTheWholeRunAsDefaults) {
    const std::string file = Corpus("agilent_hplc.cdf");
    AndiFileReader reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, file, sink), 0) << Message(reader);
    const std::vector<float> values = LibraryFloats(file, "ordinate_values");
    ASSERT_EQ(values.size(), 4651u);
    // More points than one chunk holds would need a bigger file; these cross none, but
    // every value must still land in its own column.
    for (size_t i = 0; i < values.size(); ++i)
        ASSERT_EQ(sink.Number(static_cast<int>(i) + 3, 3), values[i]) << i;
    EXPECT_EQ(sink.Text(2, 3), "agilent_hplc: MW-2-6-6 IC 90");
    EXPECT_FLOAT_EQ(reader.GetRangeMinimum(), 0.012f);
    EXPECT_FLOAT_EQ(reader.GetRangeMaximum(), 1860.012f);
    EXPECT_FLOAT_EQ(reader.GetSamplingInterval(), 0.4f);

    const std::vector<float> starts = LibraryFloats(file, "peak_start_time");
    const std::vector<float> ends = LibraryFloats(file, "peak_end_time");
    ASSERT_EQ(reader.GetDefaults(nullptr, nullptr, -1L), 8);
    std::vector<float> start(3), end(3);
    EXPECT_EQ(reader.GetDefaults(start.data(), end.data(), 3L), 3);
    EXPECT_EQ(start[2], starts[2]);
    EXPECT_EQ(end[2], ends[2]);
    USDConstraints defaults;
    reader.GetDefaultUSDConstraints(&defaults);
    ASSERT_EQ(defaults.NumberOfIncludedIntervals, 8);
    EXPECT_TRUE(defaults.IncludeAllValues && defaults.IncludeOrdinalValues);
    EXPECT_EQ(defaults.UseAverage, 0);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(defaults.IncludeXStartPt[i], starts[static_cast<size_t>(i)]);
        EXPECT_EQ(defaults.IncludeXEndPt[i], ends[static_cast<size_t>(i)]);
    }
    FreeUSDConstraints(&defaults);

    // Without peaks the default range is the whole run, written back into an empty record.
    AndiFileReader noPeaks;
    ZmImportOpenOptions record{0, nullptr};
    ASSERT_EQ(noPeaks.Open(true, Fixture("aia_run2.cdf").c_str(), &record), 0);
    EXPECT_EQ(noPeaks.GetDefaults(nullptr, nullptr, -1L), 0);
    ASSERT_GT(record.size, 0u);
    std::string text;
    ASSERT_TRUE(zm::ReadBinaryString(record.data, record.size, text));
    delete[] record.data;
    USDConstraints written;
    ASSERT_TRUE(USDBase::GetUSDConstraintsFromString(text, &written));
    ASSERT_EQ(written.NumberOfIncludedIntervals, 1);
    EXPECT_FLOAT_EQ(written.IncludeXStartPt[0], 1.5f);
    EXPECT_FLOAT_EQ(written.IncludeXEndPt[0], 1.5f + 20 * 0.2f);
    FreeUSDConstraints(&written);
}

TEST(AndiFileReader, SeveralFilesShareOneSheetAndTheSelectionIsRead) {
    NetCDFFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, Files({"aia_run1.cdf", "aia_run2.cdf"}), sink), 0)
        << Message(reader);
    const std::vector<float> first = LibraryFloats(Fixture("aia_run1.cdf"), "ordinate_values");
    const std::vector<float> second = LibraryFloats(Fixture("aia_run2.cdf"), "ordinate_values");
    ASSERT_GT(first.size(), second.size());
    EXPECT_EQ(sink.cols, static_cast<int>(first.size()) + 2);
    EXPECT_EQ(sink.rows, 4);
    EXPECT_EQ(sink.Text(2, 4), "aia_run2: Run two");
    EXPECT_EQ(sink.Number(1, 4), 3);
    for (size_t i = 0; i < second.size(); ++i)
        EXPECT_EQ(sink.Number(static_cast<int>(i) + 3, 4), second[i]);
    // The shorter run leaves the columns past its end empty.
    EXPECT_FALSE(sink.Has(static_cast<int>(second.size()) + 3, 4));

    // Intervals less than one part in a million apart are one axis: one float step, and
    // 0.2000001 (seven float steps from 0.2).
    for (const char* other : {"aia_interval_near.cdf", "aia_interval_0.2000001.cdf"}) {
        NetCDFFile near;
        EXPECT_EQ(near.Open(true, Files({"aia_run1.cdf", other}).c_str(), nullptr), 0)
            << other << ": " << Message(near);
        EXPECT_EQ(near.GetNumRows(), 4) << other;
    }

    // The selection decides which files are checked and read.
    AndiFileReader chosen;
    ASSERT_EQ(chosen.Open(true, Files({"aia_run1.cdf", "aia_run2.cdf"}).c_str(), nullptr), 0);
    EXPECT_TRUE(chosen.IsMultiSelection());
    const int onlySecond[] = {1};
    chosen.SelectFilesToImport(onlySecond, 1);
    ASSERT_EQ(chosen.CheckFiles(), 0);
    zmtest::RecordingSink one;
    one.SetDataSize(chosen.GetNumCols(), chosen.GetNumRows());
    ASSERT_EQ(chosen.Read(&one), 0);
    EXPECT_EQ(one.rows, 3);
    EXPECT_EQ(one.cols, 22);
    EXPECT_EQ(one.Text(2, 3), "aia_run2: Run two");
    chosen.SelectFilesToImport(nullptr, 0);
    EXPECT_EQ(chosen.CheckFiles(), 2086);
    EXPECT_EQ(Message(chosen), "No files were selected.");

    AndiFileReader empty;
    EXPECT_EQ(empty.Open(true, "", nullptr), 2081);
}

TEST(NetCDFFile, RefusesChromatogramsThatDoNotShareTheAxisAndDamagedMvaFiles) {
    const std::string axis =
        "To be able to import several files at a time, all selected files must have the same "
        "sampling interval and the same time delay between the injection and the start of data "
        "acquisition. In this case, ";
    const std::string notAndi =
        "Unable to read one or more of the selected files, not all files seem to be valid "
        "ANDI/chromatography files.";
    // `failed` is the file the failure is put down to.
    const struct {
        std::string files;
        int code;
        std::string text;
        std::string failed;
    } cases[] = {
        {Files({"aia_run1.cdf", "aia_interval_0.25.cdf"}), 2087,
         axis + "not all selected files had the same sampling interval.", "aia_interval_0.25.cdf"},
        {Files({"aia_run1.cdf", "aia_delay.cdf"}), 2089,
         axis + "the delay time was not equal in all selected files.", "aia_delay.cdf"},
        {Files({"aia_nonuniform.cdf"}), 2085,
         "Error wile reading file attributes in the file. Files with non-uniform sampling of "
         "data is not supported by TAVIX.",
         "aia_nonuniform.cdf"},
        {Files({"aia_run1.cdf", "aia_nonuniform.cdf"}), 2085,
         "Error wile reading file attributes in one or more of the selected files. Files with "
         "non-uniform sampling of data is not supported by TAVIX.",
         "aia_nonuniform.cdf"},
        {Files({"aia_no_delay.cdf"}), 2084, "Error while reading file attributes.",
         "aia_no_delay.cdf"},
        {Files({"aia_run1.cdf", "aia_no_delay.cdf"}), 2084,
         "Error while reading file attributes in one of the selected files.", "aia_no_delay.cdf"},
        {Files({"aia_no_completeness.cdf"}), 2082,
         "The file does not seem to be a valid ANDI/chromatography file.",
         "aia_no_completeness.cdf"},
        {Files({"aia_run1.cdf", "mva_float.cdf"}), 2082, notAndi, "mva_float.cdf"},
        // A second file that does not open is no chromatogram either.
        {Files({"aia_run1.cdf", "missing.cdf"}), 2082, notAndi, "missing.cdf"},
        {Files({"mva_unknown_type.cdf"}), 2065,
         "The size of the observation data could not be established. Necessary variables ID's "
         "could not be found in the file.",
         "mva_unknown_type.cdf"},
        {Files({"mva_matrix.cdf"}), 2066,
         "The observation data is stored as matrices in the file. TAVIX can currently not "
         "import MVACDF file matrices.",
         "mva_matrix.cdf"},
        {Files({"mva_float.cdf", "mva_matrix.cdf"}), 2066,
         "The observation data is stored as matrices in one or more of the selected files. "
         "TAVIX can currently not import MVACDF file matrices.",
         "mva_matrix.cdf"},
        {Files({"mva_no_data.cdf"}), 2067, "Observation data could not be found in the file.",
         "mva_no_data.cdf"},
        {Files({"mva_float.cdf", "mva_six_variables.cdf"}), 2068,
         "The files contain different number of variables.", "mva_six_variables.cdf"},
        {Files({"mva_float.cdf", "aia_run1.cdf"}), 2064,
         "One or more files seem not to be a valid MVACDF files.", "aia_run1.cdf"},
        {Files({"aia_run1.cdf", "mva_float.cdf", "aia_run2.cdf"}), 2082, notAndi, "mva_float.cdf"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.files);
        NetCDFFile reader;
        EXPECT_EQ(reader.Open(true, c.files.c_str(), nullptr), c.code);
        EXPECT_EQ(Message(reader), c.text);
        EXPECT_EQ(reader.GetNumRows(), -1);
        ASSERT_NE(reader.GetFailedFile(), nullptr);
        EXPECT_EQ(std::filesystem::path(reader.GetFailedFile()).filename(), c.failed);
    }
    MvaCDFFileReader direct;
    EXPECT_EQ(direct.Open(true, Fixture("aia_run1.cdf").c_str(), nullptr), 2064);
    EXPECT_EQ(Message(direct), "The file does not seem to be a valid MVACDF file.");
}

TEST(AndiFileReader, RefusesAHeaderCountingBillionsOfPointsAtOnce) {
    // Two billion records the file does not hold: refused before the library reads any.
    const auto cost = zmtest::ExpectBounded({60, 0}, [] {
        NetCDFFile reader;
        EXPECT_EQ(reader.Open(true, Fixture("aia_huge_dimension.cdf").c_str(), nullptr), 2049);
        EXPECT_EQ(Message(reader), "The file does not seem to be a valid NetCDF file.");
    });
    EXPECT_LT(cost.GrowthKb(), zmtest::AllowedGrowthKb(64));
}

TEST(NetCDF, HeaderCountsMustFitTheFileBeforeTheLibraryOpensIt) {
    const std::string scratch = ::testing::TempDir() + "zm-netcdf-header.cdf";
    const auto write = [&](const std::string& bytes) {
        std::ofstream(scratch, std::ios::binary) << bytes;
        return zm::ClassicHeaderFits(scratch, bytes.size());
    };
    const auto be32 = [](uint32_t v) {
        return std::string{char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
    };
    // One variable "x" whose dimension list claims 926 million ids: the library would
    // allocate 7 GB for it.
    const std::string head = std::string("CDF\x01", 4) + be32(0) + be32(0) + be32(0) + be32(0) +
                             be32(0) + be32(0x0B) + be32(1) + be32(1) + "x\0\0\0";
    const std::string tail = be32(0) + be32(0) + be32(5) + be32(4) + be32(64) + be32(0);
    EXPECT_TRUE(write(head + be32(0) + tail));
    EXPECT_FALSE(write(head + be32(0x37306E73) + tail));
    EXPECT_FALSE(zm::NetCDF(scratch).IsOpen());
    // Two billion dimensions, and an attribute of two billion doubles.
    EXPECT_FALSE(write(std::string("CDF\x02", 4) + be32(0) + be32(0x0A) + be32(0x7FFFFFFF)));
    EXPECT_FALSE(write(std::string("CDF\x01", 4) + be32(0) + be32(0) + be32(0) + be32(0x0C) +
                       be32(1) + be32(1) + "a\0\0\0" + be32(6) + be32(0x7FFFFFFF)));

    // A real file passes whole and fails cut anywhere, inside its header or inside the
    // data the header places; files of other kinds are left to the library.
    std::ifstream in(Fixture("aia_run1.cdf"), std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_TRUE(write(whole));
    for (size_t cut = 4; cut < whole.size(); ++cut)
        EXPECT_FALSE(write(whole.substr(0, cut))) << cut;
    EXPECT_TRUE(zm::ClassicHeaderFits(Fixture("mva_double.nc"), 1));
    // A damaged HDF5 file on which the HDF5 library frees a wild pointer (found by the
    // fuzzer): refused, and this process lives on.
    EXPECT_FALSE(zm::NetCDF(Fixture("damaged-hdf5-crashes-library.nc")).IsOpen());
    EXPECT_TRUE(zm::NetCDF(Fixture("mva_double.nc")).IsOpen());

    // The library is loaded only for files that begin like classic or HDF5 files, the
    // HDF5 signature standing at the start or after a user block of 512 bytes or more.
    const auto mayBe = [&](const std::string& bytes) {
        std::ofstream(scratch, std::ios::binary) << bytes;
        return zm::MayBeNetCdf(scratch, bytes.size());
    };
    const std::string hdf5("\x89HDF\r\n\x1A\n", 8);
    EXPECT_TRUE(mayBe(whole));
    EXPECT_TRUE(mayBe(hdf5 + std::string(100, '\0')));
    EXPECT_TRUE(mayBe(std::string(2048, 'u') + hdf5));
    EXPECT_FALSE(mayBe(std::string(1000, 'u') + hdf5));
    EXPECT_FALSE(mayBe("a,b\n1,2\n"));
    EXPECT_FALSE(mayBe("CD"));
    std::remove(scratch.c_str());
}

TEST(AndiFileReader, ConstraintsKeepAndAverageRetentionRanges) {
    const std::string file = Fixture("aia_run1.cdf");
    const std::vector<float> values = LibraryFloats(file, "ordinate_values");
    // Points 1.5 + 0.2 i: 2.1 .. 2.9 are i = 3 .. 7.
    float start[] = {2.05f}, end[] = {2.95f};
    USDConstraints constraints;
    constraints.IncludeAllValues = false;
    constraints.IncludeOrdinalValues = true;
    constraints.IncludeXStartPt = start;
    constraints.IncludeXEndPt = end;
    constraints.NumberOfIncludedIntervals = 1;
    constraints.UseAverage = 2;
    ConstraintsRecord options(constraints);
    AndiFileReader reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, file, sink, &options.record), 0) << Message(reader);
    // Five points averaged in pairs: two values, the fifth dropped.
    ASSERT_EQ(sink.cols, 4);
    EXPECT_FLOAT_EQ(sink.Number(3, 3), (values[3] + values[4]) / 2);
    EXPECT_FLOAT_EQ(sink.Number(4, 3), (values[5] + values[6]) / 2);
    EXPECT_EQ(sink.Text(3, 1), "t 2.2");

    // No interval with the filter on keeps no column at all, so a host refuses the sheet.
    constraints.NumberOfIncludedIntervals = 0;
    ConstraintsRecord none(constraints);
    NetCDFFile empty;
    ASSERT_EQ(empty.Open(true, file.c_str(), &none.record), 0) << Message(empty);
    EXPECT_EQ(empty.GetNumCols(), 0);
    EXPECT_EQ(empty.GetNumRows(), 3);

    std::string junk("\x03\0\0\0abc", 7);
    ZmImportOpenOptions bad{static_cast<uint32_t>(junk.size()),
                            reinterpret_cast<unsigned char*>(junk.data())};
    AndiFileReader refused;
    EXPECT_EQ(refused.Open(true, file.c_str(), &bad), kStatusBadOptions);
}

TEST(MvaCDFFileReader, ReadsEveryValueTypeWithItsMissingMarker) {
    NetCDFFile reader;
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, Fixture("mva_float.cdf"), sink), 0) << Message(reader);
    EXPECT_EQ(sink.cols, 7);
    EXPECT_EQ(sink.rows, 5);
    EXPECT_EQ(sink.At(3, 2).via, 'f');
    zmtest::ExpectCells(sink, {{1, 1, "Name"},
                               {2, 1, "Decimal Time"},
                               {3, 1, "alpha"},
                               {7, 1, "epsilon"},
                               {1, 3, "Sample 2"},
                               {2, 3, "1999.833"},
                               {3, 2, 10.25},
                               zmtest::Absent(5, 3),
                               {6, 3, 23.25}});

    // netCDF-4, no value type (doubles), NaN as the marker, columns named by descriptions.
    NetCDFFile doubles;
    zmtest::RecordingSink d;
    ASSERT_EQ(zmtest::ReadAll(doubles, Fixture("mva_double.nc"), d), 0) << Message(doubles);
    EXPECT_EQ(d.At(3, 2).via, 'd');
    zmtest::ExpectCells(d, {zmtest::Absent(4, 2),
                            {5, 2, 12.5},
                            {3, 1, "VAR_1"},
                            {4, 1, "1100"},
                            {6, 1, "1300"},
                            {7, 1, "VAR_5"},
                            {2, 2, "N/A"}});

    // Bytes with a numeric marker and no names; shorts under the spectral names with
    // headers for only some columns; longs from a 64-bit-offset file.
    NetCDFFile bytes;
    zmtest::RecordingSink b;
    ASSERT_EQ(zmtest::ReadAll(bytes, Fixture("mva_byte.cdf"), b), 0) << Message(bytes);
    zmtest::ExpectCells(b, {{1, 3, "Obs_2"}, zmtest::Absent(3, 3), {4, 3, 81.0}});
    EXPECT_EQ(b.At(4, 3).via, 'i');

    // Signed bytes as the library reads them; -5, the marker, is missing wherever it is.
    NetCDFFile signedBytes;
    zmtest::RecordingSink sb;
    ASSERT_EQ(zmtest::ReadAll(signedBytes, Fixture("mva_signed_byte.cdf"), sb), 0)
        << Message(signedBytes);
    {
        int id = -1, var = -1;
        ASSERT_EQ(nc_open(Fixture("mva_signed_byte.cdf").c_str(), NC_NOWRITE, &id), NC_NOERR);
        ASSERT_EQ(nc_inq_varid(id, "observation", &var), NC_NOERR);
        signed char raw[2][5] = {};
        ASSERT_EQ(nc_get_var_schar(id, var, &raw[0][0]), NC_NOERR);
        nc_close(id);
        int negatives = 0;
        for (int o = 0; o < 2; ++o) {
            for (int v = 0; v < 5; ++v) {
                SCOPED_TRACE(testing::Message() << o << "," << v);
                if (raw[o][v] == -5) {
                    EXPECT_FALSE(sb.Has(v + 3, o + 2));
                    continue;
                }
                negatives += raw[o][v] < 0;
                EXPECT_EQ(sb.Number(v + 3, o + 2), raw[o][v]);
            }
        }
        EXPECT_EQ(negatives, 3);
    }

    NetCDFFile shorts;
    zmtest::RecordingSink s;
    ASSERT_EQ(zmtest::ReadAll(shorts, Fixture("mva_short.cdf"), s), 0) << Message(shorts);
    zmtest::ExpectCells(s, {{5, 1, "s3"}, {6, 1, "VAR_4"}, {7, 5, -4400.0}});

    NetCDFFile longs;
    zmtest::RecordingSink l;
    ASSERT_EQ(zmtest::ReadAll(longs, Files({"mva_long.cdf", "mva_float.cdf"}), l), 0);
    EXPECT_EQ(l.rows, 9);
    // The first file's headings.
    zmtest::ExpectCells(l, {{7, 5, 4400000.0}, {3, 1, "VAR_1"}, {3, 6, 10.25}});
}

// A record holding the "Sheets" key, as a host or the command line sets it.
void ChoiceRecord(const char* sheets, ZmImportOpenOptions& record) {
    zm::SettingsDocument document;
    document.SetString("Settings", "Sheets", sheets);
    zm::StoreOptions(&record, document);
}

TEST(MvaCDFFileReader, OffersItsDataVariablesAndReadsTheOneChosen) {
    const std::string file = Fixture("mva_two_variables.cdf");
    // Without a choice "observation" is read, and an empty record receives that choice.
    ZmImportOpenOptions written{0, nullptr};
    NetCDFFile reader;
    ASSERT_EQ(reader.Open(true, file.c_str(), &written), 0) << Message(reader);
    ReadChoices choices;
    ASSERT_TRUE(reader.GetReadChoices(choices));
    EXPECT_EQ(choices.key, "Sheets");
    EXPECT_EQ(choices.available, (std::vector<std::string>{"observation", "baseline"}));
    EXPECT_EQ(choices.chosen, (std::vector<std::string>{"observation"}));
    std::unique_ptr<zm::SettingsDocument> document;
    ASSERT_EQ(zm::DecodeOptions(&written, document), zm::OptionsDecode::kDecoded);
    EXPECT_EQ(document->GetString("Settings", "Sheets"), "observation");
    delete[] written.data;
    reader.Close();

    ZmImportOpenOptions baseline{0, nullptr};
    ChoiceRecord("baseline", baseline);
    zmtest::RecordingSink sink;
    ASSERT_EQ(zmtest::ReadAll(reader, file, sink, &baseline), 0) << Message(reader);
    zmtest::ExpectCells(sink, {{3, 2, -10.0}, {7, 5, -44.0}, {1, 5, "Sample 4"}});
    reader.Close();
    delete[] baseline.data;

    // One variable at a time; a file with one data variable offers none.
    ZmImportOpenOptions both{0, nullptr};
    ChoiceRecord("observation;baseline", both);
    EXPECT_EQ(reader.Open(true, file.c_str(), &both), 2069);
    EXPECT_EQ(Message(reader), "Only one data variable of the file can be read at a time.");
    reader.Close();
    delete[] both.data;
    ASSERT_EQ(reader.Open(true, Fixture("mva_float.cdf").c_str(), nullptr), 0);
    EXPECT_FALSE(reader.GetReadChoices(choices));
}

TEST(NetCDFDamage, DataBeyondTheEndOfAClassicFileIsRefused) {
    // A chromatogram from a real instrument cut at 18,819 of its bytes, and a small one
    // cut to 600 of 720: the header places values past the end, which would read as zeros.
    const struct {
        std::string source;
        size_t keep;
    } cases[] = {
        {std::string(ZM_CORPUS) + "/netcdf/agilent_hplc.cdf", 18819},
        {Fixture("aia_run1.cdf"), 600},
    };
    zmtest::ScratchDir scratch;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.source);
        const std::string whole = zmtest::Slurp(c.source);
        ASSERT_GT(whole.size(), c.keep);
        NetCDFFile intact;
        zmtest::RecordingSink sink;
        ASSERT_EQ(zmtest::ReadAll(intact, c.source, sink), 0) << Message(intact);

        const std::string cut = scratch.Write("cut.cdf", whole.substr(0, c.keep));
        EXPECT_FALSE(zm::NetCDF(cut).IsOpen());
        NetCDFFile reader;
        EXPECT_EQ(reader.Open(true, cut.c_str(), nullptr), NetCDFFile::kNotNetCDFFile);
        EXPECT_EQ(Message(reader), "The file does not seem to be a valid NetCDF file.");
        // As the second of two chromatograms, it is one that is not valid.
        NetCDFFile pair;
        EXPECT_EQ(pair.Open(true, zm::JoinFileNames({c.source, cut}).c_str(), nullptr), 2082);
    }
}

TEST(NetCDFDamage, TheTrialAnswersThroughAPipeAndReadsNoValuesAFileOnlyDeclares) {
    // Run in a child of its own so that the changed SIGCHLD disposition stays there.
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGCHLD, SIG_IGN);
        const bool opens = zm::NetCDF(Fixture("mva_double.nc")).IsOpen();
        const bool crashes = zm::NetCDF(Fixture("damaged-hdf5-crashes-library.nc")).IsOpen();
        _exit(opens && !crashes ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    // 6.5 KB declaring 2^40 doubles: the trial opens it without reading them, the reader
    // refuses the variable.
    EXPECT_TRUE(zm::NetCDF(Fixture("mva_vast_unwritten.nc")).IsOpen());
    NetCDFFile reader;
    EXPECT_EQ(reader.Open(true, Fixture("mva_vast_unwritten.nc").c_str(), nullptr), 2065);
}

}  // namespace
