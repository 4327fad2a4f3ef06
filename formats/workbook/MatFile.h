// MATLAB MAT files: Level 4 (both byte orders) and Level 5 (with compressed elements) are
// read, Level 4 is written.
#pragma once

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "formats/workbook/SheetChoice.h"
#include "framework/SpreadsheetFile.h"
#include "platform/ZmExport.h"

namespace zm::mat {
class Input;
class CellCursor;
struct ArrayHeader;
struct Tag;
}  // namespace zm::mat

// Reads one or several numeric or character matrices of a MAT file into one sheet, in
// either byte order. Level 4: one matrix is read (chosen by name when there are several
// data matrices), with the "OBSNAM"/"OBSNUM" and "VARNAM"/"VARNUM" matrices and ID
// matrices ("OBSID1", "VARID1", ...) around it. Level 5: the numeric, logical, sparse
// and character arrays chosen by "Sheets" (every one by default) go side by side, with
// "OBSNAM"/"OBSNUM" as columns left of them and "VARNAM"/"VARNUM" as rows above them,
// in whatever order the file stores them; cells, structures and objects are passed over
// and named in the read choices. The
// zeros of a sparse matrix are 0. Writes Level 4: the data as "DATA", the ID columns and
// header rows as "OBSID<n>" and "VARID<n>". Codes 1024-1034.
class ZMIMPORT_API MatFile : public SpreadsheetFile {
  public:
    enum Status {
        kOpenFailed = 1024,
        kNotMatFile = 1025,
        kCorrupt = 1026,
        kBadHeader = 1027,
        kBadMatrix = 1028,
        kWriteFailed = 1029,
        kCannotExport = 1030,
        kComplexData = 1032,
        kUnknownType = 1033,
        kUnsupportedVersion = 1034,
    };
    static constexpr int kMaxMatrices = 20;

    MatFile();
    MatFile(const MatFile&) = default;
    MatFile& operator=(const MatFile&) = default;
    ~MatFile() override;

    int Open(bool readMode, const char* file, ZmImportOpenOptions* options) override;
    void Close() override;
    int Read(ReadSpreadSheetData* sink) override;
    int Write(WriteSpreadSheetData* source) override;
    int GetNumRows() override;
    int GetNumCols() override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    const char* GetWarningMessage() override;
    const char* GetReadFile() override;
    bool GetReadChoices(ReadChoices& choices) override;

    // The names of the matrices in file order.
    void GetMatrixList(std::vector<std::string>& list) const;
    // Level 4: makes the matrix at 0-based `index` the one read; false when out of range.
    bool SetCurMatrix(int index);
    int GetNumberOfMatrices() const { return static_cast<int>(matrices.size()); }
    bool IsComplex() const;

    // One matrix as the file describes it.
    struct Matrix {
        std::string name;
        int precision = 0;  // Level 4 P: 0 double, 1 single, 2 int32, 3 int16, 4 uint16, 5 uint8
        int type = 0;       // Level 4 T: 0 full, 1 text, 2 sparse
        bool complex = false;
        int64_t rows = 0;
        int64_t cols = 0;
        uint64_t position = 0;  // Level 4: of the data; Level 5: of the top-level element
        // Level 5 only.
        int arrayClass = 0;  // mxCLASS: 4 char, 5 sparse, 6 double, ...
        bool text = false;   // characters read as one text per row
        bool compressed = false;
        uint64_t elementSize = 0;  // bytes of the top-level element after its tag
    };

  protected:
    // Chooses the Level 4 matrix when several hold data and no options were given: the
    // first one.
    virtual void GetMatrixOptions(const std::vector<std::string>& names);

