// The small parts of an .xlsx package.
#include "formats/workbook/xlsx/XlsxParts.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdint>
#include <map>
#include <new>

#include "formats/workbook/WorkbookValues.h"
#include "platform/CodePage.h"
#include "platform/XmlReader.h"
#include "platform/ZipPackage.h"

namespace zm::xlsx {

namespace {

bool Parse(const ZipPackage& package, std::string_view part, XmlHandler& handler) {
    auto stream = package.OpenStream(part, kSmallPartLimit);
    if (!stream)
        return false;
    std::string error;
    return ParseXml(*stream, handler, error);
}

struct WorkbookSheets : XmlHandler {
    std::vector<std::pair<std::string, std::string>> sheets;  // name, relationship id
    bool date1904 = false;
    void Start(std::string_view name, const std::vector<XmlAttribute>& a) override {
        if (name == "workbookPr") {
            // Extensions have a "workbookPr" of their own (x15:workbookPr), without the
            // flag: only an element that carries it decides.
            if (const auto flag = AttributeOf(a, "date1904"))
                date1904 = *flag == "1" || *flag == "true";
            return;
        }
        if (name != "sheet")
            return;
        sheets.emplace_back(std::string(AttributeOf(a, "name").value_or("")),
                            std::string(AttributeOf(a, "id").value_or("")));
    }
    void End(std::string_view) override {}
    void Text(std::string_view) override {}
};

struct Relationships : XmlHandler {
    struct Target {
        std::string id, type, target;
    };
    std::vector<Target> targets;
    void Start(std::string_view name, const std::vector<XmlAttribute>& a) override {
        if (name != "Relationship")
            return;
        targets.push_back({std::string(AttributeOf(a, "Id").value_or("")),
                           std::string(AttributeOf(a, "Type").value_or("")),
                           std::string(AttributeOf(a, "Target").value_or(""))});
    }
    void End(std::string_view) override {}
    void Text(std::string_view) override {}
};

}  // namespace

std::vector<Relationship> ReadRelationships(const ZipPackage& package, std::string_view part) {
    Relationships handler;
    if (package.Find(part) == nullptr || !Parse(package, part, handler))
        return {};
    std::vector<Relationship> out;
    for (auto& t : handler.targets)
        out.push_back({std::move(t.id), std::move(t.type), std::move(t.target)});
    return out;
}

namespace {

bool EndsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace

std::string Resolve(const std::string& folder, const std::string& target) {
    std::string joined = target.empty() || target[0] != '/' ? folder + target : target.substr(1);
    std::vector<std::string> steps;
    size_t start = 0;
    for (;;) {
        const size_t slash = joined.find('/', start);
        const std::string step = joined.substr(start, slash - start);
        if (step == "..") {
            if (!steps.empty())
                steps.pop_back();
        } else if (!step.empty() && step != ".") {
            steps.push_back(step);
        }
        if (slash == std::string::npos)
            break;
        start = slash + 1;
    }
    std::string path;
    for (size_t i = 0; i < steps.size(); ++i)
        path += (i > 0 ? "/" : "") + steps[i];
    return path;
}

namespace {

struct SharedStrings : XmlHandler {
    StringTable& strings;
    std::string item;  // the text of the open "si"
    int phonetic = 0;
    bool inItem = false, inText = false;
    explicit SharedStrings(StringTable& s) : strings(s) {}
    void Start(std::string_view name, const std::vector<XmlAttribute>&) override {
        if (name == "si") {
            item.clear();
            inItem = true;
        } else if (name == "rPh") {
            ++phonetic;
        } else if (name == "t") {
            inText = phonetic == 0 && inItem;
        }
    }
    void End(std::string_view name) override {
        if (name == "rPh") {
            --phonetic;
        } else if (name == "t") {
            inText = false;
        } else if (name == "si" && inItem) {
            strings.Add(item.find("_x") == std::string::npos ? item : DecodeEscapes(item));
            inItem = false;
        }
    }
    void Text(std::string_view text) override {
        if (inText)
            item += text;
    }
};

struct Styles : XmlHandler {
    std::map<int, bool> customDates;
    std::vector<bool>& dateStyles;
    bool inCellXfs = false;
    explicit Styles(std::vector<bool>& d) : dateStyles(d) {}
    void Start(std::string_view name, const std::vector<XmlAttribute>& a) override {
        if (name == "numFmt") {
            customDates[ToInt<int>(AttributeOf(a, "numFmtId").value_or("")).value_or(-1)] =
                IsDateFormat(std::string(AttributeOf(a, "formatCode").value_or("")));
        } else if (name == "cellXfs") {
            inCellXfs = true;
        } else if (name == "xf" && inCellXfs) {
            const int id = ToInt<int>(AttributeOf(a, "numFmtId").value_or("0")).value_or(0);
            const auto custom = customDates.find(id);
            dateStyles.push_back((id >= 14 && id <= 22) || (id >= 45 && id <= 47) ||
                                 (custom != customDates.end() && custom->second));
        }
    }
    void End(std::string_view name) override {
        if (name == "cellXfs")
            inCellXfs = false;
    }
    void Text(std::string_view) override {}
};

}  // namespace

void StringTable::Add(std::string_view text) {
    // Offsets are 32-bit: no part the reader accepts holds anywhere near 4 GB of text.
    if (texts.size() + text.size() + 1 > UINT32_MAX)
        throw std::bad_alloc();
    starts.push_back(static_cast<uint32_t>(texts.size()));
    texts.append(text);
    texts += '\0';
}

void StringTable::Reserve(uint64_t bytes, uint64_t count) {
    texts.reserve(static_cast<size_t>(std::min<uint64_t>(bytes, UINT32_MAX)));
    starts.reserve(static_cast<size_t>(std::min<uint64_t>(count, UINT32_MAX)));
}

bool IsDateFormat(std::string code) {
    const size_t red = code.find("Red");
    if (red != std::string::npos)
        code.erase(red, 3);
    return code.find_first_of("ymdhs") != std::string::npos;
}

namespace {

// The UTF-16 code unit of an escape "_xHHHH_" at `at`, or -1 when there is none.
long EscapeAt(std::string_view text, size_t at) {
    if (at + 6 >= text.size() || text[at] != '_' || text[at + 1] != 'x' || text[at + 6] != '_')
        return -1;
    unsigned code = 0;
    const auto [stop, error] =
        std::from_chars(text.data() + at + 2, text.data() + at + 6, code, 16);
    return error == std::errc() && stop == text.data() + at + 6 ? static_cast<long>(code) : -1;
}

}  // namespace

std::string DecodeEscapes(std::string_view text) {
    // Each escape is one UTF-16 code unit: a character beyond U+FFFF takes two, its
    // surrogates, which join into one character; a surrogate alone becomes U+FFFD.
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const long code = EscapeAt(text, i);
        if (code < 0) {
            out += text[i];
            continue;
        }
        i += 6;
        const long trail = code >= 0xD800 && code <= 0xDBFF ? EscapeAt(text, i + 1) : -1;
        if (trail >= 0xDC00 && trail <= 0xDFFF) {
            AppendUtf8(out, 0x10000 + ((static_cast<char32_t>(code) - 0xD800) << 10) +
                                (static_cast<char32_t>(trail) - 0xDC00));
            i += 7;
        } else {
            AppendUtf8(out, static_cast<char32_t>(code));
        }
    }
    return out;
}

std::string FindWorkbookPart(const ZipPackage& package) {
    Relationships root;
    if (package.Find("_rels/.rels") != nullptr && Parse(package, "_rels/.rels", root)) {
        for (const auto& r : root.targets) {
            if (EndsWith(r.type, "/officeDocument"))
                return Resolve("", r.target);
        }
    }
    return "xl/workbook.xml";
}

bool ReadLayout(const ZipPackage& package, PackageLayout& layout) {
    layout.workbook = FindWorkbookPart(package);
    const size_t slash = layout.workbook.rfind('/');
    const std::string folder =
        slash == std::string::npos ? "" : layout.workbook.substr(0, slash + 1);
    const std::string file = layout.workbook.substr(folder.size());
    WorkbookSheets workbook;
    Relationships relationships;
    if (!Parse(package, layout.workbook, workbook))
        return false;
    layout.date1904 = workbook.date1904;
    Parse(package, folder + "_rels/" + file + ".rels", relationships);
    layout.sharedStrings = folder + "sharedStrings.xml";
    layout.styles = folder + "styles.xml";
    for (const auto& r : relationships.targets) {
        if (EndsWith(r.type, "/sharedStrings"))
            layout.sharedStrings = Resolve(folder, r.target);
        else if (EndsWith(r.type, "/styles"))
            layout.styles = Resolve(folder, r.target);
    }
    for (const auto& [name, id] : workbook.sheets) {
        for (const auto& r : relationships.targets) {
            if (r.id == id && r.target.find("worksheets/") != std::string::npos) {
                layout.sheets.push_back({name, Resolve(folder, r.target)});
                break;
            }
        }
    }
    return true;
}

bool ReadSharedStrings(const ZipPackage& package, const std::string& part, StringTable& strings) {
    SharedStrings handler(strings);
    return package.Find(part) == nullptr || Parse(package, part, handler);
}

bool ReadDateStyles(const ZipPackage& package, const std::string& part,
                    std::vector<bool>& dateStyles) {
    Styles handler(dateStyles);
    return package.Find(part) == nullptr || Parse(package, part, handler);
}

}  // namespace zm::xlsx
