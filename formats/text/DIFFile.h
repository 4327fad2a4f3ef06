// Reader and writer of the Data Interchange Format (DIF).
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "formats/text/TextFileOptions.h"
#include "framework/SpreadsheetFile.h"
#include "platform/ZmExport.h"

namespace zm {
class TextStream;
}

// The text options of DIF files: only the encoding is stored.
class ZMIMPORT_API DifFileOptions : public TextFileOptions {
  public:
    bool UseDelimiterOption() const override { return false; }
    bool UseConsecutiveOption() const override { return false; }
};

// Reads and writes DIF: a header of three-line entries (TABLE, VECTORS, TUPLES, ...,
// DATA) and then two-line data records grouped into tuples. Each tuple is a row and each
// value in it a column; every cell reaches the sink as text (numbers as written, TRUE
// and FALSE as "1" and "0", NA and ERROR as empty cells). A file whose first tuple has
// as many values as TUPLES says, rather than VECTORS, is sized transposed.
// Codes: 768 stream failure, 769 bad header, 770 bad record; 771 keeps its text.
class ZMIMPORT_API DIFFile : public SpreadsheetFile {
  public:
    enum Status {
        kOpenStreamFailed = 768,
        kHeaderError = 769,
        kRecordError = 770,
        kUnicodeFile = 771,
    };

    // `encoding` is the key used when writing; null or empty for the local code page.
    explicit DIFFile(const char* encoding = nullptr);
    ~DIFFile() override;

    void Close() override;
    int Open(bool readMode, const char* file, ZmImportOpenOptions* options) override;
    int Read(ReadSpreadSheetData* sink) override;
    // Reads rows up to `lastRow` and columns up to `lastCol` with `options`' encoding.
    int Read(ReadSpreadSheetData* sink, int lastCol, int lastRow, const DifFileOptions& options);
    int Write(WriteSpreadSheetData* source) override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    // After a read that stopped at the announced row count with rows left, says so.
    const char* GetWarningMessage() override;

    // Content test: a DIF file starts with a TABLE entry.
    static bool IsDIFFile(const char* path);

  protected:
    enum EntryKind { kTable = 1, kVectors = 2, kTuples = 3, kData = 4, kOtherEntry = 9 };
    enum RecordKind {
        kBadRecord = 0,
        kBeginTuple = 5,
        kEndOfData = 6,
        kStringValue = 7,
        kNumericValue = 8,
        kMissingValue = 9,
        kIgnoredRecord = 10,
    };

    virtual bool WriteString(const char* text, size_t length);
    virtual DifFileOptions GetDifFileOptions() { return DifFileOptions(); }

    // Reopens the stream and reads entries up to DATA; 0 or 769.
    int ReadHeader();
    // One three-line entry: its kind, its numeric value and its string; 0 or 769.
    int ReadDIFHeaderEntry(int& kind, long long& number, std::string& text);
    // One two-line record; the cell text is left in `stringValue`.
    int ReadDIFRecord();
    // The next line, a view into the stream valid until the next call.
    bool GetLine(std::string_view& text);
    // Stores the read error of the stream when a read failed, else `code`.
    int Failure(int code);

    std::string stringValue;  // the cell text of the last string or numeric record

  private:
    int EstablishSize() override;
    void SetOptions(ZmImportOpenOptions* record);
    bool OpenStream(const std::string& encoding, bool forReading);
    // Header counts that the file's length can hold; others are rescanned.
    bool PlausibleCounts(long long cols, long long rows) const;
    // Counts tuples and their largest width when the header cannot be trusted; 0 or 770.
    int ScanSize();
    // Counts the tuples from the one just begun to the end of the data.
    long long CountRemainingTuples();

    std::unique_ptr<zm::TextStream> stream;
    std::string title;
    std::string_view line;
    std::string warning;
    std::string vectorPart;
    std::string valuePart;
    std::string fileName;
    std::string writeEncoding;
    int mode = 0;
    DifFileOptions options;
    long long headerCols = 0;
    long long headerRows = 0;
};
