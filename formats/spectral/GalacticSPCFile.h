// Reader of Galactic SPC spectrum files (".spc"), one or several merged into one sheet.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "formats/spectral/SpectrumFile.h"
#include "formats/spectral/USDBase.h"
#include "framework/SprFileFactory.h"
#include "platform/ZmExport.h"

class SpectrumSheet;

// Reads SPC files of the little-endian new format (version byte 'K', 512-byte header,
// a 32-byte header before each sub-file) and the old format ('M', 256-byte header, one
// spectrum, or as many 32-byte headed sub-files as its size holds when it is marked
// multi-file). Y values are 16-bit or 32-bit integers scaled by a power-of-two exponent,
// or IEEE floats; x is evenly spaced or one x array shared by all sub-files. Several
// files with the same x axis become one sheet: a name row ("Primary ID", "Name", the
// date or z heading, the kept x values), optionally a row of x values, then one row per
// sub-file with its title, its date or z, and its y values at the kept x points.
// Codes: 2560 open failure, 2561 a file vanished before reading, 2562 not an SPC file
// (or shorter than its header claims), 2563 big-endian variant, 2564 short header,
// 2565 old file with uneven x, 2566 no files, 2567 x axes differ, 2568 one x array per
// sub-file, 2569 x arrays differ.
class ZMIMPORT_API GalacticSPCFile : public SpectrumFile, public USDBase {
  public:
    enum GalacticSPCStatus {
        kOpenFailed = 2560,
        kReadFailed = 2561,
        kNotSPCFile = 2562,
        kUnsupportedVersion = 2563,
        kShortHeader = 2564,
        kUnevenOldFormat = 2565,
        kNoFiles = 2566,
        kDifferentSpacing = 2567,
        kXYPerSubFile = 2568,
        kDifferentXValues = 2569,
    };

    GalacticSPCFile();
    ~GalacticSPCFile() override;

    void Close() override;
    // Set when an old multi-file file's size is no whole number of sub-files.
    const char* GetWarningMessage() override;

    // One line per opened file: its name and its points, x range and spacing, or its
    // number of sub-files.
    void GetFileList(std::vector<std::string>& list);
    // Keeps the files at these 0-based indices (in the order opened); an empty list keeps
    // all. -1 when in error or no files are open, else 0.
    int SelectFilesToImport(const std::vector<int>& indices);
    // Called first by SetOptions; a host may override it to let the user choose files.
    virtual int SelectFiles();
    // Merges the x axes of the files: the first file's first x and spacing must hold for
    // all (relative comparison); the greatest last x and point count are kept.
    int CheckFiles();
    // The default constraints: everything kept, one interval over the merged x range.
    virtual int GetUSDConstraints(USDConstraints* constraints);

    double GetFirstPoint() const { return firstX_; }
    double GetLastPoint() const { return lastX_; }
    double GetPointSpacing() const { return spacing_; }

    // The unit text of an x type code; the table also names the z axis.
    static std::string XTypeText(int code);
    // The day itself when below 28, else the length of the month; -1 for no month.
    static int GetDaysInMonth(int day, int month, int year);

  protected:
    // Reads the constraints from the options record (defaults when it is empty) and
    // writes the constraints in force back into it.
    virtual int SetOptions(ZmImportOpenOptions* options);

  private:
    struct FileRecord {
        std::string name;
        double firstX = 0;
        double lastX = 0;
        double spacing = 0;
        int32_t points = 0;
        int32_t subFiles = 0;
        // Bytes after the last whole sub-file of an old multi-file file: its size then
        // does not say for sure how many sub-files it holds.
        uint64_t leftOver = 0;
    };
    struct FileCloser {
        void operator()(std::FILE* f) const { std::fclose(f); }
    };
    using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

    int EstablishSize() override;
    int OpenFiles(const char* names, ZmImportOpenOptions* options) override;
    int ReadSheet(ReadSpreadSheetData* sink) override;
    std::string StatusText() override;
    // Decodes the main header (and the x array) of an open file into the header state
    // and `record`; returns 0 or the refusal code. Leaves the file at the first sub-file.
    int ReadHeaderInfo(std::FILE* file, FileRecord& record);
    int ReadNewHeader(std::FILE* file, const uint8_t* header, uint64_t fileSize,
                      FileRecord& record);
    int ReadOldHeader(const uint8_t* header, uint64_t fileSize, FileRecord& record);
    // Reads the header before one sub-file and works out its z value and exponent.
    int ReadSubHeaderInfo(std::FILE* file);
    // Reads and scales one sub-file's y values into values_.
    int ReadValues(std::FILE* file, int32_t count);

    // Reads every header again, rebuilding the shared x array from the files kept.
    int RereadHeaders();
    int SetFileRows(SpectrumSheet& sheet, ReadSpreadSheetData* sink, const FileRecord& record,
                    int& row);
    std::string ZHeading() const;
    // Column 3 of a sub-file row: a date, an elapsed time, or z.
    void SetDateCell(ReadSpreadSheetData* sink, int row, bool multiSpectrum) const;

    void SetCountWarning();

    std::vector<FileRecord> files_;
    std::string warning_;
    double firstX_ = 0;
    double spacing_ = 0;
    double lastX_ = 0;
    int32_t points_ = 0;

    // State of the header being read.
    bool oldFormat_ = false;
    bool yFloat_ = false;
    bool multiFile_ = false;
    bool zEvenlySpaced_ = false;
    bool y32Bit_ = true;
    int yExponent_ = 0;  // the header's; a sub-file's replaces it in multi-file files
    int subExponent_ = 0;
    uint8_t typeCodes_[4] = {0, 0, 0, 0};  // x, y, z and post-processing codes
    uint32_t date_ = 0;
    float zIncrement_ = 0;
    float firstZ_ = -1;
    float currentZ_ = -1;
    std::string xLabel_;
    std::vector<float> xValues_;  // empty when the files have evenly spaced x

    // The x of every column position, and the y values of the sub-file being read.
    std::vector<float> columnX_;
    std::vector<float> values_;
    std::vector<uint8_t> bytes_;
    static constexpr size_t kReadBufferSize = size_t{1} << 18;
    std::unique_ptr<char[]> readBuffer_;  // the stream buffer of the file being read
};

// Registers the SPC format; recognises its files by the version byte and the extension.
class GalacticSPCFileFactory : public SprFileFactory {
  public:
    GalacticSPCFileFactory();

  protected:
    MyKindOfFile IsMyKindOfFile(const char* file) override;
    SpreadsheetFile* GetSpreadsheetFile() override;
};
