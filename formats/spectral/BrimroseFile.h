// Reader of the binary spectra files of Brimrose near-infrared analysers (".dat").
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "framework/SprFileFactory.h"
#include "framework/SpreadsheetFile.h"
#include "platform/ZmExport.h"

// Reads one file of spectra measured on a common wavelength grid: a 512-byte main
// header, then per spectrum a 128-byte sub-header (time stamp, sample label) and one
// 32-bit float per wavelength. The sheet has a name row ("SampleNo", "DateTime",
// "w<wavelength>"), then one row per spectrum: its sequence number, its local time stamp
// and its values. Read only. Codes: 2816 open failure, 2818/2819/2820 short main
// header, sub-header or data, 2822 not a Brimrose file; 2817 and 2821 have texts only.
class ZMIMPORT_API BrimroseFile : public SpreadsheetFile {
  public:
    enum BrimroseStatus {
        kOpenFailed = 2816,
        kWrongFileMode = 2817,
        kShortMainHeader = 2818,
        kShortSubHeader = 2819,
        kShortData = 2820,
        kCorruptHeader = 2821,
        kNotBrimroseFile = 2822,
    };

    BrimroseFile() = default;
    ~BrimroseFile() override;
    BrimroseFile(const BrimroseFile&) = delete;
    BrimroseFile& operator=(const BrimroseFile&) = delete;

    // True exactly when the first 512 bytes can be read and start with a known magic.
    static bool IsBrimroseFile(const char* file);

    void Close() override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    int Open(bool readMode, const char* file, ZmImportOpenOptions* options) override;
    int Read(ReadSpreadSheetData* sink) override;

  protected:
    // Moves the stream past one spectrum record without reading it.
    bool SkipSpectrum();

  private:
    int EstablishSize() override;
    int ReadSheet(ReadSpreadSheetData* sink);
    // Rewinds and decodes the main header; false on a short read.
    bool ReadMainHeader();
    void SetNameRow(ReadSpreadSheetData* sink);
    int SetDataRow(ReadSpreadSheetData* sink, int row);
    void CloseStream();

    std::FILE* stream_ = nullptr;
    std::unique_ptr<char[]> streamBuffer_;  // stdio buffer; outlives the stream
    float firstWavelength_ = 0;
    float lastWavelength_ = 0;  // kept for completeness; the sheet does not need it
    float increment_ = 0;
    uint16_t points_ = 0;
    uint16_t spectra_ = 0;
    // One spectrum record (sub-header and values); grows once, kept until destruction.
    std::vector<uint8_t> record_;
    std::vector<float> values_;  // the values of the spectrum being written
};

// Registers the Brimrose format and recognises its files by the magic number.
class BrimroseFileFactory : public SprFileFactory {
  public:
    BrimroseFileFactory();

  protected:
    MyKindOfFile IsMyKindOfFile(const char* file) override;
    SpreadsheetFile* GetSpreadsheetFile() override;
};
