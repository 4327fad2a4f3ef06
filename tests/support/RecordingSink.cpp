// Golden dumps and the open-size-read sequence used by format tests.
#include "tests/support/RecordingSink.h"

#include <charconv>

namespace zmtest {

std::string RecordingSink::Dump() const {
    std::string out;
    for (const auto& [key, cell] : cells) {
        out += std::to_string(key.first) + '\t' + std::to_string(key.second) + '\t';
        if (cell.kind == Cell::kText) {
            out += "text\t" + cell.text;
        } else {
            char buffer[64];
            const auto r = std::to_chars(buffer, buffer + sizeof buffer, cell.number);
            out += "number\t" + std::string(buffer, r.ptr);
        }
        out += '\n';
    }
    return out;
}

int ReadAll(SpreadsheetFile& reader, const std::string& file, RecordingSink& sink,
            ZmImportOpenOptions* options) {
    if (int s = reader.Open(true, file.c_str(), options); s != 0)
        return s;
    const int rows = reader.GetNumRows();
    const int cols = reader.GetNumCols();
    if (rows < 0 || cols < 0)
        return reader.GetStatus() != 0 ? reader.GetStatus() : 2;
    sink.SetDataSize(cols, rows);
    return reader.Read(&sink);
}

}  // namespace zmtest
