// Plain delimited text: one row per line, cells cut at a delimiter string.
#pragma once

#include <string>
#include <string_view>

#include "formats/text/TextFileOptions.h"
#include "framework/SpreadsheetFile.h"

// Reads a delimited text file into a sink and writes a source out as one. Each line is
// a row and each piece between delimiters a cell, delivered as text (the sink decides
// what is a number); no quoting is recognised. The encoding is guessed at open unless
// the options record names one. Codes: 512 (file or options cannot be handled), 513
// (stream failure while reading), 514 (binary file), and the common 2, 3 and 5.
class ZMIMPORT_API TextFile : public SpreadsheetFile {
  public:
    enum Status {
        kOpenFailed = 512,
        kReadFailed = 513,
        kBinaryFile = 514,
    };

    // An empty or null encoding leaves the local code page.
    explicit TextFile(const char* encoding = nullptr);

    // A file is text when it starts with a byte-order mark or its first 30768 bytes
    // hold no zero byte.
    static bool IsTextFile(const char* path);

    int Open(bool readMode, const char* path, ZmImportOpenOptions* options) override;
    int Read(ReadSpreadSheetData* sink) override;
    // Reads the block from (firstCol, firstRow) to (lastCol, lastRow) with `options`;
    // the order of the arguments, last before first, is part of the interface.
    int Read(ReadSpreadSheetData* sink, int lastCol, int lastRow, int firstCol, int firstRow,
             const TextFileOptions& options);
    int Write(WriteSpreadSheetData* source) override;
    void Close() override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;

    void SetDelimiter(const char* delimiter);
    void IgnoreConsecutiveDelimiters(bool ignore);

  protected:
    void SetOptions(ZmImportOpenOptions* record);
    // Cuts the next cell from a zero-terminated line at `*cursor`: ends it in place with
    // a zero byte and moves the cursor past the delimiter. Null when no cell is left.
    char* GetCell(char** cursor, const TextFileOptions& options);
    // The options written into an empty options record; derived readers give their own.
    virtual TextFileOptions GetTextFileOptions();

    // Finds the end of the cell that starts at `cursor` in [cursor, end) and returns where
    // the next cell starts (`end` when the cell runs to the end of the line).
    static const char* NextCell(const char* cursor, const char* end, std::string_view delimiter,
                                bool ignoreConsecutive, const char** cellEnd);
    static int CountCells(std::string_view line, std::string_view delimiter,
                          bool ignoreConsecutive);

    TextFileOptions options;
    std::string fileName;
    int mode = 0;                          // 0 not opened, 1 reading, 2 writing
    unsigned char* optionsData = nullptr;  // the record the defaults went into; not owned

    // Sizes the table from the file; derived readers with another source call it for
    // their plain-text case.
    int EstablishSize() override;
};
