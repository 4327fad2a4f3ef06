// Reads Brimrose spectra files into a sheet of one row per spectrum.
#include "formats/spectral/BrimroseFile.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <new>
#include <string>

#include "formats/spectral/SpectrumFile.h"
#include "formats/spectral/SpectrumSheet.h"
#include "platform/ByteReader.h"
#include "platform/Translate.h"

namespace {

// File layout, all little-endian.
constexpr size_t kMainHeaderSize = 512;
constexpr uint32_t kMagic = 0x0D0C10FF;
constexpr uint32_t kMagicAlternative = 0x0BA7133C;
// Main header fields sit at odd offsets, so they are decoded bytewise.
constexpr size_t kFirstWavelengthOffset = 29;  // float32: first wavelength
// 33 float32: last wavelength; 37 float32: increment; 41 uint16: points; 45 uint16: spectra
constexpr size_t kSubHeaderSize = 128;  // 0 uint32: time stamp (s since 1970); 4: label
constexpr size_t kValueSize = 4;        // one float32 per wavelength

// Large reads dominate; a big stdio buffer keeps the number of system calls low.
constexpr size_t kStreamBufferSize = size_t{1} << 20;

// Local time as "yyyy-mm-dd/hh:mm:ss"; empty when the conversion fails.
std::string FormatTimeStamp(uint32_t seconds) {
    const std::time_t t = static_cast<std::time_t>(seconds);
    std::tm tm{};
    if (localtime_r(&t, &tm) == nullptr)
        return std::string();
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d/%02d:%02d:%02d", tm.tm_year + 1900,
                  tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
    return text;
}

}  // namespace

BrimroseFile::~BrimroseFile() {
    CloseStream();
}

bool BrimroseFile::IsBrimroseFile(const char* file) {
    if (file == nullptr)
        return false;
    std::FILE* in = std::fopen(file, "rb");
    if (in == nullptr)
        return false;
    uint8_t header[kMainHeaderSize];
    const size_t got = std::fread(header, 1, sizeof header, in);
    std::fclose(in);
    if (got != sizeof header)
        return false;
    const uint32_t magic = zm::LoadU32LE(header);
    return magic == kMagic || magic == kMagicAlternative;
}

void BrimroseFile::CloseStream() {
    if (stream_ != nullptr)
        std::fclose(stream_);
    stream_ = nullptr;
}

void BrimroseFile::Close() {
    CloseStream();
    SpreadsheetFile::Close();
}

int BrimroseFile::Open(bool readMode, const char* file, ZmImportOpenOptions*) {
    if (status != 0)
        return status;
    if (!readMode)
        return SetStatus(kStatusWrongMode);
    CloseStream();
    numCols = -1;
    numRows = -1;
    sizeEstablished = false;

    if (file != nullptr)
        stream_ = std::fopen(file, "rb");
    if (stream_ == nullptr) {
        status = kOpenFailed;
    } else {
        if (!streamBuffer_)
            streamBuffer_.reset(new (std::nothrow) char[kStreamBufferSize]);
        if (streamBuffer_) {
            std::setvbuf(stream_, streamBuffer_.get(), _IOFBF, kStreamBufferSize);
        }
    }
    // Checked even when the open failed: "not a Brimrose file" is the more useful answer.
    if (!IsBrimroseFile(file)) {
        status = kNotBrimroseFile;
        CloseStream();
    }
    return status;
}

bool BrimroseFile::ReadMainHeader() {
    if (stream_ == nullptr)
        return false;
    std::rewind(stream_);
    uint8_t header[kMainHeaderSize];
    if (std::fread(header, 1, sizeof header, stream_) != sizeof header)
        return false;

    zm::ByteReader in(header, sizeof header);
    float first = 0, last = 0, increment = 0;
    uint16_t points = 0, spectra = 0;
    const bool ok = in.Seek(kFirstWavelengthOffset) && in.ReadF32LE(first) && in.ReadF32LE(last) &&
                    in.ReadF32LE(increment) && in.ReadU16LE(points) && in.Skip(2) &&
                    in.ReadU16LE(spectra);
    if (!ok)
        return false;
    firstWavelength_ = first;
    lastWavelength_ = last;
    increment_ = increment;
    points_ = points;
    spectra_ = spectra;
    return true;
}

int BrimroseFile::EstablishSize() {
    if (status != 0)
        return status;
    numCols = 0;
    numRows = 0;
    if (!ReadMainHeader()) {
        numCols = -1;
        numRows = -1;
        sizeEstablished = false;
        return SetStatus(kShortMainHeader);
    }
    // An empty file keeps the bare counts, without the name row and the two name columns.
    if (spectra_ > 0) {
        numCols = points_ + 2;
        numRows = spectra_ + 1;
    } else {
        numCols = points_;
        numRows = 0;
    }
    sizeEstablished = true;
    return 0;
}

int BrimroseFile::Read(ReadSpreadSheetData* sink) {
    // Only the sink or the allocator can throw here: not the file's fault.
    return GuardedCall(*this, [&] { return ReadSheet(sink); });
}

