// The stored sheet as a host write source: what a writer of the registry sees
// through the exported ZmImportWrite.
#pragma once

#include <string>

#include "framework/ZmHostData.h"
#include "framework/host/Sheet.h"

namespace zmhost {

// Numbers are typed 1 and also answer the text query with their shortest exact form
// (text writers ask every cell for its text); texts are 2; missing cells 3 with an
// empty text. The data origin is the first cell after a leading row and column of
// names, where the sheet has them.
class SheetWriteSource : public ZmHostWriteSource {
  public:
    explicit SheetWriteSource(const Sheet& sheet);

    unsigned char GetCellType(int row, int col) override;
    float GetNumber(int row, int col) override;
    const char* GetText(int row, int col) override;
    bool GetDataOrigin(int* col, int* row) override;

  private:
    const Sheet& sheet;
    std::string text;  // the last text handed out; valid until the next call
    int originCol = 1;
    int originRow = 1;
};

}  // namespace zmhost
