// Adapters that let a reader fill, or a writer empty, a host object that crossed the
// exported interface as an untyped pointer.
#pragma once

#include "framework/SpreadSheetData.h"
#include "framework/ZmHostData.h"
#include "platform/ZmExport.h"

// Sink over a host read target. Whole numbers too large for a float travel as decimal
// text so that they stay exact; -99 as a 64-bit integer is the missing marker.
class ZMIMPORT_API DLLReadSpreadSheetData : public ReadSpreadSheetData {
  public:
    explicit DLLReadSpreadSheetData(void* hostTarget)
        : host(static_cast<ZmHostReadTarget*>(hostTarget)) {}

    int GetNumberOfColumns() override;
    int GetNumberOfRows() override;
    void Set(int col, int row, int value) override;
    void Set(int col, int row, long long value) override;
    void Set(int col, int row, double value) override;
    void Set(int col, int row, const char* text) override;
    void Set(int col, int row, float value) override;
    int MapRow(int rowCounter) override;
    void SetDataSize(int cols, int rows) override;

  private:
    ZmHostReadTarget* host;
};

// Source over a host write source.
class ZMIMPORT_API DLLWriteSpreadSheetData : public WriteSpreadSheetData {
  public:
    explicit DLLWriteSpreadSheetData(void* hostSource)
        : host(static_cast<ZmHostWriteSource*>(hostSource)) {}

    int GetNumberOfColumns() override;
    int GetNumberOfRows() override;
    float GetNumber(int col, int row) override;
    std::string GetText(int col, int row) override;
    bool GetDataOrigin(int* col, int* row) override;
    bool IsNumber(int col, int row) override;
    bool IsMissing(int col, int row) override;
    bool IsText(int col, int row) override;

  private:
    ZmHostWriteSource* host;
};
