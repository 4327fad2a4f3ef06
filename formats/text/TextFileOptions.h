// The choices of the delimited text formats: encoding, delimiter and whether runs of
// delimiters count as one, with their stored form in an options record and the fixed
// table of text encodings offered to the user.
#pragma once

#include <cstddef>
#include <string>

#include "framework/SpreadsheetFile.h"
#include "framework/ZmImportTypes.h"
#include "platform/ZmExport.h"

class ZMIMPORT_API TextFileOptions {
  public:
    TextFileOptions() = default;
    TextFileOptions(const TextFileOptions&) = default;
    TextFileOptions& operator=(const TextFileOptions&) = default;

    // Whether the delimiter and the consecutive-delimiter flag belong to the stored
    // options; a derived options class without use for one returns false and the field
    // is then neither stored nor restored.
    virtual bool UseDelimiterOption() const { return true; }
    virtual bool UseConsecutiveOption() const { return true; }
    virtual ~TextFileOptions() = default;

    const std::string& GetEncoding() const { return encoding; }
    void SetEncoding(const std::string& key) { encoding = key; }
    const std::string& GetDelimiter() const { return delimiter; }
    void SetDelimiter(const std::string& text) { delimiter = text; }
    bool GetIgnoreConsecutiveDelimiters() const { return ignoreConsecutiveDelimiters; }
    void SetIgnoreConsecutiveDelimiters(bool ignore) { ignoreConsecutiveDelimiters = ignore; }

    // Restores the fields from `record`; false when the record lacks a key this class
    // stores (fields read before that keep their new values). A record whose bytes are
    // not a settings document throws.
    bool Read(ZmImportOpenOptions* record);
    // Replaces the record's size and data with the stored form of the fields; the new
    // bytes are allocated with new[] and the previous ones are not freed.
    void Write(ZmImportOpenOptions* record) const;

    // Index of the encoding whose key equals `key` exactly; the local code page's index
    // when none does.
    static size_t GetEncodingIndex(const std::string& key);
    // The translated display name of the encoding at `index`; empty outside the table.
    static std::wstring GetPrettyName(size_t index);
    static const char** GetAllEncodings();
    static size_t GetEncodingsCount();

  protected:
    std::string encoding;  // a key of the encoding table; empty: local code page
    std::string delimiter = "\t";
    bool ignoreConsecutiveDelimiters = false;
};

// Fills a text format's options `local` from the host's record. An empty record gets the
// format's defaults (`defaults()`, which may ask the user and then leave `status` at
// kStatusAborted) and is filled with them, so that the host can show them; a record that
// does not parse stores kStatusBadOptions in `status` unless it holds an earlier error.
// False when the user cancelled.
template <class Options, class Defaults>
bool TakeOptionsRecord(ZmImportOpenOptions* record, Options& local, Defaults defaults,
                       int& status) {
    if (record == nullptr || record->size == 0 || record->data == nullptr) {
        local = defaults();
        if (status == kStatusAborted)
            return false;
        if (record != nullptr)
            local.Write(record);
    } else if (!local.Read(record) && status == 0) {
        status = kStatusBadOptions;
    }
    return true;
}
