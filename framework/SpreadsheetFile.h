// Abstract reader/writer of one file format, with sticky status codes.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "framework/SpreadSheetData.h"
#include "framework/ZmImportTypes.h"
#include "platform/ZmExport.h"

// Codes shared by every format; each format numbers its own codes in a block of its own.
enum ZmCommonStatus {
    kStatusOk = 0,
    kStatusNotImplemented = 1,
    kStatusSizeFailed = 2,
    kStatusWrongMode = 3,
    kStatusAborted = 4,
    kStatusBadOptions = 5,
    // An exception that was not the file's fault (a throwing sink, memory) ended the call.
    kStatusUnknownException = 6,
    // The file named is not a regular file (a FIFO, a device, a directory).
    kStatusNotRegularFile = 40,
    // Reading the file failed in the system (not its end): the system's text says why.
    kStatusReadError = 41,
};

// What a file opened for reading offers to choose from when it holds several sheets,
// matrices, blocks or variables, and which of them this opening reads.
struct ReadChoices {
    std::string key;                     // the settings key that chooses, e.g. "Sheets"
    std::string noun;                    // what one of them is: "sheet", "variable", ...
    std::vector<std::string> available;  // every one, in file order
    std::vector<std::string> chosen;     // the ones this opening reads
    bool sideBySide = false;             // several are read side by side, not stacked
    std::string labels;  // what names the rows and columns read, e.g. "rows labelled by OBSNAM"
    // What the file holds that the reader cannot read: each one's name and kind.
    std::vector<std::pair<std::string, std::string>> passedOver;
};

// One object per opened file. Calling order for reading: Open(true, ...) ->
// GetNumCols/GetNumRows (which size the table once) -> Read(sink) -> Close. Every
// operation first returns a nonzero stored status unchanged; Close clears it.
class ZMIMPORT_API SpreadsheetFile {
  public:
    SpreadsheetFile() = default;
    SpreadsheetFile(const SpreadsheetFile&) = default;
    SpreadsheetFile& operator=(const SpreadsheetFile&) = default;

    virtual ~SpreadsheetFile();
    virtual void Close();
    virtual int GetNumCols();
    virtual int GetNumRows();
    virtual int GetStatus();
    virtual void GetErrorMessage(char* buffer, unsigned int bufferSize) = 0;
    virtual const char* GetWarningMessage();
    virtual ZmImportOpenOptions* GetFileReadOptions(const char* file, bool flag);
    virtual int Open(bool readMode, const char* file, ZmImportOpenOptions* options) = 0;
    virtual int Read(ReadSpreadSheetData* sink) = 0;
    virtual const char* GetReadFile();
    virtual int Write(WriteSpreadSheetData* source);
    virtual int operator!() const;
    virtual void SetImportSpec(ImportSpecBase* importSpec);
    // After Open: what the file offers to choose from; false when it offers no choice.
    virtual bool GetReadChoices(ReadChoices& choices);
    // After a failed Open or Read of several files: the one that failed, or null when the
    // failure is not one file's.
    virtual const char* GetFailedFile();

    // Records that an operation ended in an exception nobody could explain; an earlier
    // status stays. Returns the stored status.
    int SetUnknownException() { return SetStatus(kStatusUnknownException); }

    // Refuses, before the reader opens anything, names (joined as for Open) of which
    // one exists but is not a regular file; such a file could block the read forever
    // or never end. Returns the stored status: kStatusNotRegularFile on refusal.
    int RefuseIrregularInput(const char* files);

  protected:
    // Records that reading failed in the system with `errorNumber` (errno); an earlier
    // status stays. Returns the stored status.
    int SetReadError(int errorNumber);

  private:
    virtual int EstablishSize() = 0;

  protected:
    // Stores `code` unless an earlier error is already stored; returns the stored status.
    int SetStatus(int code) {
        if (status == 0)
            status = code;
        return status;
    }

    int numCols = -1;
    int numRows = -1;
    bool sizeEstablished = false;
    int status = 0;
    // The detail of kStatusNotRegularFile and kStatusReadError.
    std::string failureText;
    // Of several files read together, the one a failure came from ("" for none).
    std::string failedFile;
};