int BrimroseFile::ReadSheet(ReadSpreadSheetData* sink) {
    if (!ReadMainHeader())
        return SetStatus(kShortMainHeader);
    // The counts come from sizing; a reader never sized (-1) delivers nothing.
    if (sink == nullptr || numRows < 1)
        return 0;

    // Both counts derive from 16-bit header fields, so the record buffer stays below
    // 256 KiB whatever the file claims.
    const size_t recordSize = kSubHeaderSize + kValueSize * points_;
    const size_t rowSize = kValueSize * (static_cast<size_t>(std::max(numCols, 0)) + 3);
    const size_t needed = std::max(recordSize, rowSize);
    if (record_.size() < needed)
        record_.resize(needed);

    for (int row = 1; row <= numRows && status == 0; ++row) {
        if (row == 1) {
            SetNameRow(sink);
        } else {
            SetDataRow(sink, row);
        }
    }
    return status;
}

void BrimroseFile::SetNameRow(ReadSpreadSheetData* sink) {
    sink->Set(1, 1, zm::Translate("Short for Sample Number", "SampleNo").c_str());
    sink->Set(2, 1, "DateTime");
    // "w" and the wavelength rounded to a whole number as "%1.0f" writes it (the exact
    // value rounded, ties to even), without a formatter object per column.
    char heading[400] = {'w'};
    for (int col = 3; col <= numCols; ++col) {
        const float wavelength = static_cast<float>(col - 3) * increment_ + firstWavelength_;
        const auto written =
            std::to_chars(heading + 1, heading + sizeof heading - 1,
                          static_cast<double>(wavelength), std::chars_format::fixed, 0);
        *written.ptr = '\0';
        sink->Set(col, 1, heading);
    }
}

int BrimroseFile::SetDataRow(ReadSpreadSheetData* sink, int row) {
    // One read per spectrum: the sub-header and the values lie back to back.
    const size_t recordSize = kSubHeaderSize + kValueSize * points_;
    const size_t got = std::fread(record_.data(), 1, recordSize, stream_);
    if (got < kSubHeaderSize)
        return SetStatus(kShortSubHeader);
    if (got < recordSize)
        return SetStatus(kShortData);

    const uint8_t* data = record_.data();
    sink->Set(1, row, row - 1);
    sink->Set(2, row, FormatTimeStamp(zm::LoadU32LE(data)).c_str());
    // Sizing and reading see the same header, so the columns match the points; the
    // bound only guards against a file that changed in between.
    const int lastCol = std::min(numCols, static_cast<int>(points_) + 2);
    const size_t count = static_cast<size_t>(std::max(lastCol - 2, 0));
    values_.resize(count);
    const uint8_t* value = data + kSubHeaderSize;
    for (size_t i = 0; i < count; ++i, value += kValueSize)
        values_[i] = zm::LoadF32LE(value);
    zm::WriteNumbersAcross(sink, 3, row, values_.data(), count);
    return 0;
}

bool BrimroseFile::SkipSpectrum() {
    if (stream_ == nullptr || numCols < 0)
        return false;
    // 4 x (points + 2) + 120 = 128 + 4 x points: exactly one record.
    const long distance = 4L * numCols + 120;
    return std::fseek(stream_, distance, SEEK_CUR) == 0;
}

void BrimroseFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    const char* text = nullptr;
    switch (status) {
        case kOpenFailed:
            text = "Failed to open stream for reading.";
            break;
        case kWrongFileMode:
            text = "Wrong file mode. The executed operation is only supported in read mode.";
            break;
        case kShortMainHeader:
            text = "File corrupt! Could not read the whole main header (possibly end of file).";
            break;
        case kShortSubHeader:
            text = "File corrupt! Could not read the whole sub header (possibly end of file).";
            break;
        case kShortData:
            text = "File corrupt! Could not read data (possibly end of file).";
            break;
        case kCorruptHeader:
            text =
                "File is corrupt! Header contains corrupt information about starting, ending "
                "wavelength, or number of data points.";
            break;
        case kNotBrimroseFile:
            text = "The file does not seem to be a valid Brimrose file.";
            break;
        default:
            break;
    }
    CopyStatusText(
        *this, [text] { return text == nullptr ? std::string() : zm::Translate(text); }, buffer,
        bufferSize);
}

BrimroseFileFactory::BrimroseFileFactory()
    : SprFileFactory("Brimrose File", "Brimrose Files (*.dat)", nullptr, 1, ".dat\0", 0, 1, 0, 1, 0,
                     1) {}

SprFileFactory::MyKindOfFile BrimroseFileFactory::IsMyKindOfFile(const char* file) {
    return BrimroseFile::IsBrimroseFile(file) ? kSurely : kNotMine;
}

SpreadsheetFile* BrimroseFileFactory::GetSpreadsheetFile() {
    return new (std::nothrow) BrimroseFile;
}

namespace {
BrimroseFileFactory theBrimroseFileFactory;
}  // namespace
