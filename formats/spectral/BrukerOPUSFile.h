// Reader of Bruker OPUS spectrum files (FT-IR, FT-NIR and FT-Raman instruments), one or
// several merged into one sheet.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "formats/spectral/SpectrumFile.h"
#include "formats/spectral/USDBase.h"
#include "framework/SprFileFactory.h"
#include "platform/ZmExport.h"

namespace zm::opus {

// One entry of the block directory: four type bytes, the length and the byte offset.
struct DirectoryEntry {
    uint8_t type[4] = {0, 0, 0, 0};  // block, channel, text and additional type
    uint32_t words = 0;              // length in 4-byte words
    uint32_t offset = 0;
};

// A spectrum (or interferogram) block together with what its parameter block says.
struct SpectrumBlock {
    std::string name;  // "AB", "ScSm", "IgRf", ...; a second block of a name gets "#2"
    DirectoryEntry entry;
    int32_t points = 0;   // NPT
    double firstX = 0;    // FXV
    double lastX = 0;     // LXV
    double scale = 1;     // CSF
    int32_t format = 1;   // DPF: 1 float32, 2 int32
    std::string xUnits;   // DXU
    std::string date;     // DAT and TIM
    bool series = false;  // far more words than points: a series of spectra (3-D data)
};

// What the header, the directory and the parameter blocks of one file say.
struct FileLayout {
    std::vector<DirectoryEntry> entries;
    std::vector<SpectrumBlock> spectra;
    std::string sampleName;  // SNM of the sample block
};

// Status of the layout parse; the reader turns these into its error codes.
enum class LayoutError {
    kNone,
    kNotOpus,        // no magic number
    kBadDirectory,   // directory pointer or entry count outside the file
    kBlockOutside,   // a block reaches past the end of the file
    kBadParameters,  // a parameter block runs past its own end
    kBadPointCount,  // NPT below 1, or more points than the data block holds
};

// The name of a data block's kind from its type bytes, or empty for a block that holds
// no spectrum (parameters, texts, the directory itself).
std::string SpectrumKindName(const uint8_t type[4]);

// Parses the header, the directory and the parameters of the data blocks of an OPUS
// file held in memory. Every offset and count is checked against `size`.
LayoutError ParseLayout(const uint8_t* data, size_t size, FileLayout& layout);

// The y values of one data block, multiplied by its scaling factor.
bool ReadSpectrum(const uint8_t* data, size_t size, const SpectrumBlock& block,
                  std::vector<double>& y);

// True when the bytes start like an OPUS file and its directory lies inside `size`.
bool HasOpusDirectory(const uint8_t* data, size_t size, uint64_t fileSize);

}  // namespace zm::opus

class SpectrumSheet;

// Reads OPUS files: the data block chosen by the "DataBlock" option (by default the
// absorbance block "AB" when the first file has one, else its first spectrum block) of
// each file becomes one sheet row. Row 1 names the label columns ("Primary ID", "Name",
// "Sample", "Date") and holds the x values of the kept points; optionally row 2 repeats
// the x values as numbers. The interpolated variant resamples every file onto the first
// file's x grid; the plain one refuses files whose grids differ.
// Codes: 3072 open failure, 3073 not an OPUS file, 3074 damaged directory, 3075 block
// outside the file, 3076 damaged parameter block, 3077 bad point count, 3078 no spectrum
// block, 3079 chosen block missing from a file, 3080 x grids differ, 3081 no files,
// 3082 file too large, 3083 the chosen block is a series of spectra (not read).
class ZMIMPORT_API BrukerOPUSFile : public SpectrumFile, public USDBase {
  public:
    enum BrukerOPUSStatus {
        kOpenFailed = 3072,
        kNotOpusFile = 3073,
        kBadDirectory = 3074,
        kBlockOutside = 3075,
        kBadParameters = 3076,
        kBadPointCount = 3077,
        kNoSpectrum = 3078,
        kMissingBlock = 3079,
        kDifferentGrids = 3080,
        kNoFiles = 3081,
        kFileTooLarge = 3082,
        kSeriesBlock = 3083,
    };

    explicit BrukerOPUSFile(bool interpolate = false);
    ~BrukerOPUSFile() override;

    void Close() override;

    // The names of the spectrum blocks of the first file, in directory order.
    std::vector<std::string> BlockNames() const;
    const std::string& ChosenBlock() const { return chosen_; }

  protected:
    virtual int SetOptions(ZmImportOpenOptions* options);

  private:
    struct FileRecord {
        std::string name;
        zm::opus::FileLayout layout;
        const zm::opus::SpectrumBlock* block = nullptr;  // the chosen block
    };

    int EstablishSize() override;
    int OpenFiles(const char* names, ZmImportOpenOptions* options) override;
    int ReadSheet(ReadSpreadSheetData* sink) override;
    std::string StatusText() override;
    int LoadFile(const std::string& name, std::vector<uint8_t>& bytes);
    // Picks the chosen block in every file and checks their x grids.
    int ChooseBlocks();
    int SetFileRow(SpectrumSheet& sheet, ReadSpreadSheetData* sink, const FileRecord& record,
                   int row);
    // Keeps `detail` for the message and, of several files, the `file` that failed.
    int Fail(int code, const std::string& detail, const std::string& file = "");

    bool interpolate_;
    std::vector<FileRecord> files_;
    std::string chosen_;
    std::string detail_;          // file names or block names the error message quotes
    std::vector<double> gridX_;   // x of every point of the first file's chosen block
    std::vector<float> pointX_;   // the same as floats, as the constraints see them
    std::vector<uint8_t> bytes_;  // the file being read
};

// Registers the plain OPUS format; recognises its files by content alone.
class BrukerOPUSFileFactory : public SprFileFactory {
  public:
    BrukerOPUSFileFactory();

  protected:
    MyKindOfFile IsMyKindOfFile(const char* file) override;
    SpreadsheetFile* GetSpreadsheetFile() override;
};

// Registers the interpolating variant of the OPUS reader.
class BrukerOPUSInterpolatedFileFactory : public SprFileFactory {
  public:
    BrukerOPUSInterpolatedFileFactory();

  protected:
    MyKindOfFile IsMyKindOfFile(const char* file) override;
    SpreadsheetFile* GetSpreadsheetFile() override;
};
