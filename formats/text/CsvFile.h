// Reader of comma-separated files with quoting, through CsvParser.
#pragma once

#include <string>

#include "formats/text/TextFileOptions.h"
#include "framework/SpreadsheetFile.h"
#include "platform/ZmExport.h"

// The text options of CSV files: a comma by default, and no consecutive-delimiter flag
// in the stored form.
class ZMIMPORT_API CsvFileOptions : public TextFileOptions {
  public:
    CsvFileOptions() { delimiter = ","; }
    bool UseConsecutiveOption() const override { return false; }
};

// Reads a CSV file (read only). Every line is a row and every field a column, fields
// counted from 1; every field reaches the sink as text. The file is not sized in
// advance: the size query answers 1 x 1 and the true size reaches the sink through
// SetDataSize during Read. Only the first byte of the delimiter option is used.
// Codes: 768 missing file, stream or options failure, 769 the file could not be parsed, 770 opened
// for writing; 771 and 773 keep their texts for hosts.
class ZMIMPORT_API CsvFile : public SpreadsheetFile {
  public:
    enum Status {
        kOpenStreamFailed = 768,
        kReadFailed = 769,
        kCannotWrite = 770,
        kCanceled = 771,
        kNotCsv = 773,
    };

    int Open(bool readMode, const char* file, ZmImportOpenOptions* options) override;
    int Read(ReadSpreadSheetData* sink) override;
    // The file is not sized in advance: the true size reaches the sink during Read;
    // before and after, the answer is 1.
    int GetNumCols() override { return 1; }
    int GetNumRows() override { return 1; }
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    // After a read that lost lines to a quoted field left open at the end, says so.
    const char* GetWarningMessage() override;
    // Proposes ';' when the first line holds more semicolons than commas, else ','.
    char GetDelimiter();

  protected:
    virtual CsvFileOptions GetCsvFileOptions() { return CsvFileOptions(); }

  private:
    int EstablishSize() override;
    void SetOptions(ZmImportOpenOptions* record);

    CsvFileOptions options;
    ZmImportOpenOptions* openOptions = nullptr;
    std::string fileName;
    std::string warning;
};
