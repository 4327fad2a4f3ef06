// Reader of ANDI/AIA chromatograms in netCDF files, one or several merged into one sheet.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "formats/spectral/SpectrumFile.h"
#include "formats/spectral/USDBase.h"
#include "platform/RawArray.h"
#include "platform/ZmExport.h"

namespace zm {
class NetCDF;
}
class SpectrumSheet;

// Each file holds one chromatogram sampled at a uniform interval after a delay; its peak
// table gives the default retention-time ranges. Files read together must share the
// sampling interval and the delay. The sheet: a name row ("Primary ID", "Name", one "t"
// heading per kept retention time), optionally a row of retention times, then one row per
// file with its title, its sample name and its detector values.
// Codes: 2080 file missing, 2081 no files, 2082 not an ANDI chromatogram, 2084 attributes
// missing or unusable, 2085 non-uniform sampling, 2086 nothing selected, 2087 sampling
// intervals differ, 2089 delays differ (2083 and 2088 share texts with 2082 and 2087).
class ZMIMPORT_API AndiFileReader : public SpectrumFile, public USDBase {
  public:
    enum AndiStatus {
        kOpenFailed = 2080,
        kReadFailed = 2081,
        kNotAndiFile = 2082,
        kNotAIAFile = 2083,
        kAttributeError = 2084,
        kNonUniformSampling = 2085,
        kNoFilesSelected = 2086,
        kDifferentSampling = 2087,
        kDifferentSamplingToo = 2088,
        kDifferentDelay = 2089,
    };

    AndiFileReader();
    ~AndiFileReader() override;

    void Close() override;

    // The shared sampling interval and delay of the selected files; the check fails when
    // the files differ in either (relative comparison), or none is selected.
    int CheckFiles();
    // Selects or leaves out the file at 0-based `index` (in the order opened).
    void SelectFile(int index, bool selected);
    // Selects exactly the files at these 0-based indices.
    void SelectFilesToImport(const int* indices, int count);
    // Reads a file's header into a new file record; the first failure ends it.
    virtual int ExtractNecessaryFileInformation(const char* file);

    // The constraints in force by default: everything kept, one interval per peak of the
    // first selected file's peak table, or one over the whole run without peaks.
    virtual int GetUSDConstraints(USDConstraints* constraints);
    int GetDefaultUSDConstraints(USDConstraints* constraints);
    // The peak table's start and end times: with n = -1 only their number, otherwise up to
    // n of them written into the arrays, returning how many.
    int GetDefaults(float* start, float* end, long n);
    int GetDefaults(float* start, float* end, int n) override {
        return GetDefaults(start, end, static_cast<long>(n));
    }

    float GetSamplingInterval() const { return samplingInterval_; }
    float GetRangeMinimum() const { return rangeMinimum_; }
    float GetRangeMaximum() const { return rangeMaximum_; }
    // True when more than one file was given to Open.
    bool IsMultiSelection() const { return std::max(namesGiven_, files_.size()) > 1; }

  protected:
    struct FileInfo {
        std::string name;
        std::string sampleName;
        float runTimeLength = 0;
        float samplingInterval = 0;
        float delayTime = 0;
        long long points = 0;
        std::string retentionUnit = "seconds";
        bool selected = true;
    };

    // Reads the constraints from the options record (defaults when it is empty) and
    // writes the defaults back into an empty record.
    virtual int SetOptions(ZmImportOpenOptions* options);
    // Writes the kept detector values of one chromatogram into the sheet's current row,
    // reading them in chunks.
    int ReadNetCDFFile(const zm::NetCDF& cdf, const FileInfo& file, SpectrumSheet& sheet);

    std::vector<FileInfo> files_;
    size_t namesGiven_ = 0;

  private:
    int EstablishSize() override;
    int OpenFiles(const char* names, ZmImportOpenOptions* options) override;
    int ReadSheet(ReadSpreadSheetData* sink) override;
    std::string StatusText() override;
    const FileInfo* FirstSelected() const;
    // The retention times of grid points 0..count-1, the same way GetNumCol works them
    // out.
    void GridPoints(float* out, size_t count) const;

    float samplingInterval_ = 0;
    float rangeMinimum_ = 0;
    float rangeMaximum_ = 0;
    long long points_ = 0;
    std::string retentionUnit_ = "seconds";
    // The retention time of every grid point: a long chromatogram's millions, kept in
    // memory the next read may reuse.
    zm::RawArray<float> gridX_;
    std::vector<float> chunk_;
};
