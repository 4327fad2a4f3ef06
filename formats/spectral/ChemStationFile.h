// Reader of HPLC and GC ChemStation signal files: single-signal chromatograms (".ch") and
// diode-array spectra over time (".uv"), one or several merged into one sheet.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "formats/spectral/SpectrumFile.h"
#include "formats/spectral/USDBase.h"
#include "framework/SprFileFactory.h"
#include "platform/ZmExport.h"

namespace zm::chemstation {

// One chromatogram: a signal over the retention times of its file.
struct Trace {
    std::string label;  // the signal's name, or the wavelength of a diode-array trace
    std::vector<double> values;
};

// What one file holds.
struct Run {
    std::string version;  // "30", "130", "179", "81", "181", "31", "131"
    std::string fileType, sample, method, date, signal, units;
    std::vector<double> times;  // retention times in minutes
    std::vector<Trace> traces;
};

enum class ParseError {
    kNone,
    kNotChemStation,  // no version string of a known kind
    kUnsupported,     // a version this reader does not decode
    kDamaged,         // a header field, offset or value run outside the file
    kNoPoints,        // no data points
};

// Decodes a whole file held in memory. Every offset and count is checked against `size`.
ParseError ParseRun(const uint8_t* data, size_t size, Run& run);

// The version text at the start of a file ("130", ...), or empty when there is none.
std::string VersionOf(const uint8_t* data, size_t size);

}  // namespace zm::chemstation

// Reads ChemStation files: each ".ch" file gives one row, its signal over the retention
// times; each ".uv" file gives one row per wavelength, so that its chromatograms stand
// under the same retention-time headings as those of ".ch" files. Row 1 names the label
// columns ("Primary ID", "Name", "Sample", "Signal") and holds the retention times
// (minutes) of the kept points; optionally row 2 repeats them as numbers. Several files
// merge when their retention times agree.
// Codes: 1536 open failure, 1537 not a ChemStation file, 1538 unsupported version,
// 1539 damaged file, 1540 no data points, 1541 no files, 1542 retention times differ,
// 1543 file too large.
class ZMIMPORT_API ChemStationFile : public SpectrumFile, public USDBase {
  public:
    enum ChemStationStatus {
        kOpenFailed = 1536,
        kNotChemStationFile = 1537,
        kUnsupportedVersion = 1538,
        kDamagedFile = 1539,
        kNoPoints = 1540,
        kNoFiles = 1541,
        kDifferentTimes = 1542,
        kFileTooLarge = 1543,
    };

    ChemStationFile();
    ~ChemStationFile() override;

    void Close() override;

  protected:
    virtual int SetOptions(ZmImportOpenOptions* options);

  private:
    struct FileRecord {
        std::string name;
        zm::chemstation::Run run;
    };

    int EstablishSize() override;
    int OpenFiles(const char* names, ZmImportOpenOptions* options) override;
    int ReadSheet(ReadSpreadSheetData* sink) override;
    std::string StatusText() override;
    // Keeps `detail` for the message and, of several files, the `file` that failed.
    int Fail(int code, const std::string& detail, const std::string& file = "");

    std::vector<FileRecord> files_;
    std::vector<double> times_;  // the first file's retention times
    std::vector<float> pointX_;  // the same as floats, as the constraints see them
    std::string detail_;
};

// Registers the ChemStation format; recognises its files by the version text and the
// extension.
class ChemStationFileFactory : public SprFileFactory {
  public:
    ChemStationFileFactory();

  protected:
    MyKindOfFile IsMyKindOfFile(const char* file) override;
    SpreadsheetFile* GetSpreadsheetFile() override;
};
