// Excel 97-2003 workbooks and older worksheets (BIFF2 to BIFF8).
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "formats/workbook/SheetChoice.h"
#include "framework/SpreadsheetFile.h"
#include "platform/ZmExport.h"

namespace zm {
class CodePageText;
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
class ZMIMPORT_API ExcelFile : public SpreadsheetFile {
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

    int Open(bool readMode, const char* file, ZmImportOpenOptions* options) override;
    void Close() override;
    int GetNumRows() override;
    int GetNumCols() override;
    int Read(ReadSpreadSheetData* sink) override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    const char* GetWarningMessage() override;
    const char* GetReadFile() override;
    ZmImportOpenOptions* GetFileReadOptions(const char* file, bool flag) override;

    // The worksheet names in file order.
    std::vector<std::string> GetWorksheets() const;
    // Sets the selection; false when a name is unknown.
    bool SetCurWorksheet(const std::vector<std::string>& names);

    static int16_t I2Shuffle(const uint8_t* data, size_t offset);
    static uint16_t uI2Shuffle(const uint8_t* data, size_t offset);
    static int32_t I4Shuffle(const uint8_t* data, size_t offset);
    static double DShuffle(const uint8_t* data, size_t offset);
    static double NumFromRk(uint32_t rk);

  protected:
    // Chooses the sheets when several exist and no options were given: all of them, in
    // file order, laid out as the flag last given to GetFileReadOptions says.
    virtual void GetSheetOptions(const std::vector<std::string>& names);

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
    int OpenFile(const char* file);
    bool ReadBiffRecord();
    void ReadWorkbookGlobals();
    void ReadBiff4Bundles();
    int IsWorksheet(uint64_t position);
    int TestWorksheet(uint64_t position);
    int GetSheet(ZmImportOpenOptions* options);
    std::vector<size_t> GetSheetIndexes(const std::vector<std::string>& names) const;
    // Reads one sheet's cells; with `stackedLabel` each finished row also gets the text
    // naming the sheet in the last column.
    int ReadSheet(ReadSpreadSheetData* sink, const Worksheet& sheet, int rowOffset, int colOffset,
                  const std::string* label);
    // Where one sheet's cells go and which of its rows and columns hold a value: only
    // those get the label naming the sheet, so a sheet's declared size costs no cells.
    struct Placing {
        const Worksheet* sheet = nullptr;
        int rowOffset = 0, colOffset = 0;
        const std::string* label = nullptr;
        bool sideBySide = false;
        int labelled = 0;  // rows before this one are finished and labelled
        std::vector<bool> rowUsed, colUsed;
    };
    void LabelRowsBefore(ReadSpreadSheetData* sink, Placing& at, int fileRow);
    // The sink's place of the current cell record (of column `fileCol` when not negative),
    // or false when it lies outside the sheet's size.
    bool Place(ReadSpreadSheetData* sink, Placing& at, int fileCol, int& row, int& col);
    // Places the current record's value; false when the stream ends inside it.
    bool ReadCellRecord(ReadSpreadSheetData* sink, Placing& at);
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
    zm::SheetChoice choice;
    std::string readName;
    bool sideBySideFlag = false;
    int dimensionRows = 0, dimensionCols = 0;
    struct Tested {
        int result, rows, cols;
    };
    std::map<uint64_t, Tested> testedSheets;
};
