// A reader whose results a test chooses, for exercising the reader base and the
// exported functions without depending on any real format.
#pragma once

#include <string>

#include "framework/SpreadsheetFile.h"
#include "platform/ErrorText.h"

namespace zmtest {

class ScriptedReader : public SpreadsheetFile {
  public:
    int openResult = 0, sizeResult = 0, sizeCalls = 0, cols = 3, rows = 7;
    std::string ownText;  // text of code 900, this reader's own code
    const char* warning = nullptr;

    void GetErrorMessage(char* buffer, unsigned int bufferSize) override {
        if (status == 900)
            return zm::CopyErrorText(ownText, buffer, bufferSize);
        SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
    }
    const char* GetWarningMessage() override { return warning; }
    const char* GetReadFile() override { return "Sheet 1"; }
    int Open(bool, const char*, ZmImportOpenOptions*) override {
        return status != 0 ? status : SetStatus(openResult);
    }
    // Delivers one cell of each kind into the first row, then a whole number column.
    int Read(ReadSpreadSheetData* sink) override {
        if (status != 0 || GetNumCols() < 0)
            return status;
        sink->SetDataSize(numCols, numRows);
        sink->Set(1, 1, "id");
        sink->Set(2, 1, 2.5f);
        sink->Set(3, 1, 1234567.0);
        for (int r = 2; r <= numRows; ++r)
            sink->Set(1, r, r);
        return 0;
    }
    void Fail(int code) { status = code; }
    bool SizeEstablished() const { return sizeEstablished; }

  private:
    int EstablishSize() override {
        ++sizeCalls;
        if (status != 0 || sizeResult != 0)
            return status != 0 ? status : SetStatus(sizeResult);
        numCols = cols;
        numRows = rows;
        sizeEstablished = true;
        return 0;
    }
};

}  // namespace zmtest
