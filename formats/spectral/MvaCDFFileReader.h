// Reader of multivariate-data netCDF files (MVACDF): one observation per record.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "formats/spectral/SpectrumFile.h"
#include "platform/ZmExport.h"

namespace zm {
class NetCDF;
}

// The sheet: a name row ("Name", "Decimal Time", one heading per variable), then one row
// per observation of every file in turn with its name, its decimal time and its values.
// Values equal to the file's missing-value marker are left empty. Files read together
// must have the same number of variables; the headings are the first file's. A file that
// holds several data variables (numbers over the observations and the data points) offers
// them by "Sheets": "observation" (else "spectral_data_values") is read by default.
// Codes: 2064 not an MVACDF file, 2065 value type or size unknown, 2066 observations
// stored as matrices, 2067 no observation data, 2068 different numbers of variables,
// 2069 several data variables chosen.
class ZMIMPORT_API MvaCDFFileReader : public SpectrumFile {
  public:
    enum MvaCDFStatus {
        kNotMvaCDFFile = 2064,
        kSizeUnknown = 2065,
        kMatrixData = 2066,
        kNoObservationData = 2067,
        kDifferentVariables = 2068,
        kSeveralChosen = 2069,
    };
    // The value types of "raw_data_mva_format".
    enum ValueType { kFloat, kDouble, kByte, kShort, kLong };

    MvaCDFFileReader();
    ~MvaCDFFileReader() override;

    void Close() override;
    bool GetReadChoices(ReadChoices& choices) override;

  private:
    // What Open learns of one file.
    struct Layout {
        std::string name;
        ValueType type = kDouble;
        size_t valueSize = 8;
        bool missingIsNaN = false;
        double missingValue = -100000.0;
        size_t variables = 0;
        size_t observations = 0;
        int dataVariable = -1;
    };

    int EstablishSize() override;
    int OpenFiles(const char* names, ZmImportOpenOptions* options) override;
    int ReadSheet(ReadSpreadSheetData* sink) override;
    std::string StatusText() override;
    // The data variable read, from the first file's data variables and the options; an
    // empty record receives the default.
    int ChooseVariable(const zm::NetCDF& cdf, ZmImportOpenOptions* options);
    int ReadLayout(const zm::NetCDF& cdf, Layout& layout);
    void SetHeadings(const zm::NetCDF& cdf, ReadSpreadSheetData* sink);
    // Writes the observations of one file from `row` on; `row` moves past them.
    int ReadObservations(const zm::NetCDF& cdf, const Layout& layout, ReadSpreadSheetData* sink,
                         int& row);
    template <typename T>
    bool ReadRow(const zm::NetCDF& cdf, const Layout& layout, size_t observation,
                 ReadSpreadSheetData* sink, int row);
    bool IsMultiFile() const { return std::max(namesGiven_, files_.size()) > 1; }

    std::vector<Layout> files_;
    size_t namesGiven_ = 0;
    std::vector<std::string> dataVariables_;  // the first file's, when it has several
    std::string chosenVariable_;              // "" for the default
};
