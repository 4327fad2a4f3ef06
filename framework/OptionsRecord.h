// Options records carry one binary string holding a settings document; these turn one
// into the other.
#pragma once

#include <memory>
#include <string>

#include "framework/ZmImportTypes.h"
#include "platform/Settings.h"
#include "platform/ZmExport.h"

namespace zm {

// Options records: one binary string holding the settings document's XML.
enum class OptionsDecode { kNoOptions, kDecoded, kMalformed };

// Decodes a record. A null record or size 0 is kNoOptions; bytes that are not a framed
// settings document are kMalformed (readers answer code 5).
ZMIMPORT_API OptionsDecode DecodeOptions(const ZmImportOpenOptions* options,
                                         std::unique_ptr<SettingsDocument>& document);
// The framed bytes of a document.
ZMIMPORT_API std::string EncodeOptions(const SettingsDocument& document);
// Replaces the record's bytes with the document; the bytes are allocated with new[]
// and belong to the record's receiver. Any earlier bytes are not freed (not ours).
ZMIMPORT_API void StoreOptions(ZmImportOpenOptions* options, const SettingsDocument& document);
// A new record holding the document (new'd record, new[]'d bytes).
ZMIMPORT_API ZmImportOpenOptions* NewOptionsRecord(const SettingsDocument& document);
// Releases a record made by this library.
ZMIMPORT_API void FreeOptionsRecord(ZmImportOpenOptions* options);

}  // namespace zm