  private:
    int EstablishSize() override;
    int OpenRead(ZmImportOpenOptions* options);
    // Level 4.
    int OpenMatlab4(const uint8_t* first);
    void FindRoles();
    int ChooseMatrix(ZmImportOpenOptions* options);
    int Level4Size(const Matrix& m, int64_t& rows, int64_t& cols);
    int EstablishLevel4Size();
    int ReadMatlab4(ReadSpreadSheetData* sink);
    int ReadList(ReadSpreadSheetData* sink, const Matrix& m, zm::mat::CellCursor cursor);
    int ReadFull(ReadSpreadSheetData* sink, const Matrix& m, zm::mat::CellCursor cursor);
    int ReadText(ReadSpreadSheetData* sink, const Matrix& m, zm::mat::CellCursor cursor);
    int ReadSparse(ReadSpreadSheetData* sink, const Matrix& m);
    // Reads `count` values of the matrix's precision at the stream's position.
    bool ReadMatlabElement(const Matrix& m, size_t count, double* values);
    // Level 5.
    int OpenMatlab5(ZmImportOpenOptions* options);
    // Chooses the data matrices read, by the options or else all of them.
    int ChooseData(ZmImportOpenOptions* options);
    // Refuses a file without data, naming the arrays in it that cannot be read.
    [[noreturn]] void RefuseNoData() const;
    int OpenArray(const Matrix& m, zm::mat::ArrayHeader& header,
                  std::unique_ptr<zm::mat::Input>& input);
    int CheckArray(const zm::mat::ArrayHeader& array, Matrix& m);
    // Warns when fewer bytes than a tag, not all zero, follow the last element.
    void NoteCutTag(uint64_t position);
    // What a Level 5 read offers, read and passed over (for GetReadChoices).
    bool Level5Choices(ReadChoices& choices) const;
    int SetSheetSize();
    void SetSheetIndex(int nameColumns, int nameRows);
    void SetNames(int nameColumns, int nameRows, int64_t dataCols);
    // The names matrix called `name` when it fits the data read (`dataCols` columns),
    // else -1.
    int NamesShown(const char* name, int64_t dataCols) const;
    bool NamesFit(const Matrix& names, int64_t dataCols) const;
    bool CheckDimensions(int64_t dataCols) const;
    int ReadMatlab5(ReadSpreadSheetData* sink);
    int ReadArray(ReadSpreadSheetData* sink, const Matrix& m, int col0, int row0, int layout);
    int ReadNumbers(ReadSpreadSheetData* sink, zm::mat::Input& s, const zm::mat::Tag& data,
                    const Matrix& m, zm::mat::CellCursor& cursor);
    // Tells the sink the bytes read: the matrices done and `done` of `count` values of m.
    void ReportPart(ReadSpreadSheetData* sink, const Matrix& m, uint64_t done,
                    uint64_t count) const;
    int ReadText5(ReadSpreadSheetData* sink, zm::mat::Input& s, const zm::mat::Tag& data,
                  const Matrix& m, int64_t charColumns, zm::mat::CellCursor& cursor);
    int ReadSparse5(ReadSpreadSheetData* sink, zm::mat::Input& s, const zm::mat::Tag& irTag,
                    const Matrix& m, bool logical, uint64_t held, zm::mat::CellCursor& cursor);
    static void PutSparseColumn(ReadSpreadSheetData* sink,
                                const std::vector<std::pair<int64_t, double>>& column, int64_t rows,
                                zm::mat::CellCursor& cursor);
    // Writing.
    int WriteData(WriteSpreadSheetData* source, int col0, int row0, int cols, int rows);
    void WriteColumn(WriteSpreadSheetData* source, int col, int row0, int rows);
    void WriteRow(WriteSpreadSheetData* source, int row, int col0, int cols);

    // File streams that a copy of the reader does not share: a copy starts closed.
    template <typename Stream>
    struct Unshared : Stream {
        Unshared() = default;
        Unshared(const Unshared&) : Stream() {}
        Unshared& operator=(const Unshared&) { return *this; }
    };

    enum Mode { kClosed = 0, kReadMode = 1, kWriteMode = 2 };
    int mode = kClosed;
    std::string fileName;
    std::string baseName;
    Unshared<std::ifstream> in;
    Unshared<std::ofstream> out;
    uint64_t fileSize = 0;
    bool level5 = false;
    bool bigEndian = false;
    std::vector<uint8_t> buffer;  // the stored bytes of a block of Level 4 values
    std::vector<Matrix> matrices;
    int curMatrix = 0;
    int dataMatrix = -1;         // the one data matrix that names and IDs go around
    std::vector<int> rowIds;     // Level 4 name, number and ID matrices: columns left of the
    std::vector<int> columnIds;  // data and rows above it, names first, IDs by their number
    bool idsPresent = false;
    zm::SheetChoice choice;
    std::string readName;
    // The text of a refusal found inside the data (Level 5), shown instead of the code's.
    std::string refusal;
    // What was left out of a file read all the same.
    std::string warning;
    // Level 5 sheet: where each matrix shown goes, as a grid (data) or as one list down a
    // column (observation names) or across a row (variable names).
    struct Placement {
        int matrix;
        int col0, row0;
        int layout;
    };
    std::vector<Placement> placements;
    std::vector<int> shown;  // Level 5: the data matrices read, in the order chosen
    // Level 5 arrays not read as data (cells, structures, objects): name and array class.
    std::vector<std::pair<std::string, int>> passedOver;
    uint64_t bytesDone = 0, bytesToRead = 0;  // Level 5 progress: stored bytes of the matrices
};
