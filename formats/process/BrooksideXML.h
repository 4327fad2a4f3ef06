// Reader of the FDC request messages (version 2.6 XML) that semiconductor tools send for
// fault detection: wafers, their processing intervals and their raw time series.
#pragma once

#include <xercesc/util/XercesDefs.hpp>

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "framework/SprFileFactory.h"
#include "framework/SpreadsheetFile.h"
#include "platform/ZmExport.h"

namespace zm::fdc {
struct RawText;
}  // namespace zm::fdc

XERCES_CPP_NAMESPACE_BEGIN
class DOMNode;
class DOMElement;
class InputSource;
class XercesDOMParser;
XERCES_CPP_NAMESPACE_END

// The attributes of a `dataset` element, one wafer (batch) of the trend.
enum WaferAttributeType {
    kWaferID,
    kRawDataName,
    kLotID,
    kSlotID,
    kRouteID,
    kProductID,
    kOperationNumber,
    kOperationName,
    kOperationPassCount,
    kPriorityClass,
    kLineCode,
    kJobClass,
    kQualityCode,
    kWaferAttributeCount
};

// Reads one `FDCRequest` document, validated against the FDC message definitions that the
// library carries in itself (nothing is fetched from files or the network). Each `dataset`
// of the trend is a wafer; its `Interval` children are its phases; its "rawDataName" names a
// `RawData` section of tab-separated rows:
//
//   NUM_DATA_ROWS=3          header block: KEY=VALUE lines, one of them NUM_DATA_ROWS
//   "Time"  "Pressure"       variable names, separated by tab, CR, LF or double quote
//   1  0.0  12.5             row number, then one value per variable, tab-separated
//
// The sheet has a name row ("Wafer (Batch)", "Interval (Phase)", the variable names of all
// sections in order of first appearance), then one row per raw data row: the wafer ID, the
// label of the interval whose FromRow..ToRow holds the row number, and the values. The
// columns are the variables other than "Time" plus three. Several files (names joined by
// line feeds) are read one after the other into one sheet. Read only.
// Codes: 160 unknown error, 161 XML parse or validation failure and any fault of the
// document's elements and attributes, 162 fault of a RAWDATA text, 163 unexpected
// exception, 164 opened for writing.
class ZMIMPORT_API BrooksideXML : public SpreadsheetFile {
  public:
    enum BrooksideStatus {
        kUnknownError = 160,
        kXmlError = 161,
        kRawDataError = 162,
        kUnknownExceptionError = 163,
        kOpenedForWriting = 164,
    };

    // Which interval attribute labels the interval column.
    enum PhaseID {
        kPhaseName = 0,       // the interval's "Name" (the default)
        kPhaseNumber = 1,     // its "Number", as a number
        kPhaseStartTime = 2,  // its "StartTime"
    };

    struct SumData {
        std::string name;
        std::string statName;  // empty when the element has none
        std::string value;
    };

    struct RecipeParameter {
        std::string name;
        double value = 0;
        double lowerLimit = 0;
        double upperLimit = 0;
        bool useCurrentValue = false;
    };

    struct Phase {
        std::string name;
        int number = 0;
        int fromRow = 0;
        int toRow = 0;
        double duration = 0;
        std::string startTime;
        std::vector<SumData> sumData;
        std::vector<RecipeParameter> recipeParameters;
    };

    struct Wafer {
        std::string attributes[kWaferAttributeCount];
        int file = 0;  // which of the opened files holds its RAWDATA section
        std::vector<Phase> phases;
    };

    BrooksideXML() = default;
    BrooksideXML(const BrooksideXML&) = default;
    BrooksideXML& operator=(const BrooksideXML&) = default;
    ~BrooksideXML() override;

    // True exactly when the file parses and validates against the FDC definitions.
    static bool IsMyKindOfFile(const char* file);

    void Close() override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    const char* GetWarningMessage() override;
    int Open(bool readMode, const char* file, ZmImportOpenOptions* options) override;
    int Read(ReadSpreadSheetData* sink) override;

    void SetPhaseID(PhaseID id) { phaseID_ = id; }
    bool IsApstat() const { return apstat_; }

    // Wafers and phases are counted from 0; out-of-range indices give empty answers.
    int SizeWafer() const { return static_cast<int>(wafers_.size()); }
    int SizePhases(int wafer) const;
    std::string GetWaferID(int wafer) const { return GetWaferAttribute(wafer, kWaferID); }
    std::string GetWaferAttribute(int wafer, WaferAttributeType type) const;
    std::string GetPhaseName(int wafer, int phase) const;
    int GetPhaseNumber(int wafer, int phase) const;
    std::string GetPhaseStartTime(int wafer, int phase) const;
    double GetPhaseDuration(int wafer, int phase) const;
    bool GetPhaseFromTo(int wafer, int phase, int& from, int& to) const;
    std::vector<SumData> GetSumData(int wafer, int phase) const;
    std::vector<RecipeParameter> GetRecipeParameterList(int wafer, int phase) const;
    // A message-level value by its attribute name: "ID" (of APCSystemName),
    // "MessageSequenceIdentifier", "FDCModel", "RecipeID", "ControlJobID", "EquipmentID",
    // "ToolType", "ResourceID", "chamberRecipe", "Name" (of Trend), "TopicName".
    std::string GetAttribute(const std::string& name) const;

  private:
    // One RAWDATA section positioned at its first data row.
    struct RawDataBuffer {
        std::string name;
        std::string_view rest;  // the text after the variable header line
        int line = 0;           // number of the last line consumed, from 1
        int rows = 0;           // NUM_DATA_ROWS
        std::vector<std::string> variables;
    };

    int EstablishSize() override;
    int ReadSheet(ReadSpreadSheetData* sink);
    void Open(const char* file);
    void Parse(XERCES_CPP_NAMESPACE::XercesDOMParser& parser,
               XERCES_CPP_NAMESPACE::InputSource& stream);
    void ReadDOM(const XERCES_CPP_NAMESPACE::DOMNode* document, std::vector<zm::fdc::RawText>& raw,
                 const std::string& file, int fileIndex);
    void ReadWafer(const XERCES_CPP_NAMESPACE::DOMElement* dataset, int fileIndex);
    static const XERCES_CPP_NAMESPACE::DOMElement* FindNode(
        const XERCES_CPP_NAMESPACE::DOMNode* parent, const char16_t* name, bool required,
        bool stepping = false);
    static std::string FindAttribute(const XERCES_CPP_NAMESPACE::DOMElement* node,
                                     const char16_t* name, bool required);
    RawDataBuffer InitNextBuffer(int wafer) const;
    // Marks the wafers whose section an earlier wafer already named, and says so.
    void MarkSharedSections();
    void Clear();

    std::string apcSystemName_;
    std::string messageSequenceIdentifier_;
    std::map<std::string, std::string> logistics_;  // attribute name -> value
    std::string trendName_;
    std::string topicName_;
    std::vector<Wafer> wafers_;
    // (file index, RawData "Name" in lower case) -> its text
    std::map<std::pair<int, std::string>, std::string> rawData_;
    PhaseID phaseID_ = kPhaseName;
    bool apstat_ = false;
    std::string detail_;  // the text of the exception that set the status
    // The sheet's variable columns: name and occurrence among equal names.
    std::vector<std::pair<std::string, int>> columns_;
    // Per wafer, whether its rows reach the sheet: a RAWDATA section gives its rows to
    // the first wafer that names it only, so that wafers sharing one section cannot
    // multiply it into more rows than the file holds.
    std::vector<bool> delivered_;
    std::string warning_;
};
