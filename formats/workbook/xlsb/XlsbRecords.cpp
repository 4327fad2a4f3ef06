// Record reading for binary workbook parts.
#include "formats/workbook/xlsb/XlsbRecords.h"

#include <algorithm>
#include <cstring>

#include "formats/workbook/ExcelFile.h"
#include "formats/workbook/WorkbookValues.h"
#include "platform/CodePage.h"

namespace zm::xlsb {

namespace {

// What is read ahead at a time.
constexpr size_t kChunk = 256 * 1024;

}  // namespace

RecordReader::RecordReader(std::istream& in) : in(in), buffer(2 * kChunk) {}

bool RecordReader::Have(size_t count) {
    while (end - next < count) {
        if (atEnd)
            return false;
        if (next > 0) {
            std::memmove(buffer.data(), buffer.data() + next, end - next);
            end -= next;
            next = 0;
        }
        // A full buffer too small for the record at most doubles: it never runs far
        // ahead of what the part has delivered.
        if (end == buffer.size())
            buffer.resize(std::min(buffer.size() * 2, count + kChunk));
        in.read(reinterpret_cast<char*>(buffer.data() + end),
                static_cast<std::streamsize>(buffer.size() - end));
        const auto got = static_cast<size_t>(in.gcount());
        end += got;
        if (in.bad() || (in.fail() && !in.eof()))
            damaged = true;
        if (got == 0 || !in)
            atEnd = true;
    }
    return true;
}

bool RecordReader::ReadId(uint32_t& value) {
    if (!Have(1))
        return false;
    const uint8_t b0 = buffer[next++];
    if ((b0 & 0x80) == 0) {
        value = b0;
        return true;
    }
    if (!Have(1))
        return false;
    const uint8_t b1 = buffer[next++];
    value = uint32_t{b1} * 128 + (b0 & 0x7F);
    return true;
}

bool RecordReader::ReadSize(uint32_t& value) {
    value = 0;
    for (int i = 0; i < 4; ++i) {
        if (!Have(1))
            return false;
        const uint8_t b = buffer[next++];
        value |= uint32_t{b & 0x7Fu} << (7 * i);
        if ((b & 0x80) == 0)
            return true;
    }
    return true;  // the fourth byte's high bit has no meaning
}

bool RecordReader::ReadToEnd() {
    while (!damaged && !atEnd) {
        next = end;
        Have(1);
    }
    next = end;
    return !damaged;
}

bool RecordReader::ReadBiffRecord(Record& record) {
    if (damaged)
        return false;
    const size_t start = next;
    if (!ReadId(record.id)) {
        // Nothing left is the normal end; a lone id byte is a cut record.
        damaged = damaged || next != start || end != next;
        return false;
    }
    if (!ReadSize(record.size) || !Have(record.size)) {
        damaged = true;
        return false;
    }
    record.data = buffer.data() + next;
    next += record.size;
    return true;
}

bool RecordReader::FindRecord(uint32_t id, Record& record) {
    while (ReadBiffRecord(record)) {
        if (record.id == id)
            return true;
    }
    return false;
}

// Values in records are little-endian, read as the .xls reader reads them.
uint16_t U16At(const uint8_t* data, size_t offset) {
    return ExcelFile::uI2Shuffle(data, offset);
}

uint32_t U32At(const uint8_t* data, size_t offset) {
    return static_cast<uint32_t>(ExcelFile::I4Shuffle(data, offset));
}

double DoubleAt(const uint8_t* data, size_t offset) {
    return ExcelFile::DShuffle(data, offset);
}

std::string GetStringDataPart(const uint8_t* data, uint32_t count) {
    return zm::CodePageText::Utf16LeToUtf8(data, count);
}

bool StringAt(const Record& record, size_t offset, std::string& out, size_t* after) {
    if (offset > record.size || record.size - offset < 4)
        return false;
    const uint32_t count = U32At(record.data, offset);
    // A null string (count 0xFFFFFFFF) is empty.
    if (count == 0xFFFFFFFFu) {
        out.clear();
        if (after != nullptr)
            *after = offset + 4;
        return true;
    }
    if (count > (record.size - offset - 4) / 2)
        return false;
    out = GetStringDataPart(record.data + offset + 4, count);
    if (after != nullptr)
        *after = offset + 4 + size_t{count} * 2;
    return true;
}

const char* GetErrorString(uint8_t code) {
    // Binary workbooks add one code for a value still being fetched.
    if (code == 0x2B)
        return "#GETTING_DATA";
    const char* text = ErrorValueText(code);
    return text != nullptr ? text : "Unknown error code";
}

}  // namespace zm::xlsb
