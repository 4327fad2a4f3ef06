// Golden dumps and the open-size-read sequence used by format tests.
#include "tests/support/RecordingSink.h"

#include <gtest/gtest.h>

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

void ExpectCells(const RecordingSink& sink, const std::vector<Expect>& cells,
                 const std::string& where) {
    for (const Expect& e : cells) {
        const std::string at =
            where + " cell " + std::to_string(e.col) + "," + std::to_string(e.row);
        if (e.absent)
            EXPECT_FALSE(sink.Has(e.col, e.row)) << at;
        else if (!sink.Has(e.col, e.row))
            ADD_FAILURE() << at << " is missing";
        else if (e.kind == Cell::kText)
            EXPECT_EQ(sink.At(e.col, e.row).text, e.text) << at;
        else
            EXPECT_EQ(sink.At(e.col, e.row).number, e.number) << at;
    }
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

std::string ReadSized(SpreadsheetFile& reader, const std::string& file, RecordingSink& sink,
                      ZmImportOpenOptions* options) {
    const int status = ReadAll(reader, file, sink, options);
    return std::to_string(status) + " " + std::to_string(reader.GetNumRows()) + "x" +
           std::to_string(reader.GetNumCols());
}

}  // namespace zmtest
