// Reader of JCAMP-DX spectrum files (".jcm", ".dx", ".jdx"), one or several, with one or
// several data blocks each, merged into one sheet.
#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "formats/spectral/SpectrumFile.h"
#include "framework/SprFileFactory.h"
#include "platform/RawArray.h"
#include "platform/ZmExport.h"

// A JCAMP-DX file is a text of labelled records ("##LABEL=value"). "##TITLE=" opens a
// block and "##END=" closes it; a block of data type LINK holds the blocks that follow
// it. A data block holds one spectrum as evenly spaced ordinates, "(X++(Y..Y))", written
// plainly (AFFN) or compressed (PAC, SQZ, DIF, DUP), or as x-y pairs, "(XY..XY)" (point
// and peak tables). Opening scans the labels and lists the data blocks; sizing decodes
// the selected ones; the sheet has the x values in row 1 and one row per block (per page
// of a paged block), resampled onto one block's x axis when the axes differ.
class ZMIMPORT_API JCAMPFile : public SpectrumFile {
  public:
    enum JCAMPStatus {
        kOpenFailed = 1536,
        kNotJCAMPFile = 1537,
        kBinaryData = 1538,
        kNoLabelTerminator = 1539,
        kMissingValue = 1540,
        kTitleEndMismatch = 1541,
        kBlocksOutsideLink = 1542,
        kIllegalValue = 1543,
        kBadNPoints = 1544,
        kNoBlocksSelected = 1545,
        kReadError = 1546,
        kSizeUnknown = 1547,
        kNoValidData = 1548,
        kUnknownDataClass = 1549,
        kAssignments = 1550,
        kRAData = 1551,
        kNTuples = 1552,
        kXYPoints = 1554,
        kXYPairs = 1555,
        kBadSeries = 1556,
        kNoSpacing = 1557,
        kDupOnAbscissa = 1558,
        kDupFirstOrdinate = 1559,
        kUnexpectedEnd = 1560,
        kIllegalCharacter = 1561,
        kInvalidCharacter = 1562,
        kTwoDups = 1563,
        kMixedDataClasses = 1566,
        kInterrupted = 1567,
        kBadOptions = 1568,
    };
    // Data forms of a block.
    enum DataForm { kNoForm = 0, kXYData = 1, kRAForm = 3, kPointTable = 5, kNTupleForm = 7 };

    JCAMPFile();
    ~JCAMPFile() override;

    void Close() override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    const char* GetWarningMessage() override;
    const char* GetFailedFile() override;
    // The data blocks, by their index from 0, and the ones selected; false for none.
    bool GetReadChoices(ReadChoices& choices) override;

    int GetNumJCAMPBlocks() const { return static_cast<int>(blocks_.size()); }
    // One line per data block: its data type, rows x columns and title, after the file's
    // name when several files are open.
    void GetJCAMPBlockList(std::vector<std::string>& list) const;
    // The heading of the block list's one column.
    void GetTitle(char* buffer, unsigned int bufferSize) const;
    void SelectJCAMPBlock(int index);
    void SelectJCAMPBlock(const std::vector<int>& indices);
    virtual std::vector<int> GetSelectedJCAMPDataBlocks();
    // The block whose x axis the others are resampled onto: the `series`-th selected
    // block of the `file`-th file. A host may override it to let the user choose.
    virtual bool GetInterPolationIndeces(int& file, int& series);
    // The two findings of CheckMultiSelection: x ranges differ, point counts differ.
    bool MultiSelection() const { return xRangesDiffer_; }
    bool JCAMPWarning() const { return pointNumbersDiffer_; }
    // The "##DATE=" and "##TIME=" of the first selected block; false when they say no date.
    bool GetDateCreated(boost::posix_time::ptime& date) const;

    // Takes the next value off `line` (from `pos`, which moves past it): count 0 when the
    // line is used up, +n for an absolute value repeated n times, -n for a difference
    // applied n times. `plainOnly` (point tables) admits plain numbers and "?" only, and
    // reads a comma as a separator. Returns 0 or an error code. The data reads take
    // their values by the same decoder.
    static int ReadNextValue(std::string_view line, size_t& pos, double& value, int& count,
                             bool& missing, bool plainOnly);

  protected:
    // Reads "DataBlocks", "InterPolationFile" and "InterPolationSerie"; an empty record
    // gets the choices in force (every block).
    virtual int SetOptions(ZmImportOpenOptions* options);
    // All selected blocks must share one data form; sets the two flags.
    int CheckMultiSelection();

