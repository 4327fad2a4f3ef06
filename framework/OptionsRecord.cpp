// Options records: the framed settings document, decoded, encoded and stored.
#include "framework/OptionsRecord.h"

#include <cstring>
#include <exception>

#include "platform/BinaryString.h"

namespace zm {

OptionsDecode DecodeOptions(const ZmImportOpenOptions* options,
                            std::unique_ptr<SettingsDocument>& document) {
    document.reset();
    if (options == nullptr || options->size == 0)
        return OptionsDecode::kNoOptions;
    if (options->data == nullptr)
        return OptionsDecode::kMalformed;
    std::string xml;
    if (!ReadBinaryString(options->data, options->size, xml))
        return OptionsDecode::kMalformed;
    try {
        document = SettingsDocument::Parse(xml);
    } catch (const std::exception&) {
        return OptionsDecode::kMalformed;
    }
    return OptionsDecode::kDecoded;
}

std::string EncodeOptions(const SettingsDocument& document) {
    std::string bytes;
    WriteBinaryString(bytes, document.ToXml());
    return bytes;
}

void StoreOptions(ZmImportOpenOptions* options, const SettingsDocument& document) {
    if (options == nullptr)
        return;
    const std::string bytes = EncodeOptions(document);
    auto* data = new unsigned char[bytes.size()];
    std::memcpy(data, bytes.data(), bytes.size());
    options->data = data;
    options->size = static_cast<uint32_t>(bytes.size());
}

ZmImportOpenOptions* NewOptionsRecord(const SettingsDocument& document) {
    auto* options = new ZmImportOpenOptions{0, nullptr};
    StoreOptions(options, document);
    return options;
}

void FreeOptionsRecord(ZmImportOpenOptions* options) {
    if (options == nullptr)
        return;
    delete[] options->data;
    delete options;
}

}  // namespace zm
