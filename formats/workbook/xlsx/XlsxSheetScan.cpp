// The scan keeps the markup before the cell data (the head) and after it (the tail), and
// at the end has the XML parser read head + "</sheetData>" + tail: that proves the rest of
// the document well-formed, checks its nesting and document type as any part is
// checked, and shows that no cell markup lies outside the cell data. Inside the cell
// data only ASCII start tags, end tags and texts with the five predefined entities are
// taken; their well-formedness (matching end tags, one attribute of a name, whitespace
// between attributes, no "]]>" in text) is checked here.
#include "formats/workbook/xlsx/XlsxSheetScan.h"

#include <cstring>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/XmlLimits.h"
#include "platform/XmlReader.h"

namespace zm::xlsx {

namespace {

constexpr size_t kChunk = 256 * 1024;
constexpr size_t kMaxHead = size_t{1} << 20;
constexpr size_t kMaxTail = size_t{16} << 20;
// The longest tag or text taken whole; longer ones are left to the XML parser.
constexpr size_t kMaxToken = size_t{1} << 20;
// How deep the cell data may sit in the document; what lies inside it may nest up to the
// parser's limit less this.
constexpr unsigned kOuterDepth = 16;
constexpr std::string_view kStart = "<sheetData>";
constexpr std::string_view kEnd = "</sheetData>";

// Met what the scan does not take: the XML parser reads the part instead.
struct GiveUp {};

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool IsNameStart(char c) {
    const char lower = static_cast<char>(c | 0x20);
    return (lower >= 'a' && lower <= 'z') || c == '_' || c == ':';
}
bool IsNameChar(char c) {
    return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

// A name without its prefix, as the XML reader hands names on.
std::string_view Local(std::string_view qname) {
    const size_t colon = qname.rfind(':');
    return colon == std::string_view::npos ? qname : qname.substr(colon + 1);
}

bool Same(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (a[i] != b[i])
            return false;
    }
    return true;
}

// "xmlns" and "xmlns:..." attributes declare namespaces; the XML reader leaves them out.
bool IsNamespaceDeclaration(std::string_view qname) {
    return qname.substr(0, 5) == "xmlns" && (qname.size() == 5 || qname[5] == ':');
}

// Text or an attribute value, checked and with its entities replaced. Attribute values
// take no tab or line end (XML turns them into spaces) and no '<'.
std::string_view Decode(std::string_view raw, bool attribute, std::string& out) {
    bool plain = true;
    for (size_t i = 0; i < raw.size(); ++i) {
        const auto c = static_cast<unsigned char>(raw[i]);
        if (c > 0x7E || (c < 0x20 && (attribute || (c != '\t' && c != '\n'))))
            throw GiveUp{};
        if (c == '&')
            plain = false;
        else if (c == '<')
            throw GiveUp{};
        else if (c == '>' && !attribute && i >= 2 && raw[i - 1] == ']' && raw[i - 2] == ']')
            throw GiveUp{};
    }
    if (plain)
        return raw;
    out.clear();
    for (size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] != '&') {
            out += raw[i];
            continue;
        }
        const size_t semicolon = raw.find(';', i);
        if (semicolon == std::string_view::npos)
            throw GiveUp{};
        const std::string_view entity = raw.substr(i + 1, semicolon - i - 1);
        if (entity == "amp")
            out += '&';
        else if (entity == "lt")
            out += '<';
        else if (entity == "gt")
            out += '>';
        else if (entity == "quot")
            out += '"';
        else if (entity == "apos")
            out += '\'';
        else
            throw GiveUp{};
        i = semicolon;
    }
    return out;
}

// Sees the head and tail through the XML parser: where the cell data lies, and whether
// any cell markup is outside it.
class OuterCheck : public XmlHandler {
  public:
    void Start(std::string_view name, const std::vector<XmlAttribute>&) override {
        ++depth;
        if (name == "sheetData") {
            ++sheetData;
            sheetDataDepth = depth;
        } else if (name == "row" || name == "c" || name == "v" || name == "is" || name == "t" ||
                   name == "rPh") {
            cellMarkup = true;
        }
    }
    void End(std::string_view) override { --depth; }
    void Text(std::string_view) override {}
    bool Plain() const { return !cellMarkup && sheetData == 1 && sheetDataDepth <= kOuterDepth; }

  private:
    unsigned depth = 0, sheetDataDepth = 0, sheetData = 0;
    bool cellMarkup = false;
};

class Scanner {
  public:
    Scanner(std::istream& in, XmlHandler& handler) : in(in), handler(handler) {}

    bool Run() {
        std::string head = ReadHead();
        while (!CellData()) {
        }
        std::string document = std::move(head);
        document += kEnd;
        document.append(buffer, position);
        position = buffer.size();
        while (Fill()) {
            document.append(buffer, position);
            position = buffer.size();
            if (document.size() > kMaxHead + kMaxTail)
                throw GiveUp{};
        }
        std::istringstream outer(std::move(document));
        OuterCheck check;
        std::string error;
        return ParseXml(outer, check, error) && check.Plain();
    }

  private:
    // Appends the next block of the stream, after dropping what was taken; false at its end.
    bool Fill() {
        if (ended)
            return false;
        buffer.erase(0, position);
        position = 0;
        const size_t old = buffer.size();
        buffer.resize(old + kChunk);
        in.read(buffer.data() + old, static_cast<std::streamsize>(kChunk));
        const auto got = static_cast<size_t>(in.gcount());
        buffer.resize(old + got);
        if (in.bad())
            throw GiveUp{};
        ended = got < kChunk;
        return got > 0;
    }

