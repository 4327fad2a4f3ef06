// Host objects as a foreign application lays them out, for driving the exported interface.
#pragma once

#include <map>
#include <string>
#include <utility>

#include "framework/ZmHostData.h"

namespace zmtest {

// A host read target that records what the library delivers. Cells are keyed by
// (row, col) in the host's own argument order. Cells outside the announced size are
// counted instead of stored, so tests can check that readers keep within it.
class RecordingHost : public ZmHostReadTarget {
  public:
    struct Cell {
        bool isText = false;
        float number = 0;
        std::string text;
    };

    void SetNumber(int row, int col, float value) override {
        if (Outside(row, col))
            return;
        Cell& c = cells[{row, col}];
        c.isText = false;
        c.number = value;
        c.text.clear();
    }
    void SetText(int row, int col, const char* text) override {
        if (Outside(row, col))
            return;
        Cell& c = cells[{row, col}];
        c.isText = true;
        c.text = text != nullptr ? text : "";
    }
    void SetSize(int r, int c) override {
        rows = r;
        cols = c;
        ++sizeCalls;
    }
    int MapRow(int rowCounter) override {
        ++mapRowCalls;
        return stopAtRow >= 0 && rowCounter >= stopAtRow ? -1 : rowCounter + 1;
    }

    bool Has(int row, int col) const { return cells.count({row, col}) != 0; }
    const Cell& At(int row, int col) const { return cells.at({row, col}); }

    std::map<std::pair<int, int>, Cell> cells;
    int sizeCalls = 0;
    int mapRowCalls = 0;
    int outside = 0;     // cells delivered outside 1..rows x 1..cols
    int stopAtRow = -1;  // MapRow answers -1 from this counter on

  private:
    bool Outside(int row, int col) {
        if (row >= 1 && col >= 1 && row <= rows && col <= cols)
            return false;
        ++outside;
        return true;
    }
};

}  // namespace zmtest
