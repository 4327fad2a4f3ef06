// Default behaviour of every reader: sizing on demand, sticky status, common texts.
#include "framework/SpreadsheetFile.h"

#include "platform/ErrorText.h"
#include "platform/InputFile.h"
#include "platform/Translate.h"

SpreadsheetFile::~SpreadsheetFile() = default;

void SpreadsheetFile::Close() {
    status = 0;
    failureText.clear();
    failedFile.clear();
}

int SpreadsheetFile::RefuseIrregularInput(const char* files) {
    if (status != 0 || files == nullptr)
        return status;
    std::string refusal = zm::RefusalOfInputFiles(files);
    if (refusal.empty())
        return status;
    failureText = std::move(refusal);
    return SetStatus(kStatusNotRegularFile);
}

int SpreadsheetFile::SetReadError(int errorNumber) {
    if (status != 0)
        return status;
    failureText = zm::SystemErrorText(errorNumber);
    return SetStatus(kStatusReadError);
}

int SpreadsheetFile::GetNumCols() {
    if (!sizeEstablished && EstablishSize() != 0)
        return -1;
    return numCols;
}

int SpreadsheetFile::GetNumRows() {
    if (!sizeEstablished && EstablishSize() != 0)
        return -1;
    return numRows;
}

int SpreadsheetFile::GetStatus() {
    return status;
}

void SpreadsheetFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    switch (status) {
        case kStatusOk:
            zm::CopyErrorText("", buffer, bufferSize);
            return;
        case kStatusNotImplemented:
            zm::CopyErrorText(
                zm::Translate("This function is not implemented for this file format."), buffer,
                bufferSize);
            return;
        case kStatusSizeFailed:
            zm::CopyErrorText(zm::Translate("An error occurred when trying to establish the size "
                                            "of the data in the file."),
                              buffer, bufferSize);
            return;
        case kStatusWrongMode:
            zm::CopyErrorText(zm::Translate("Tried to write to the file when it was opened for "
                                            "reading or vice versa."),
                              buffer, bufferSize);
            return;
        case kStatusAborted:
            // A token the driver recognises, so it is never translated.
            zm::CopyErrorText("AbortedByUser", buffer, bufferSize);
            return;
        case kStatusBadOptions:
            zm::CopyErrorText(zm::Translate("Incorrect format of file open options"), buffer,
                              bufferSize);
            return;
        case kStatusUnknownException:
            zm::CopyErrorText(zm::Translate("An unknown exception occurred."), buffer, bufferSize);
            return;
        case kStatusNotRegularFile:
            // The text names the file and what it is; a code set without one says less.
            zm::CopyErrorText(failureText.empty() ? zm::Translate("The file is not a regular "
                                                                  "file and cannot be imported.")
                                                  : failureText,
                              buffer, bufferSize);
            return;
        case kStatusReadError:
            zm::CopyErrorText(failureText.empty() ? zm::Translate("The file could not be read.")
                                                  : zm::Translate("The file could not be read: ") +
                                                        failureText + ".",
                              buffer, bufferSize);
            return;
        default:
            zm::CopyErrorText(zm::Translate("No further information available."), buffer,
                              bufferSize);
            return;
    }
}

const char* SpreadsheetFile::GetWarningMessage() {
    return nullptr;
}

ZmImportOpenOptions* SpreadsheetFile::GetFileReadOptions(const char*, bool) {
    return nullptr;
}

const char* SpreadsheetFile::GetReadFile() {
    return nullptr;
}

int SpreadsheetFile::Write(WriteSpreadSheetData*) {
    return SetStatus(kStatusNotImplemented);
}

int SpreadsheetFile::operator!() const {
    return status;
}

bool SpreadsheetFile::GetReadChoices(ReadChoices&) {
    return false;
}

const char* SpreadsheetFile::GetFailedFile() {
    return status != 0 && !failedFile.empty() ? failedFile.c_str() : nullptr;
}

void SpreadsheetFile::SetImportSpec(ImportSpecBase* importSpec) {
    if (importSpec != nullptr)
        importSpec->accepted = false;
}
