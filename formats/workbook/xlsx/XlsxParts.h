// The small parts of an .xlsx package: the sheets of the workbook with their parts, the
// shared strings, and which cell styles are date styles.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zm {
class ZipPackage;
}

namespace zm::xlsx {

struct SheetPart {
    std::string name;
    std::string part;  // the worksheet part's path in the package
};

// Limits on what one small part may inflate to.
constexpr uint64_t kSmallPartLimit = uint64_t{256} << 20;

// Where the workbook's parts are: found through the package's relationships (usually
// "xl/workbook.xml", "xl/sharedStrings.xml", "xl/styles.xml"; some writers use other
// folders), with the worksheets in workbook order; chart and dialog sheets drop out.
struct PackageLayout {
    std::string workbook;
    std::string sharedStrings;
    std::string styles;
    std::vector<SheetPart> sheets;
};

struct Relationship {
    std::string id, type, target;
};
// The relationships of a ".rels" part; none when it is missing or not well-formed.
std::vector<Relationship> ReadRelationships(const ZipPackage& package, std::string_view part);
// A relationship target as a part path: absolute ones from the package root, others
// from `folder`, the folder of the part that names them; "." and ".." steps resolved.
std::string Resolve(const std::string& folder, const std::string& target);

// The workbook part named by the package's relationships, or "xl/workbook.xml".
std::string FindWorkbookPart(const ZipPackage& package);
// Reads the workbook part and its relationships; false when the workbook part is missing
// or not well-formed.
bool ReadLayout(const ZipPackage& package, PackageLayout& layout);
// The shared strings part: each item's text, rich-text runs joined, phonetic runs left out.
bool ReadSharedStrings(const ZipPackage& package, const std::string& part,
                       std::vector<std::string>& strings);
// The styles part: for each cell style of "cellXfs", whether its number format is a date
// format (built-in 14-22 and 45-47, or a custom code IsDateFormat accepts).
bool ReadDateStyles(const ZipPackage& package, const std::string& part,
                    std::vector<bool>& dateStyles);

// A format code is a date format when, after its first "Red" is removed, it holds any of
// the letters y, m, d, h or s.
bool IsDateFormat(std::string code);
// Decodes the "_xHHHH_" escapes of the format's texts.
std::string DecodeEscapes(std::string_view text);

}  // namespace zm::xlsx
