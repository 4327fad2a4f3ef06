// Excel 97-2003 workbooks and older worksheets (BIFF2 to BIFF8).
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "formats/workbook/WorkbookFile.h"
#include "platform/ZmExport.h"

namespace zm {
class CodePageText;
class WorkbookLayout;
namespace biff {
class BaseStream;
}
}  // namespace zm

// Reads one or several worksheets of a binary Excel file: plain BIFF2-4 record streams
// and the "Workbook"/"Book" stream of a compound file (BIFF5/BIFF8, BIFF4 workbooks).
// Cells keep their sheet positions; several sheets are stacked (rows after rows) or put
// side by side, with an extra column or row naming each value's sheet. Numbers in date
// formats become date texts, in the workbook's date system (1900 or 1904). Booleans and
// error values read as "TRUE"/"FALSE" and their texts ("#N/A", ...). Texts cut short and
// shared strings the file does not hold are counted in the warning. Codes 256-264; reads
// only.
class ZMIMPORT_API ExcelFile : public WorkbookFile {
  public:
    enum Status {
        kOpenFailed = 256,
        kBadGlobalsRecord = 257,
        kBadSheetRecord = 258,
        kNotExcel = 259,
        kEmptySheet = 260,
        kEncrypted = 261,
        kNoExcelStream = 262,
        kNoSheets = 263,
        kUnknownVersion = 264,
    };

    ExcelFile();
    ~ExcelFile() override;

    void Close() override;
    int Read(ReadSpreadSheetData* sink) override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    const char* GetWarningMessage() override;

    std::vector<std::string> GetWorksheets() const override;
    // Sets the selection; false when a name is unknown.
    bool SetCurWorksheet(const std::vector<std::string>& names);

    static int16_t I2Shuffle(const uint8_t* data, size_t offset);
    static uint16_t uI2Shuffle(const uint8_t* data, size_t offset);
    static int32_t I4Shuffle(const uint8_t* data, size_t offset);
    static double DShuffle(const uint8_t* data, size_t offset);
    static double NumFromRk(uint32_t rk);

  private:
    struct Record {
        uint16_t type = 0;
        int16_t length = 0;
        uint8_t data[8224];
    };
    struct Worksheet {
        std::string name;
        uint64_t position = 0;  // of its BOF record
        int cols = 0;
        int rows = 0;
    };

    int EstablishSize() override;
    int OpenFile(const char* file) override;
    void ReleaseFile() override;
    bool ReadBiffRecord();
    void ReadWorkbookGlobals();
    void ReadBiff4Bundles();
    int IsWorksheet(uint64_t position);
    int TestWorksheet(uint64_t position);
    std::vector<size_t> GetSheetIndexes(const std::vector<std::string>& names) const;
    // Reads one sheet's cells into the sink, placed by `layout`.
    int ReadSheet(ReadSpreadSheetData* sink, zm::WorkbookLayout& layout, const Worksheet& sheet);
    // The sink's place of the current cell record (of column `fileCol` when not negative),
    // or false when it lies outside the sheet's size.
    bool Place(zm::WorkbookLayout& layout, int fileCol, int& row, int& col);
    // Places the current record's value; false when the stream ends inside it.
    bool ReadCellRecord(ReadSpreadSheetData* sink, zm::WorkbookLayout& layout);
    // Code page, date system and the formats BIFF2-4 keep in the worksheet stream.
    void NoteSheetSetting();
    // LABEL, RSTRING and LABELSST.
    void ReadTextCell(ReadSpreadSheetData* sink, zm::WorkbookLayout& layout);
    // INTEGER, NUMBER, RK and MULRK; false for any other record. `oldXf` as below.
    bool ReadNumberCell(ReadSpreadSheetData* sink, zm::WorkbookLayout& layout, unsigned oldXf);
    // `oldXf` is the XF of a BIFF2 formula, ~0u for later versions.
    bool ReadFormulaResult(ReadSpreadSheetData* sink, int row, int col, unsigned oldXf);
    void Set(ReadSpreadSheetData* sink, int row, int col, unsigned xf, double value);
    // A cell's text at `offset` of the record, joined with the CONTINUE records that
    // carry the rest of it; a text still short of its length is counted as damaged.
    std::string RecordText(size_t offset, bool wideCount, bool biff2Length);
    void NoteFormat();
    static bool IsDateFormatText(std::string text);
    // FORMAT and XF records of BIFF2-4, which live in the worksheet stream itself.
    void NoteOldFormatRecord();

    std::unique_ptr<zm::biff::BaseStream> stream;
    std::unique_ptr<Record> record;
    int version = 0;  // high byte of the first BOF's type: 0, 2, 4 or 8
    bool biff2 = false;
    bool biff8 = false;
    std::vector<Worksheet> worksheets;
    std::vector<std::string> sharedStrings;
    std::set<unsigned> dateFormats;
    std::vector<bool> dateXf;
    unsigned oldFormats = 0;  // FORMAT records of BIFF2-4 so far: their index is their order
    bool ownFormats = false;  // the worksheet being read brought its own FORMAT/XF records
    unsigned biff2Xf = 0;     // the XF of the next BIFF2 cell whose attributes say "see IXFE"
    bool date1904 = false;
    std::vector<uint32_t> cutStrings;  // shared strings cut short, in increasing order
    long long damagedCells = 0;        // cells whose text could not be read in full
    std::string warning;
    uint64_t walked = 0;  // bytes walked by the worksheet tests, bounded by the stream's size
    std::unique_ptr<zm::CodePageText> codePage;
    int dimensionRows = 0, dimensionCols = 0;
    struct Tested {
        int result, rows, cols;
    };
    std::map<uint64_t, Tested> testedSheets;
};
