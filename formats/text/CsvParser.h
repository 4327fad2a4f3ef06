// Character-level CSV parser: quoted fields, doubled quotes, line breaks inside quotes
// and an optional escape character, driven by a CsvDialect.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "formats/text/CsvDialect.h"
#include "formats/text/CsvRows.h"
#include "framework/SpreadSheetData.h"
#include "platform/ZmExport.h"

// Parses a whole file (or text) into memory in the constructor; GetData then hands the
// rows to a sink, every field as text. A quoted line break reaches the field as one
// line feed. An unterminated quoted field at the end of the input is dropped together
// with its row. A strict dialect throws zm::Exception on text after a closing quote.
class ZMIMPORT_API CsvParser {
  public:
    // Reads the file through a text stream in `encoding` (a key of the encoding table;
    // empty for the local code page). Parsing stops once `maxRows` rows are finished.
    CsvParser(const CsvDialect& dialect, const std::filesystem::path& path,
              const std::string& encoding, int maxRows);
    // Parses UTF-8 text held in memory. `byCodePoint` forces the one-character-at-a-time
    // route even where the dialect allows the faster byte scanning.
    CsvParser(const CsvDialect& dialect, std::string_view utf8, int maxRows,
              bool byCodePoint = false);
    CsvParser(const CsvParser&) = delete;
    CsvParser& operator=(const CsvParser&) = delete;

    // Sizes the sink (columns first) and delivers every field of the first `maxRows`
    // rows within the first `maxCols` columns. Nothing at all when there is no row.
    void GetData(ReadSpreadSheetData& sink, int maxCols, int maxRows) const;

    // Lines at the end of the input lost with an unterminated quoted field (0: none).
    size_t DroppedLines() const { return droppedLines; }
    // True when the file could not be opened as text in the encoding.
    bool StreamFailed() const { return streamFailed; }
    // The error number of a read of the file that failed (not its end); 0 when none did.
    // What came before it is all the parser holds.
    int ReadError() const { return readError; }
    // Zero bytes (NUL) of the input, each held as U+FFFD in its field.
    size_t NulBytes() const { return nulBytes; }
    size_t RowCount() const { return rows.RowCount(); }
    size_t LongestRow() const { return rows.LongestRow(); }

  private:
    void ParseFile(const std::filesystem::path& path, const std::string& encoding);
    void ParseUtf8(std::string_view utf8, bool byCodePoint);
    void BuildScanTables();
    // Whether every special character is ASCII and the input can be scanned as UTF-8
    // bytes: multi-byte sequences then never meet a special character.
    bool CanScanBytes() const;
    void ProcessBytes(const unsigned char* p, const unsigned char* end);
    // ProcessBytes over UTF-8 text, with zero bytes replaced first.
    void ProcessScannable(std::string_view utf8);
    char32_t ReplaceNul(char32_t c);
    // Appends the ordinary bytes [p, q) to the field; the input runs on to `end`.
    void AppendRun(const unsigned char* p, const unsigned char* q, const unsigned char* end);
    void ProcessOrdinaryByte(unsigned char byte);
    void ProcessCodePoint(unsigned codePoint);
    void AddCodePoint(unsigned codePoint);
    void AddRow(bool force);
    void AddValueToCurrentRow();
    void EndOfLine(unsigned codePoint);
    void Finish();
    [[noreturn]] void ThrowStrictError() const;

    CsvDialect dialect;
    unsigned state = 1;
    size_t droppedLines = 0;
    CsvRows rows;
    int maxRows;
    bool stopped = false;
    bool streamFailed = false;
    int readError = 0;
    size_t nulBytes = 0;
    // Bytes that end a run of ordinary characters in an unquoted and a quoted field.
    bool unquotedStop[256] = {};
    bool quotedStop[256] = {};
    // Bytes that are not simply the first character of an unquoted field.
    bool startStop[256] = {};
    unsigned char unquotedBytes[4] = {};
    unsigned char quotedBytes[4] = {};
    unsigned fastDelimiter = 256;
    unsigned fastQuote = 256;
};
