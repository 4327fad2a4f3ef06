/* A host written in C against the installed headers: lists the formats, then reads a CSV
   file through a read target laid out by hand. Usage: host-c FILE.csv */
#include <stdio.h>
#include <string.h>

#include "framework/ZmHostData.h"
#include "framework/ZmImport.h"

static int cells = 0;
static char firstText[64] = "";
static float lastNumber = 0.0f;

static void SetNumber(ZmHostReadTarget* self, int row, int col, float value) {
    (void)self, (void)row, (void)col;
    lastNumber = value;
    ++cells;
}
static void SetText(ZmHostReadTarget* self, int row, int col, const char* text) {
    (void)self;
    if (row == 1 && col == 1)
        snprintf(firstText, sizeof firstText, "%s", text);
    ++cells;
}
static void SetSize(ZmHostReadTarget* self, int rows, int cols) {
    self->rows = rows;
    self->cols = cols;
}
static void Nothing(ZmHostReadTarget* self) {
    (void)self;
}
static int MapRow(ZmHostReadTarget* self, int rowCounter) {
    (void)self;
    return rowCounter + 1;
}

int main(int argc, char** argv) {
    if (argc < 2)
        return 2;
    const int count = ZmImportSizeFileFormatsSupported();
    int csv = 0;
    for (int i = 1; i <= count; ++i) {
        const ZmImportFileFormatInfo* info = ZmImportGetFileFormatInfo(i);
        if (strcmp(info->name, "CSV File") == 0)
            csv = i;
    }
    if (csv == 0 || ZmImportIsCorrectFileType(csv, argv[1]) == 0)
        return 3;
    static const ZmHostReadTargetTable table = {SetNumber, SetText, SetSize,
                                                Nothing,   Nothing, MapRow};
    ZmHostReadTarget target = {&table, {NULL, NULL}, 0, 0};
    void* handle = NULL;
    bool ok = ZmImportOpen(csv, argv[1], true, &handle, NULL);
    int rows = 0, cols = 0;
    ok = ok && ZmImportEstablishSize(csv, handle, &rows, &cols);
    ok = ok && ZmImportRead(csv, handle, &target);
    if (!ok)
        fprintf(stderr, "%s\n", ZmImportGetLastError(csv, handle));
    ZmImportClose(csv, handle);
    printf("%d formats; %d x %d; %d cells; first \"%s\"; last %g\n", count, target.rows,
           target.cols, cells, firstText, lastNumber);
    return ok && cells > 0 ? 0 : 1;
}
