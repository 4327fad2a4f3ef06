// FDC XML reader: opening, status codes and texts, the host's accessors.
#include "formats/process/BrooksideXML.h"

#include "formats/process/BrooksideXMLInternal.h"
#include "platform/ErrorText.h"
#include "platform/Translate.h"

BrooksideXML::~BrooksideXML() = default;

void BrooksideXML::Clear() {
    apcSystemName_.clear();
    messageSequenceIdentifier_.clear();
    logistics_.clear();
    trendName_.clear();
    topicName_.clear();
    wafers_.clear();
    rawData_.clear();
    columns_.clear();
    delivered_.clear();
    warning_.clear();
    apstat_ = false;
    detail_.clear();
}

void BrooksideXML::Close() {
    Clear();
    SpreadsheetFile::Close();
}

int BrooksideXML::Open(bool readMode, const char* file, ZmImportOpenOptions*) {
    if (status != 0)
        return status;
    if (!readMode)
        return SetStatus(kOpenedForWriting);
    Clear();
    numCols = -1;
    numRows = -1;
    sizeEstablished = false;
    try {
        Open(file);
        return 0;
    } catch (const zm::fdc::RawDataError& e) {
        detail_ = e.what();
        SetStatus(kRawDataError);
    } catch (const zm::Exception& e) {
        detail_ = e.what();
        SetStatus(kXmlError);
    } catch (...) {
        SetStatus(kUnknownExceptionError);
    }
    // A failed open keeps no half-read document.
    const std::string detail = std::move(detail_);
    Clear();
    detail_ = detail;
    return status;
}

void BrooksideXML::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    try {
        std::string text;
        switch (status) {
            case kXmlError:
                text = zm::Translate("XML Parse error:\n") + detail_;
                break;
            case kRawDataError:
                text = zm::Translate("Error in RAWDATA section:\n") + detail_;
                break;
            case kUnknownExceptionError:
                text = zm::Translate("An unknown exception occurred.");
                break;
            case kOpenedForWriting:
                text = zm::Translate("The file was opened for writing which is not supported.");
                break;
            case kUnknownError:
            case kUnknownError + 5:
            case kUnknownError + 6:
                text = zm::Translate("An unknown error occurred.");
                break;
            default:
                SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
                return;
        }
        zm::CopyErrorText(text, buffer, bufferSize);
    } catch (...) {
        if (buffer != nullptr && bufferSize > 0)
            buffer[0] = '\0';
    }
}

const char* BrooksideXML::GetWarningMessage() {
    return warning_.empty() ? nullptr : warning_.c_str();
}

int BrooksideXML::SizePhases(int wafer) const {
    if (wafer < 0 || wafer >= SizeWafer())
        return 0;
    return static_cast<int>(wafers_[wafer].phases.size());
}

std::string BrooksideXML::GetWaferAttribute(int wafer, WaferAttributeType type) const {
    if (wafer < 0 || wafer >= SizeWafer() || type < 0 || type >= kWaferAttributeCount)
        return std::string();
    return wafers_[wafer].attributes[type];
}

namespace {

const BrooksideXML::Phase* PhaseAt(const std::vector<BrooksideXML::Wafer>& wafers, int wafer,
                                   int phase) {
    if (wafer < 0 || static_cast<size_t>(wafer) >= wafers.size())
        return nullptr;
    const auto& phases = wafers[wafer].phases;
    if (phase < 0 || static_cast<size_t>(phase) >= phases.size())
        return nullptr;
    return &phases[phase];
}

}  // namespace

std::string BrooksideXML::GetPhaseName(int wafer, int phase) const {
    const Phase* p = PhaseAt(wafers_, wafer, phase);
    return p != nullptr ? p->name : std::string();
}

int BrooksideXML::GetPhaseNumber(int wafer, int phase) const {
    const Phase* p = PhaseAt(wafers_, wafer, phase);
    return p != nullptr ? p->number : 0;
}

std::string BrooksideXML::GetPhaseStartTime(int wafer, int phase) const {
    const Phase* p = PhaseAt(wafers_, wafer, phase);
    return p != nullptr ? p->startTime : std::string();
}

double BrooksideXML::GetPhaseDuration(int wafer, int phase) const {
    const Phase* p = PhaseAt(wafers_, wafer, phase);
    return p != nullptr ? p->duration : 0;
}

bool BrooksideXML::GetPhaseFromTo(int wafer, int phase, int& from, int& to) const {
    const Phase* p = PhaseAt(wafers_, wafer, phase);
    if (p == nullptr)
        return false;
    from = p->fromRow;
    to = p->toRow;
    return true;
}

std::vector<BrooksideXML::SumData> BrooksideXML::GetSumData(int wafer, int phase) const {
    const Phase* p = PhaseAt(wafers_, wafer, phase);
    return p != nullptr ? p->sumData : std::vector<SumData>();
}

std::vector<BrooksideXML::RecipeParameter> BrooksideXML::GetRecipeParameterList(int wafer,
                                                                                int phase) const {
    const Phase* p = PhaseAt(wafers_, wafer, phase);
    return p != nullptr ? p->recipeParameters : std::vector<RecipeParameter>();
}

std::string BrooksideXML::GetAttribute(const std::string& name) const {
    if (name == "ID")
        return apcSystemName_;
    if (name == "MessageSequenceIdentifier")
        return messageSequenceIdentifier_;
    if (name == "Name")
        return trendName_;
    if (name == "TopicName")
        return topicName_;
    const auto it = logistics_.find(name);
    return it != logistics_.end() ? it->second : std::string();
}
