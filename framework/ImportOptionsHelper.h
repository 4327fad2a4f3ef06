// Reading and writing the common keys of an options record, and an options record that
// owns its bytes.
#pragma once

#include <string>
#include <vector>

#include "framework/ZmImportTypes.h"
#include "platform/ZmExport.h"

namespace ImportOptionsHelper {

// An options record that owns its bytes (allocated with new[]).
class ZMIMPORT_API OpenOptions : public ZmImportOpenOptions {
  public:
    OpenOptions() : ZmImportOpenOptions{0, nullptr} {}
    // Takes over the record's size and bytes; the bytes must come from new[].
    explicit OpenOptions(const ZmImportOpenOptions& record)
        : ZmImportOpenOptions{record.size, record.data} {}
    OpenOptions(const OpenOptions& other);
    OpenOptions& operator=(const OpenOptions& other);
    ~OpenOptions();
};

// The documents (sheets) to read: the key "Sheets" split at ";". Empty when the record
// holds no settings document or no such key.
ZMIMPORT_API std::vector<std::string> GetDocuments(const ZmImportOpenOptions& options);

// Writes the documents joined with ";" under "Sheets" and points the record at new
// bytes (new[], the receiver's to release). The earlier bytes are left alone: they
// belong to whoever built the record. False when the record holds bytes that are not a
// settings document.
ZMIMPORT_API bool SetDocuments(ZmImportOpenOptions& options, std::vector<std::string> documents);
// The same for a record that owns its bytes: the earlier ones are released.
ZMIMPORT_API bool SetDocuments(OpenOptions& options, std::vector<std::string> documents);

// How several documents are combined: 1 stacked (rows after rows), 3 side by side
// (columns after columns). 3 when the record holds no settings document or no such key.
ZMIMPORT_API int GetReadOrder(const ZmImportOpenOptions& options);

// True when the record holds no settings document; otherwise exactly when "ReadOrder" is 3
// (a document without the key does not merge).
ZMIMPORT_API bool IsMergeDocuments(const ZmImportOpenOptions& options);

// A new record holding the settings document `settingsXml`, owned by the caller. Throws
// zm::Exception("Invalid file open option format") when the text is not a settings document.
ZMIMPORT_API OpenOptions* CreateOpenOptions(std::string settingsXml);

}  // namespace ImportOptionsHelper
