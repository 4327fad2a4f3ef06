// Limits and small value helpers the workbook readers share: the largest sheet, integers
// in attribute and option texts, and the texts of error values.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace zm {

// Worksheets hold at most this many rows and columns, in every workbook format.
inline constexpr int kMaxRows = 1048576;
inline constexpr int kMaxCols = 16384;

// The integer `text` starts with (with `whole`, the whole text), or nothing when there is
// none or it does not fit a T.
template <typename T = long long>
std::optional<T> ToInt(std::string_view text, bool whole = false) {
    T value{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || (whole && stop != end))
        return std::nullopt;
    return value;
}

// The text of an error value's code ("#DIV/0!", ...) as binary workbooks store it; null
// for any other code.
const char* ErrorValueText(uint8_t code);

}  // namespace zm
