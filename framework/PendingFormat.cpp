// Answers of a registered format whose reader is not built.
#include "framework/PendingFormat.h"

void PendingFormatFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
}

int PendingFormatFile::Open(bool, const char*, ZmImportOpenOptions*) {
    return SetStatus(kStatusNotImplemented);
}

int PendingFormatFile::Read(ReadSpreadSheetData*) {
    return SetStatus(kStatusNotImplemented);
}

int PendingFormatFile::Write(WriteSpreadSheetData*) {
    return SetStatus(kStatusNotImplemented);
}

int PendingFormatFile::EstablishSize() {
    return SetStatus(kStatusNotImplemented);
}
