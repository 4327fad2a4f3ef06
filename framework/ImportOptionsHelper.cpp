// The common keys "Sheets" and "ReadOrder" of the settings document in an options record.
#include "framework/ImportOptionsHelper.h"

#include <cstring>
#include <memory>

#include "framework/OptionsRecord.h"
#include "platform/Exception.h"
#include "platform/Settings.h"

namespace ImportOptionsHelper {
namespace {

constexpr const char* kSection = "Settings";
constexpr const char* kSheets = "Sheets";
constexpr const char* kReadOrder = "ReadOrder";
constexpr int kMergeSideBySide = 3;

unsigned char* CopyBytes(const ZmImportOpenOptions& record) {
    if (record.size == 0 || record.data == nullptr)
        return nullptr;
    auto* bytes = new unsigned char[record.size];
    std::memcpy(bytes, record.data, record.size);
    return bytes;
}

// The record's settings document, or null when it holds none (no bytes, or bytes that
// do not decode).
std::unique_ptr<zm::SettingsDocument> Decode(const ZmImportOpenOptions& options) {
    std::unique_ptr<zm::SettingsDocument> document;
    zm::DecodeOptions(&options, document);
    return document;
}

}  // namespace

OpenOptions::OpenOptions(const OpenOptions& other)
    : ZmImportOpenOptions{other.data != nullptr ? other.size : 0, CopyBytes(other)} {}

OpenOptions& OpenOptions::operator=(const OpenOptions& other) {
    if (this != &other) {
        unsigned char* bytes = CopyBytes(other);
        delete[] data;
        data = bytes;
        size = bytes != nullptr ? other.size : 0;
    }
    return *this;
}

OpenOptions::~OpenOptions() {
    delete[] data;
}

std::vector<std::string> GetDocuments(const ZmImportOpenOptions& options) {
    std::vector<std::string> documents;
    const auto document = Decode(options);
    if (!document)
        return documents;
    const auto sheets = document->GetString(kSection, kSheets);
    if (!sheets)
        return documents;
    if (sheets->empty())
        return documents;
    // Every item counts, empty ones included: "a;;b;" names four documents.
    size_t start = 0;
    for (;;) {
        const size_t end = sheets->find(';', start);
        documents.push_back(sheets->substr(start, end - start));
        if (end == std::string::npos)
            return documents;
        start = end + 1;
    }
}

bool SetDocuments(ZmImportOpenOptions& options, std::vector<std::string> documents) {
    std::unique_ptr<zm::SettingsDocument> document;
    switch (zm::DecodeOptions(&options, document)) {
        case zm::OptionsDecode::kMalformed:
            return false;
        case zm::OptionsDecode::kNoOptions:
            document = std::make_unique<zm::SettingsDocument>();
            break;
        case zm::OptionsDecode::kDecoded:
            break;
    }
    std::string joined;
    for (size_t i = 0; i < documents.size(); ++i) {
        if (i > 0)
            joined += ';';
        joined += documents[i];
    }
    document->SetString(kSection, kSheets, joined);
    // The earlier bytes stay with whoever built the record.
    zm::StoreOptions(&options, *document);
    return true;
}

bool SetDocuments(OpenOptions& options, std::vector<std::string> documents) {
    unsigned char* earlier = options.data;
    if (!SetDocuments(static_cast<ZmImportOpenOptions&>(options), std::move(documents)))
        return false;
    delete[] earlier;  // an OpenOptions owns its bytes
    return true;
}

int GetReadOrder(const ZmImportOpenOptions& options) {
    const auto document = Decode(options);
    if (!document)
        return kMergeSideBySide;
    const auto order = document->GetInt(kSection, kReadOrder);
    return order ? static_cast<int>(*order) : kMergeSideBySide;
}

bool IsMergeDocuments(const ZmImportOpenOptions& options) {
    const auto document = Decode(options);
    if (!document)
        return true;
    const auto order = document->GetInt(kSection, kReadOrder);
    return order && *order == kMergeSideBySide;
}

OpenOptions* CreateOpenOptions(std::string settingsXml) {
    std::unique_ptr<zm::SettingsDocument> document;
    try {
        document = zm::SettingsDocument::Parse(settingsXml);
    } catch (const std::exception&) {
        throw zm::Exception("Invalid file open option format");
    }
    auto options = std::make_unique<OpenOptions>();
    zm::StoreOptions(options.get(), *document);
    return options.release();
}

}  // namespace ImportOptionsHelper
