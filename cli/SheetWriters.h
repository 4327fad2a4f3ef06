// Writing a sheet as CSV, TSV or JSON.
//
// CSV: comma-separated, lines end with LF; a field containing a comma, a double quote,
// CR or LF is enclosed in double quotes with inner quotes doubled.
// TSV: tab-separated, lines end with LF, never quoted; inside texts a backslash, tab,
// LF and CR are written as \\, \t, \n and \r so that every sheet row stays one line.
// JSON: {"columns": C, "rows": R, "cells": [[...], ...]} with one array per sheet row,
// numbers as JSON numbers, texts as JSON strings, missing cells and NaN/inf as null.
// In CSV and TSV missing cells are empty and NaN/inf print as NaN, inf and -inf.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "cli/Sheet.h"

namespace zmcli {

enum class OutputFormat { kCsv, kTsv, kJson };

// "csv", "tsv" or "json"; nullopt for anything else.
std::optional<OutputFormat> ParseOutputFormat(std::string_view name);

void WriteSheet(const Sheet& sheet, OutputFormat format, std::ostream& out);

// Single fields, exposed for the writers' tests.
std::string CsvField(std::string_view text);
// The same, appended to `out`.
void AppendCsvField(std::string_view text, std::string& out);
std::string TsvField(std::string_view text);
// A JSON string literal, quotes included. Control characters are escaped; valid UTF-8
// passes through and each byte of an invalid sequence becomes U+FFFD.
std::string JsonString(std::string_view text);

}  // namespace zmcli