  private:
    struct Page {
        std::string text;     // the "##PAGE=" value
        size_t position = 0;  // first data line, as a byte offset into the file
        int line = 0;         // its line number
        bool hasData = false;
        int32_t points = -1;  // known once decoded
    };
    struct Block {
        int file = 0;
        std::string title, dataType, dataClass, xUnits, yUnits, date, time;
        int dataForm = kNoForm;
        int blockCount = 0;
        int blockId = 0;
        bool link = false;
        bool hasFirstX = false, hasLastX = false, hasDeltaX = false;
        double firstX = 0, lastX = 0, xFactor = 1.0, yFactor = 1.0, deltaX = 0;
        int32_t numPoints = -1;
        std::vector<Page> pages;
        bool selected = false;
    };
    // The texts of all files sit one after another in one buffer (text_).
    struct SourceFile {
        std::string name;
        size_t offset = 0, size = 0;
    };
    // One sheet row: a decoded page of a selected block. Its y values are `count`
    // values of values_ from `offset` on: all pages share one buffer, so the values of
    // hundreds of blocks or files fill one block of memory rather than one each.
    // Evenly spaced x is kept as its first value and step, not point by point.
    struct Series {
        int block = 0;
        int page = 0;
        bool even = false;
        double first = 0, step = 0;
        std::vector<double> x;
        size_t offset = 0, count = 0;
        bool resample = false;  // written resampled onto the sheet's columns

        size_t Size() const { return count; }
        double X(size_t i) const { return even ? first + static_cast<double>(i) * step : x[i]; }
        std::vector<double> XVector() const {
            if (!even)
                return x;
            std::vector<double> out(count);
            for (size_t i = 0; i < out.size(); ++i)
                out[i] = X(i);
            return out;
        }
    };

    int EstablishSize() override;
    // Forgets the files, blocks and decoded values (the status stays).
    void Clear();
    std::string_view Text(int file) const {
        const SourceFile& source = files_[static_cast<size_t>(file)];
        return std::string_view(text_.Data() + source.offset, source.size);
    }
    const double* Y(const Series& series) const { return values_.Data() + series.offset; }
    int OpenFiles(const char* names, ZmImportOpenOptions* options) override;
    int Fail(int code);
    std::string MessagePrefix() const;
    std::string FilePrefix(int file) const;

    // Label scan (JCAMPFileLabels.cpp).
    int CheckFile(int file);
    int ReadLabel(std::string_view name, std::string_view value, size_t& pos);
    int OpenBlock(std::string_view title);
    int EndBlock();
    int ReadBlockLabel(Block& block, std::string_view name, std::string_view value);
    int ReadDataClass(Block& block, std::string_view value);
    int ReadPointCount(Block& block, std::string_view value);
    int ReadNumberLabel(std::string_view value, double& number, bool& given);
    int AddData(std::string_view value, size_t& pos);
    void AddPage(std::string_view text);
    void SkipDataLines(size_t& pos);

    // Data (JCAMPFileValues.cpp).
    int DecodeSelection();
    int DecodePage(const Block& block, const Page& page, Series& series);
    int ReadXYData(const Block& block, const Page& page, Series& series);
    int ReadPeakTable(const Block& block, const Page& page, Series& series);
    void SetWarning(int kind, long long a = 0, long long b = 0);

    // Sheet (JCAMPFileSheet.cpp).
    int ReadSheet(ReadSpreadSheetData* sink) override;
    int ResampleSelection();
    std::string RowLabel(const Series& series) const;

    std::vector<SourceFile> files_;
    zm::RawArray<char> text_;
    zm::RawArray<double> values_;  // y of the decoded series, one after another
    std::vector<Block> blocks_;    // data blocks of all files, in file order
    std::vector<Block> scanned_;   // every block of the file being scanned
    std::vector<int> openBlocks_;  // indices into scanned_ of the blocks not yet ended
    std::vector<Series> series_;   // decoded selection
    std::vector<double> columnX_;  // x of the sheet's columns
    bool decoded_ = false;

    int currentFile_ = -1;
    int blockIndex_ = -1;
    int lineNumber_ = 0;
    int depth_ = 0;
    int errorFile_ = -1;
    int errorLine_ = 0;
    bool errorInBlock_ = false;
    std::string keptText_;

    int warning_ = 0;
    std::string warningText_;
    int interpolationFile_ = 0;
    int interpolationSeries_ = 0;
    bool xRangesDiffer_ = false;
    bool pointNumbersDiffer_ = false;
    long long valuesRead_ = 0;
};

// Registers the JCAMP-DX format; recognises its files by a first label "##TITLE=".
class JCAMPFileFactory : public SprFileFactory {
  public:
    JCAMPFileFactory();

  protected:
    MyKindOfFile IsMyKindOfFile(const char* file) override;
    SpreadsheetFile* GetSpreadsheetFile() override;
};