    // The markup up to and with the start tag of the cell data, which must be plain
    // elements after the XML declaration: no comment, instruction or document type that
    // could hide or change it.
    std::string ReadHead() {
        size_t at;
        while ((at = buffer.find(kStart)) == std::string::npos) {
            if (buffer.size() > kMaxHead || !Fill())
                throw GiveUp{};
        }
        size_t from = buffer.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
        if (buffer.compare(from, 5, "<?xml") == 0) {
            from = buffer.find("?>", from);
            if (from > at)
                throw GiveUp{};
            from += 2;
        }
        for (size_t i = buffer.find('<', from); i < at; i = buffer.find('<', i + 1)) {
            if (buffer[i + 1] == '!' || buffer[i + 1] == '?')
                throw GiveUp{};
        }
        position = at + kStart.size();
        return buffer.substr(0, position);
    }

    // Takes the markup of the cell data up to its end tag; true when it met it.
    bool CellData() {
        for (;;) {
            if (position == buffer.size()) {
                if (!Fill())
                    throw GiveUp{};
                continue;
            }
            const size_t lt = buffer.find('<', position);
            if (lt == std::string::npos) {
                More();
                continue;
            }
            if (lt > position) {
                const std::string_view text = Decode(
                    std::string_view(buffer).substr(position, lt - position), false, decoded);
                position = lt;
                handler.Text(text);
            }
            const Step step =
                buffer[lt + 1 < buffer.size() ? lt + 1 : lt] == '/' ? EndTag() : StartTag();
            if (step == Step::kEnd)
                return true;
            if (step == Step::kMore)
                More();
        }
    }

    enum class Step { kTaken, kMore, kEnd };

    void More() {
        if (buffer.size() - position > kMaxToken || !Fill())
            throw GiveUp{};
    }

    // The end of the name that starts at `i`; npos when the buffer ends first.
    size_t NameEnd(size_t i) const {
        if (i >= buffer.size())
            return std::string::npos;
        if (!IsNameStart(buffer[i]))
            throw GiveUp{};
        while (i < buffer.size() && IsNameChar(buffer[i]))
            ++i;
        return i < buffer.size() ? i : std::string::npos;
    }

    size_t SkipSpaces(size_t i) const {
        while (i < buffer.size() && IsSpace(buffer[i]))
            ++i;
        return i;
    }

    Step StartTag() {
        const std::string_view view(buffer);
        const size_t nameEnd = NameEnd(position + 1);
        if (nameEnd == std::string::npos)
            return Step::kMore;
        const std::string_view qname = view.substr(position + 1, nameEnd - position - 1);
        qnames.clear();
        size_t used = 0, i = nameEnd;
        bool empty = false;
        for (;;) {
            const size_t s = SkipSpaces(i);
            if (s + 1 >= buffer.size())
                return Step::kMore;
            if (buffer[s] == '>' || (buffer[s] == '/' && buffer[s + 1] == '>')) {
                empty = buffer[s] == '/';
                i = s + (empty ? 2 : 1);
                break;
            }
            if (s == i)
                throw GiveUp{};
            const size_t attributeEnd = NameEnd(s);
            if (attributeEnd == std::string::npos)
                return Step::kMore;
            const std::string_view attribute = view.substr(s, attributeEnd - s);
            size_t e = SkipSpaces(attributeEnd);
            if (e >= buffer.size())
                return Step::kMore;
            if (buffer[e] != '=')
                throw GiveUp{};
            e = SkipSpaces(e + 1);
            if (e >= buffer.size())
                return Step::kMore;
            if (buffer[e] != '"' && buffer[e] != '\'')
                throw GiveUp{};
            const size_t close = buffer.find(buffer[e], e + 1);
            if (close == std::string::npos)
                return Step::kMore;
            for (const std::string_view seen : qnames) {
                if (Same(seen, attribute))
                    throw GiveUp{};
            }
            qnames.push_back(attribute);
            if (!IsNamespaceDeclaration(attribute)) {
                if (used == attributes.size())
                    attributes.emplace_back();
                attributes[used].name = Local(attribute);
                attributes[used++].value = Decode(view.substr(e + 1, close - e - 1), true, decoded);
            }
            i = close + 1;
        }
        attributes.resize(used);
        if (depth + kOuterDepth >= kXmlMaxDepth)
            throw GiveUp{};
        if (!empty) {
            if (depth == open.size())
                open.emplace_back();
            open[depth++] = qname;
        }
        position = i;
        handler.Start(Local(qname), attributes);
        if (empty)
            handler.End(Local(qname));
        return Step::kTaken;
    }

    Step EndTag() {
        const size_t nameEnd = NameEnd(position + 2);
        if (nameEnd == std::string::npos)
            return Step::kMore;
        const std::string_view qname =
            std::string_view(buffer).substr(position + 2, nameEnd - position - 2);
        const size_t close = SkipSpaces(nameEnd);
        if (close >= buffer.size())
            return Step::kMore;
        if (buffer[close] != '>')
            throw GiveUp{};
        position = close + 1;
        if (depth == 0) {
            if (qname != kEnd.substr(2, kEnd.size() - 3))
                throw GiveUp{};
            return Step::kEnd;
        }
        if (!Same(open[depth - 1], qname))
            throw GiveUp{};
        --depth;
        handler.End(Local(qname));
        return Step::kTaken;
    }

    std::istream& in;
    XmlHandler& handler;
    std::string buffer;
    size_t position = 0;
    bool ended = false;
    std::vector<std::string> open;  // the names of the open elements inside the cell data
    size_t depth = 0;
    std::vector<XmlAttribute> attributes;
    std::vector<std::string_view> qnames;
    std::string decoded;
};

}  // namespace

bool ScanSheetData(std::istream& in, XmlHandler& handler) {
    try {
        return Scanner(in, handler).Run();
    } catch (const GiveUp&) {
        return false;
    }
}

}  // namespace zm::xlsx
