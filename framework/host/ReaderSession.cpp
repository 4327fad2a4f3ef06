// Reader driving for a host, in the calling order every reader expects.
#include "framework/host/ReaderSession.h"

#include <ostream>

#include <exception>
#include <fstream>
#include <sstream>

#include "framework/OptionsRecord.h"
#include "framework/host/EncodingKeys.h"
#include "framework/host/LoaderFormats.h"
#include "platform/FileNames.h"
#include "platform/ReadMeter.h"
#include "platform/Settings.h"

namespace zmhost {

OptionsRecord::~OptionsRecord() {
    if (record.data != ownBytes)
        delete[] record.data;
    delete[] ownBytes;
}

bool OptionsRecord::LoadIfGiven(const std::string& path, std::string& failure,
                                const std::vector<std::pair<std::string, std::string>>& sets,
                                const std::string& defaults) {
    if (path.empty() && sets.empty())
        return true;
    std::string error;
    if (Load(path, error, sets, defaults))
        return true;
    failure = (path.empty() ? std::string("--set") : path) + ": " + error;
    return false;
}

bool OptionsRecord::Load(const std::string& path, std::string& error,
                         const std::vector<std::pair<std::string, std::string>>& sets,
                         const std::string& defaults) {
    std::string xml = defaults.empty() ? "<Configuration/>" : defaults;
    if (!path.empty()) {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            error = "cannot open the settings file";
            return false;
        }
        std::ostringstream text;
        text << in.rdbuf();
        xml = text.str();
    }
    try {
        std::unique_ptr<zm::SettingsDocument> document = zm::SettingsDocument::Parse(xml);
        // --set KEY=VALUE: keys of the common section, over what the file says.
        // A key that holds a list (spectral x ranges, blocks) takes ";"-separated items.
        for (const auto& [key, value] : sets) {
            const auto items = document->GetList("Settings", key);
            if (items && !items->empty())
                document->SetList("Settings", key, zm::SplitSettingsList(value));
            else
                document->SetString("Settings", key, value);
        }
        // The readers refuse an unknown encoding key as bad options; say which key it was.
        const auto key = document->GetString("Settings", "Encoding");
        if (key && !IsKnownEncoding(*key)) {
            error = "unknown encoding key '" + *key + "' (" + KnownEncodings() + ")";
            return false;
        }
        std::unique_ptr<ZmImportOpenOptions, void (*)(ZmImportOpenOptions*)> made(
            zm::NewOptionsRecord(*document), zm::FreeOptionsRecord);
        if (record.data != ownBytes)
            delete[] record.data;
        delete[] ownBytes;
        record = *made;
        ownBytes = made->data;
        made->data = nullptr;
        return true;
    } catch (const std::exception& e) {
        error = std::string("not a settings document: ") + e.what();
        return false;
    }
}

bool OptionsRecord::DecodeXml(std::string& xml) const {
    xml.clear();
    std::unique_ptr<zm::SettingsDocument> document;
    switch (zm::DecodeOptions(&record, document)) {
        case zm::OptionsDecode::kNoOptions:
            return true;
        case zm::OptionsDecode::kDecoded:
            xml = document->ToXml();
            return true;
        default:
            return false;
    }
}

void ReaderCloser::operator()(SpreadsheetFile* reader) const {
    if (reader == nullptr)
        return;
    reader->Close();
    delete reader;
}

ReaderPtr CreateReader(int formatIndex) {
    return ReaderPtr(NewListedReader(formatIndex));
}

std::string ErrorTextOf(SpreadsheetFile& reader) {
    char buffer[1024] = {};
    reader.GetErrorMessage(buffer, sizeof(buffer));
    std::string text = buffer;
    if (text.empty())
        text = "the reader failed without saying why";
    return text;
}

ReadOutcome ReadIntoSink(int formatIndex, const std::vector<std::string>& files,
                         ZmImportOpenOptions* options, CommandSink& sink,
                         const std::function<void(SpreadsheetFile&)>& afterRead) {
    ReadOutcome outcome;
    try {
        ReaderPtr reader = CreateReader(formatIndex);
        if (!reader) {
            outcome.error = "no reader for this format";
            return outcome;
        }
        // The reader's text and code, and of several files the one that failed.
        const auto failed = [&](int code) {
            outcome.error = ErrorTextOf(*reader);
            outcome.code = code;
            const char* file = files.size() > 1 ? reader->GetFailedFile() : nullptr;
            outcome.file = file != nullptr ? file : "";
            return outcome;
        };
        // The input layers tell how far into the files the reader is, from its opening
        // on: a workbook's sheets and a set of spectra are parsed before a cell is set.
        const zm::ReadMeter meter(
            files, [&sink](uint64_t done, uint64_t total) { sink.ReportBytesRead(done, total); });
        const std::string joined = zm::JoinFileNames(files);
        if (reader->RefuseIrregularInput(joined.c_str()) != 0 ||
            reader->Open(true, joined.c_str(), options) != 0)
            return failed(reader->GetStatus());
        const int rows = reader->GetNumRows();
        const int cols = reader->GetNumCols();
        if (rows < 0 || cols < 0)
            return failed(reader->GetStatus());
        // Rows without a single column (a range filter that matches no point) are
        // refused as an empty sheet, as the application does; an empty worksheet of a
        // workbook stays an empty table.
        if (rows > 0 && cols == 0) {
            outcome.error = "The selected file does not contain any data. Import will be aborted.";
            return outcome;
        }
        sink.SetDataSize(cols, rows);
        sink.ExpectCells(static_cast<long long>(cols) * rows);
        const int status = reader->Read(&sink);
        sink.FinishProgress();
        if (const char* warning = reader->GetWarningMessage())
            outcome.warning = warning;
        if (status != 0)
            return failed(status);
        outcome.ok = true;
        if (afterRead)
            afterRead(*reader);
    } catch (const std::exception& e) {
        outcome.error = std::string("unexpected failure: ") + e.what();
    } catch (...) {
        outcome.error = "unexpected failure inside the reader";
    }
    sink.FinishProgress();
    return outcome;
}

}  // namespace zmhost
