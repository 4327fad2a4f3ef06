// The per-cell forms of the sink's bulk calls.
#include "framework/SpreadSheetData.h"

#include "platform/FloatText.h"

void ReadSpreadSheetData::SetHeadingsAcross(int col, int row, const char* prefix,
                                            const float* values, size_t count) {
    std::string heading(prefix);
    const size_t length = heading.size();
    heading.resize(length + 32);  // FormatG6 writes at most 32 characters
    for (size_t i = 0; i < count; ++i) {
        zm::FormatG6(values[i], heading.data() + length);
        Set(col + static_cast<int>(i), row, heading.c_str());
    }
}
