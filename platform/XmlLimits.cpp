// Checks on the text of an XML document made before, and without, a parser.
#include "platform/XmlLimits.h"

namespace zm {

bool HasDocumentTypeDeclaration(std::string_view xml) {
    // Walk the prolog: the XML declaration, processing instructions, comments and blanks
    // may stand before the root element; a "<!DOCTYPE" among them is a declaration.
    size_t i = 0;
    while (i < xml.size()) {
        const size_t lt = xml.find('<', i);
        if (lt == std::string_view::npos || lt + 1 >= xml.size())
            return false;
        const std::string_view rest = xml.substr(lt);
        if (rest.substr(0, 4) == "<!--") {
            const size_t end = xml.find("-->", lt + 4);
            if (end == std::string_view::npos)
                return false;
            i = end + 3;
        } else if (rest.substr(0, 2) == "<?") {
            const size_t end = xml.find("?>", lt + 2);
            if (end == std::string_view::npos)
                return false;
            i = end + 2;
        } else {
            return rest.substr(0, 2) == "<!";
        }
    }
    return false;
}

bool MayBeXml(std::string_view head) {
    static constexpr std::string_view kMarks[] = {"\xEF\xBB\xBF", "\xFE\xFF", "\xFF\xFE",
                                                  "\x4C\x6F\xA7\x94"};  // the last: EBCDIC "<?xm"
    for (const std::string_view mark : kMarks) {
        if (head.substr(0, mark.size()) == mark)
            return true;
    }
    for (const char c : head) {
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n' && c != '\0')
            return c == '<';
    }
    return true;
}

}  // namespace zm
