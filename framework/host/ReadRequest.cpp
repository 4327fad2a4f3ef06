// Settling a read before it starts: the format, the reader's default settings, the check
// of the settings given and the sheet the read takes.
#include "framework/host/ReadRequest.h"

#include <memory>

#include "framework/host/FormatChoice.h"
#include "framework/host/FormatTable.h"
#include "framework/host/LoaderFormats.h"
#include "framework/host/ReaderSession.h"
#include "framework/host/SettingsCheck.h"

namespace zmhost {

namespace {

// A sink that takes every cell and keeps none.
class DiscardingSink : public ReadSpreadSheetData {
  public:
    int GetNumberOfColumns() override { return cols; }
    int GetNumberOfRows() override { return rows; }
    void Set(int, int, const char*) override {}
    void Set(int, int, float) override {}
    void SetDataSize(int c, int r) override { cols = c, rows = r; }

  private:
    int cols = 0, rows = 0;
};

}  // namespace

int FormatFor(const ReadRequest& request, Failure& failure) {
    if (!request.format.empty()) {
        const int index = ResolveFormat(request.format);
        if (index == 0) {
            failure = {"unknown format '" + request.format +
                           "' (see 'zmimport formats' for names and indexes)",
                       true};
            return 0;
        }
        // The files pass the same check as in the application's open dialog.
        std::string error;
        if (CheckFiles(request.files, index, error) == 0) {
            failure = {request.files.front() + ": " + error};
            return 0;
        }
        return index;
    }
    std::string why;
    const int index = ChooseFormat(request.files, &why);
    if (index == 0)
        failure = {NoFormatText(request.files.front(), why)};
    return index;
}

bool DefaultOptionsXml(int index, const std::string& file, std::string& xml, bool& opened,
                       std::string& openError) {
    xml.clear();
    // Readers write their defaults into an empty record.
    OptionsRecord record;
    ReaderPtr reader = CreateReader(index);
    opened = reader->RefuseIrregularInput(file.c_str()) == 0 &&
             reader->Open(true, file.c_str(), record.Get()) == 0;
    if (!opened)
        openError = ErrorTextOf(*reader);
    if (!record.DecodeXml(xml))
        return false;
    if (xml.empty() && opened) {
        // Some readers (CSV) apply and write back their options only when reading: read
        // into a sink that keeps nothing to find them.
        DiscardingSink discard;
        if (reader->GetNumRows() >= 0 && reader->GetNumCols() >= 0 && reader->Read(&discard) == 0 &&
            !record.DecodeXml(xml))
            return false;
    }
    if (xml.empty()) {
        std::unique_ptr<ZmImportOpenOptions, void (*)(ZmImportOpenOptions*)> fileOptions(
            CreateReader(index)->GetFileReadOptions(file.c_str(), false),
            [](ZmImportOpenOptions* o) {
                if (o != nullptr)
                    delete[] o->data;
                delete o;
            });
        if (fileOptions) {
            OptionsRecord copy;
            *copy.Get() = *fileOptions;
            fileOptions->data = nullptr;  // now owned by `copy`
            if (!copy.DecodeXml(xml))
                return false;
        }
    }
    return true;
}

std::string SetBase(const ReadRequest& request, int index) {
    std::string xml, openError;
    bool opened = false;
    if (request.settings.empty() || !request.optionsFile.empty() || request.files.empty() ||
        !DefaultOptionsXml(index, request.files.front(), xml, opened, openError))
        return std::string();
    return xml;
}

bool PlanRead(const ReadRequest& request, int index, ReadPlan& plan, Failure& failure,
              bool offerMayWait) {
    plan = ReadPlan();
    plan.base = SetBase(request, index);
    const std::string& file = request.files.front();
    if (!request.settings.empty()) {
        std::string defaults = plan.base, openError;
        bool opened = false;
        if (!request.optionsFile.empty())
            DefaultOptionsXml(index, file, defaults, opened, openError);
        const SettingsVerdict verdict = CheckSettings(defaults, request.settings);
        if (!verdict.error.empty()) {
            failure = {verdict.error};
            return false;
        }
        if (!verdict.unknown.empty())
            plan.warning = UnknownKeysWarning(FormatInfo(index)->name, verdict);
    }
    if (request.files.size() != 1)
        return true;
    if (offerMayWait && request.settings.empty() && request.optionsFile.empty()) {
        const ReaderPtr reader = CreateReader(index);
        plan.offerAfterRead = reader && TellsItsOffer(*reader);
        if (plan.offerAfterRead)
            return true;
    }
    plan.offered = FindSheetOffer(index, file, plan.offer);
    if (!plan.offered)
        return true;
    plan.chosen = !request.optionsFile.empty() || SettingsChoose(plan.offer, request.settings);
    const std::string missing = CheckSheetChoice(plan.offer, request.settings);
    if (!missing.empty()) {
        failure = {file + ": " + missing};
        return false;
    }
    return true;
}

}  // namespace zmhost
