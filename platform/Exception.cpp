// Positional "{n}" formatting for the library's exception texts.
#include "platform/Exception.h"

#include <vector>

namespace zm {

std::string FormatPlaceholders(const std::string& templ, std::initializer_list<std::string> args) {
    const std::vector<std::string> values(args);
    std::string out;
    out.reserve(templ.size());
    size_t i = 0;
    while (i < templ.size()) {
        if (templ[i] == '{') {
            size_t j = i + 1;
            size_t number = 0;
            while (j < templ.size() && j - i <= 4 && templ[j] >= '0' && templ[j] <= '9') {
                number = number * 10 + static_cast<size_t>(templ[j] - '0');
                ++j;
            }
            if (j > i + 1 && j < templ.size() && templ[j] == '}' && number >= 1 &&
                number <= values.size()) {
                out += values[number - 1];
                i = j + 1;
                continue;
            }
        }
        out += templ[i++];
    }
    return out;
}

}  // namespace zm
