// What the spectral readers share: the guarded Open and Read, no size once a status is
// set, the sizing of the sheet and the message of a status.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "framework/SpreadsheetFile.h"
#include "platform/ZmExport.h"

// Base of the spectral readers. Open checks the mode, forgets the size and hands the
// names to OpenFiles; Read hands the sink to ReadSheet; an exception out of either is
// recorded as kStatusUnknownException. Once a status is set, the sheet has no size.
class ZMIMPORT_API SpectrumFile : public SpreadsheetFile {
  public:
    void Close() override;
    int GetNumCols() override;
    int GetNumRows() override;
    int Open(bool readMode, const char* file, ZmImportOpenOptions* options) override;
    int Read(ReadSpreadSheetData* sink) override;
    // The text of StatusText, or the common text of the status when it gives none.
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;

  protected:
    virtual int OpenFiles(const char* names, ZmImportOpenOptions* options) = 0;
    virtual int ReadSheet(ReadSpreadSheetData* sink) = 0;
    // The reader's own text for the stored status, translated; empty for the common codes.
    virtual std::string StatusText() { return std::string(); }
    // The translated `text` with " (detail)" after it when a detail is given; empty for
    // no text.
    static std::string WithDetail(const char* text, const std::string& detail);
    // Sizes the sheet; kStatusSizeFailed when either count is beyond an int.
    int SetSize(long long cols, long long rows);
    void ForgetSize() {
        numCols = numRows = -1;
        sizeEstablished = false;
    }
};

// Copies the text `text` gives into the buffer, or the reader's common text for its
// status when that is empty; a failure (an exception) leaves the buffer empty.
ZMIMPORT_API void CopyStatusText(SpreadsheetFile& reader, const std::function<std::string()>& text,
                                 char* buffer, unsigned int bufferSize);

// Runs `work` unless the reader holds a status (returned as it is); an exception out of
// `work` (a throwing sink, memory) is recorded as kStatusUnknownException.
template <typename Work>
int GuardedCall(SpreadsheetFile& reader, Work&& work) {
    if (reader.GetStatus() != 0)
        return reader.GetStatus();
    try {
        return work();
    } catch (...) {
        return reader.SetUnknownException();
    }
}

namespace zm {

// Spectrum files read whole into memory; larger ones are refused.
constexpr uint64_t kMaxWholeSpectrumFile = uint64_t{1} << 30;
enum class WholeFile { kRead, kNotOpened, kTooLarge };

// Reads a regular file of at most kMaxWholeSpectrumFile bytes into `bytes`; a file cut
// short since its size was taken is read as it is.
ZMIMPORT_API WholeFile ReadWholeFile(const std::string& name, std::vector<uint8_t>& bytes);

}  // namespace zm
