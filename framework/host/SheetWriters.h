// Writing a sheet as CSV, TSV or JSON.
//
// CSV: comma-separated, lines end with LF; a field containing a comma, a double quote,
// CR or LF is enclosed in double quotes with inner quotes doubled.
// TSV: tab-separated, lines end with LF, never quoted; inside texts a backslash, tab,
// LF and CR are written as \\, \t, \n and \r so that every sheet row stays one line.
// JSON: {"columns": C, "rows": R, "cells": [[...], ...]} with one array per sheet row,
// numbers as JSON numbers, texts as JSON strings, missing cells and NaN/inf as null.
// Invalid UTF-8 in JSON strings becomes U+FFFD byte by byte.
// In CSV and TSV missing cells are empty and NaN/inf print as NaN, inf and -inf.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "framework/host/OutputBuffer.h"
#include "framework/host/Sheet.h"

namespace zmhost {

enum class OutputFormat { kCsv, kTsv, kJson };

// "csv", "tsv" or "json"; nullopt for anything else.
std::optional<OutputFormat> ParseOutputFormat(std::string_view name);

// Prints a table cell by cell, left to right and row by row, in one layout. Both the
// stored sheet and the rows streamed during a read go through here, so they print alike.
class RowPrinter {
  public:
    RowPrinter(OutputFormat format, OutputBuffer& out) : format(format), out(out) {}

    void BeginTable(int cols, int rows);
    void BeginRow(int row);
    // Before every cell but a row's first.
    void Separator() {
        if (format == OutputFormat::kJson)
            out.Append(", ");
        else
            out.Append(format == OutputFormat::kCsv ? ',' : '\t');
    }
    void Missing() {
        if (format == OutputFormat::kJson)
            out.Append("null");
    }
    void Double(double value);
    void Float(float value);
    void Integer(long long value);
    // A row's run of finite numbers, each after a separator: the cells that follow one
    // already printed.
    void SeparatedNumbers(const double* values, size_t count);
    void SeparatedNumbers(const float* values, size_t count);
    // A number already in its printed form.
    void NumberText(std::string_view text) { out.Append(text); }
    void Text(std::string_view text);
    void EndRow();
    void EndTable(int rows);

    // Any stored cell.
    void StoredCell(const Sheet& sheet, const Cell& cell);

  private:
    template <typename T>
    void Separated(const T* values, size_t count);

    OutputFormat format;
    OutputBuffer& out;
};

void WriteSheet(const Sheet& sheet, OutputFormat format, OutputBuffer& out);
void WriteSheet(const Sheet& sheet, OutputFormat format, std::ostream& out);

// A single text field as the layout prints it, exposed for the writers' tests.
std::string FieldText(OutputFormat format, std::string_view text);

}  // namespace zmhost
