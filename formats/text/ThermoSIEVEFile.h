// Result tables of the Thermo SIEVE differential analysis: one line per detected frame.
#pragma once

#include <vector>

#include "formats/text/TextFile.h"

class ThermoMirroredReadSpreadSheetData;

// Reads the delimited frame table (tab, semicolon or comma, found from the header line)
// and reshapes it: the fields FrameID, MZStart, MZStop, the computed AverageMZ,
// TimeStart, TimeStop, the computed AverageRT, pValue, Ratio, UpperBound, LowerBound,
// FOM1 and then every Intensity_ column, in that order. The table goes to the sink
// turned by a quarter: the file line is the first argument of every Set (line 1 holds
// the names) and the field number the second. Codes: 1536 (not a SIEVE table), 2 (more
// than 1000000 lines), and those of the text reader.
class ZMIMPORT_API ThermoSIEVEFile : public TextFile {
  public:
    enum Status {
        kNotThermoSIEVEFile = 1536,
    };

    ThermoSIEVEFile();

    // A SIEVE table's header line starts with FrameID, followed by MZStart, MZStop,
    // TimeStart, TimeStop, pValue and Ratio (each compared over its own length).
    static bool IsThermoSIEVEFile(const char* path);

    int Open(bool readMode, const char* path, ZmImportOpenOptions* options) override;
    int Read(ReadSpreadSheetData* sink) override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;

  private:
    // The number of lines (an empty last line not counted); -1 past 1000000 lines or when
    // the file cannot be read.
    int GetRows();
    // The number of cells of the widest line; -1 when the file cannot be read.
    int GetColumns();
    int ReadTable(ReadSpreadSheetData* sink);
    // For each delivered field, the file column (from 1) that feeds it, 0 when the file
    // has none, or one of the computed-field markers.
    std::vector<int> MapFields(const ThermoMirroredReadSpreadSheetData& table) const;
};
