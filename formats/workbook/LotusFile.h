// Lotus 1-2-3 release 1A and 2.x worksheets and Symphony worksheets (.wks, .wk1, .wrk, .wr1).
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "framework/SpreadsheetFile.h"
#include "platform/ZmExport.h"

namespace zm {
class CodePageText;
}

// Reads the one worksheet of a 1-2-3 release 1A/2.x or Symphony file: a stream of records
// (16-bit type, 16-bit length, data, all little-endian) from BOF to EOF. INTEGER, NUMBER,
// LABEL and FORMULA records become cells at their own column and row; a formula gives its
// cached result. The RANGE record sizes the table. Later Lotus formats (WK3, WK4, 123
// workbooks, 1-2-3/J, FRM) are recognised by their BOF only to be refused with their own
// message. Codes 2304-2315; reads only.
class ZMIMPORT_API LotusFile : public SpreadsheetFile {
  public:
    enum Status {
        kOpenFailed = 2304,
        kNotLotus = 2305,
        kLotusWk3 = 2306,
        kLotusWk4 = 2307,
        kLotusWj1 = 2308,
        kLotusFrm = 2309,
        kLotusWorkbook = 2310,
        kUnknownVersion = 2311,
        kNoSize = 2312,
        kUnexpectedEof = 2313,
        kReadFailed = 2314,
        kCorruptRecord = 2315,
    };

    // Record types of the worksheet stream.
    enum RecordType : uint16_t {
        kBof = 0,
        kEof = 1,
        kRange = 6,
        kInteger = 13,
        kNumber = 14,
        kLabel = 15,
        kFormula = 16,
    };

    LotusFile();
    LotusFile(const LotusFile& other);
    LotusFile& operator=(const LotusFile& other);
    ~LotusFile() override;

    int Open(bool readMode, const char* file, ZmImportOpenOptions* options) override;
    void Close() override;
    int GetNumRows() override;
    int GetNumCols() override;
    int Read(ReadSpreadSheetData* sink) override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    const char* GetWarningMessage() override;

    // The version test on the first bytes of a file (its BOF record): 0 for a worksheet
    // this reader reads, otherwise the code that refuses it.
    static int IsLotusFile(const uint8_t* head, size_t size);
    static int IsLotusFile(const char* file);
    // False for the bit patterns 1-2-3 stores instead of a number: ERR, NA and a formula's
    // text result are all kept with an exponent of all ones (NaN or infinity).
    static bool IsValidDouble(double value);

    static int16_t GetInt16(const uint8_t* data, size_t offset);
    static uint16_t GetUInt16(const uint8_t* data, size_t offset);
    static int32_t GetInt32(const uint8_t* data, size_t offset);
    static double GetDouble(const uint8_t* data, size_t offset);

  private:
    // One decoded cell record.
    struct Cell {
        enum Kind { kInt, kDouble, kText } kind = kInt;
        int col = 0;  // 0-based, as in the file
        int row = 0;
        int integer = 0;
        double number = 0;
        std::string text;  // UTF-8
    };

    int EstablishSize() override;
    int OpenStream(const char* file);
    // Moves to the start of the file for a walk over its records.
    bool Rewind();
    // The next record's header; 0, kUnexpectedEof or kReadFailed.
    int ReadRecordTypeAndLength(uint16_t& type, uint16_t& length);
    // The next `length` bytes into `record`; 0, kUnexpectedEof or kReadFailed.
    int ReadRecordData(uint16_t length);
    // Walks from the start to the first record of `type` before EOF and copies its data;
    // 0 when found, otherwise the code of what ended the walk (kNoSize at EOF).
    int FindLotusRecord(uint16_t type, std::vector<uint8_t>& buffer, uint16_t& length);
    // Decodes the cell record of `type` held in `record`; false when its fields do not fit.
    bool DecodeCell(uint16_t type, uint16_t length, Cell& cell, bool wantValue) const;
    // A formula's cached result: a number when it is one, otherwise an empty text.
    void ReadFormula(Cell& cell) const;
    // The widest column and row any cell record within the grid reaches, by a walk to EOF
    // (-1 without cells); cells beyond the grid are counted in `outsideGrid`.
    void CellExtent(int& maxCol, int& maxRow);

    std::string fileName;
    std::unique_ptr<std::ifstream> stream;
    std::vector<uint8_t> record;  // data of the current record, at most 65535 bytes
    std::unique_ptr<zm::CodePageText> codePage;
    long long outsideGrid = 0;
    std::string warning;  // what a read left out
};
