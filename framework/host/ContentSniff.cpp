// Content checks on a file's first bytes, through the zip and compound-file layers.
#include "framework/host/ContentSniff.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <exception>
#include <fstream>
#include <memory>
#include <vector>

#include "platform/CompoundFile.h"
#include "platform/ZipPackage.h"

namespace zmhost {

namespace {

constexpr size_t kSniffBytes = 64 * 1024;
constexpr size_t kFewControls = 8;

std::vector<unsigned char> Head(const std::string& file, size_t count) {
    std::vector<unsigned char> bytes(count);
    std::ifstream in(file, std::ios::binary);
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(count));
    bytes.resize(in ? count : static_cast<size_t>(std::max<std::streamsize>(in.gcount(), 0)));
    return bytes;
}

bool StartsWith(const std::vector<unsigned char>& bytes, const char* magic, size_t length) {
    return bytes.size() >= length && std::memcmp(bytes.data(), magic, length) == 0;
}

// A BOF record opening a bare BIFF stream: type 0x0009/0x0209/0x0409/0x0809, a length of
// 4 to 20 and, for BIFF5 and later, a known version and sheet type.
bool IsBiffStream(const std::vector<unsigned char>& b) {
    if (b.size() < 8 || b[0] != 0x09 ||
        (b[1] != 0x00 && b[1] != 0x02 && b[1] != 0x04 && b[1] != 0x08))
        return false;
    const unsigned length = b[2] | (b[3] << 8);
    if (length < 4 || length > 20)
        return false;
    if (b[1] != 0x08)
        return true;
    const unsigned version = b[4] | (b[5] << 8);
    const unsigned type = b[6] | (b[7] << 8);
    return (version == 0x0500 || version == 0x0600) &&
           (type == 0x05 || type == 0x10 || type == 0x20 || type == 0x40 || type == 0x100);
}

bool IsUtf16Text(const std::vector<unsigned char>& b) {
    // NUL in every other byte of most character pairs: ASCII-range text in UTF-16.
    size_t even = 0, odd = 0;
    for (size_t i = 0; i + 1 < b.size(); i += 2) {
        even += b[i] == 0;
        odd += b[i + 1] == 0;
    }
    const size_t pairs = b.size() / 2;
    return pairs > 0 && (even * 10 >= pairs * 9 || odd * 10 >= pairs * 9) &&
           (even == 0 || odd == 0 || even * 20 < pairs || odd * 20 < pairs);
}

}  // namespace

std::string FormatNamedByContent(const std::string& file) {
    try {
        const std::vector<unsigned char> head = Head(file, 512);
        if (StartsWith(head, "PK\x03\x04", 4)) {
            const std::unique_ptr<zm::ZipPackage> package = zm::ZipPackage::Open(file);
            if (package && (package->Find("xl/workbook.xml") != nullptr ||
                            package->Find("xl/workbook.bin") != nullptr))
                return "Excel2007 File";
            return std::string();
        }
        if (zm::CompoundFile::IsCompoundFile(file)) {
            const std::unique_ptr<zm::CompoundFile> compound = zm::CompoundFile::Open(file);
            if (compound && (compound->OpenStream("Workbook") || compound->OpenStream("Book")))
                return "Excel File";
            return std::string();
        }
        if (IsBiffStream(head))
            return "Excel File";
    } catch (const std::exception&) {
    }
    return std::string();
}

bool LooksBinary(const std::string& file) {
    const std::vector<unsigned char> b = Head(file, kSniffBytes);
    if (b.empty() || StartsWith(b, "\xFF\xFE", 2) || StartsWith(b, "\xFE\xFF", 2))
        return false;
    size_t nul = 0, control = 0;
    for (const unsigned char c : b) {
        nul += c == 0;
        control += (c < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\f' && c != '\v' &&
                    c != 0x1A) ||
                   c == 0x7F;
    }
    if (nul > 0 && IsUtf16Text(b))
        return false;
    // Text in any encoding the readers know (UTF-8, single-byte code pages, GB18030,
    // Shift-JIS) has next to no NUL and control bytes; a stray one in a text is no reason
    // to refuse it.
    return control >= kFewControls && control * 10 > b.size();
}

bool IsTextLikeFormat(const std::string& formatName) {
    return formatName == "CSV File" || formatName == "Text File" || formatName == "Text UTF-8 File";
}

}  // namespace zmhost
