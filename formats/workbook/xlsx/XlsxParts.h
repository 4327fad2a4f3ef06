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

// Texts held one after another in one buffer, each ended by a NUL: a table of millions of
// short strings costs their characters and four bytes each, not a string object each.
class StringTable {
  public:
    void Add(std::string_view text);
    // Room for `bytes` of text and `count` items, taken from the part's size: a table
    // that doubles as it grows holds twice its size at the moment it moves. Address space
    // only: pages the texts do not reach are never touched.
    void Reserve(uint64_t bytes, uint64_t count);
    size_t size() const { return starts.size(); }
    bool empty() const { return starts.empty(); }
    void clear() {
        texts.clear();
        starts.clear();
    }
    // The text of item `i` (i < size()), NUL-terminated.
    const char* operator[](size_t i) const { return texts.data() + starts[i]; }

  private:
    std::string texts;
    std::vector<uint32_t> starts;
};

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
    bool date1904 = false;  // the workbook counts its dates from 1904-01-01
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
// Reads the workbook part (its sheets and its date system) and its relationships; false
// when the workbook part is missing or not well-formed.
bool ReadLayout(const ZipPackage& package, PackageLayout& layout);
// The shared strings part: each item's text, rich-text runs joined, phonetic runs left out.
bool ReadSharedStrings(const ZipPackage& package, const std::string& part, StringTable& strings);
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
