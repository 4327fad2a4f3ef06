// The Lotus 1-2-3 reader: opening, the version test of the BOF record, value decoding,
// texts and the factory. Records and cells are walked in LotusFileRecords.cpp.
#include "formats/workbook/LotusFile.h"

#include "formats/workbook/ExcelFile.h"

#include <cmath>
#include <cstring>
#include <filesystem>

#include "framework/SprFileFactory.h"
#include "platform/CodePage.h"
#include "platform/ErrorText.h"
#include "platform/Translate.h"

namespace {

// Label texts are 8-bit: the IBM PC Latin-1 code page, which is also the default group
// of the character set later Lotus releases define.
constexpr int kLabelCodePage = 850;

// The biggest record a 16-bit length can announce.
constexpr size_t kMaxRecord = 0xFFFF;

}  // namespace

LotusFile::LotusFile()
    : record(kMaxRecord), codePage(std::make_unique<zm::CodePageText>(kLabelCodePage)) {}

LotusFile::LotusFile(const LotusFile& other)
    : SpreadsheetFile(other),
      fileName(other.fileName),
      record(kMaxRecord),
      codePage(std::make_unique<zm::CodePageText>(kLabelCodePage)) {
    // A copy reads the same file through a stream of its own.
    if (other.stream != nullptr && OpenStream(fileName.c_str()) != 0)
        SetStatus(kOpenFailed);
}

LotusFile& LotusFile::operator=(const LotusFile& other) {
    if (this != &other) {
        LotusFile copy(other);
        SpreadsheetFile::operator=(copy);
        fileName = std::move(copy.fileName);
        stream = std::move(copy.stream);
    }
    return *this;
}

LotusFile::~LotusFile() = default;

// Lotus values are little-endian like those of .xls records.
int16_t LotusFile::GetInt16(const uint8_t* data, size_t offset) {
    return ExcelFile::I2Shuffle(data, offset);
}

uint16_t LotusFile::GetUInt16(const uint8_t* data, size_t offset) {
    return ExcelFile::uI2Shuffle(data, offset);
}

int32_t LotusFile::GetInt32(const uint8_t* data, size_t offset) {
    return ExcelFile::I4Shuffle(data, offset);
}

double LotusFile::GetDouble(const uint8_t* data, size_t offset) {
    return ExcelFile::DShuffle(data, offset);
}

bool LotusFile::IsValidDouble(double value) {
    return std::isfinite(value);
}

int LotusFile::IsLotusFile(const uint8_t* head, size_t size) {
    // BOF: type 0, then the data length, which tells the old formats (2 bytes: the
    // revision word) from the newer ones (26 bytes).
    if (head == nullptr || size < 6 || head[0] != 0 || head[1] != 0 || head[3] != 0)
        return kNotLotus;
    const uint8_t low = head[4], high = head[5];
    if (head[2] == 2) {
        // 0x0404 release 1A, 0x0405 Symphony 1.0, 0x0406 release 2 and Symphony 1.1+.
        return high == 4 && low >= 4 && low <= 6 ? 0 : kUnknownVersion;
    }
    if (head[2] != 26)
        return kNotLotus;
    if (low == 0x00 && high == 0x10)
        return kLotusWk3;
    if (low == 0x02 && high == 0x10)
        return kLotusWk4;
    if (low == 0x00 && high == 0x06)
        return kLotusWj1;
    if (low == 0x07 && high == 0x80)
        return kLotusFrm;
    if (low == 0x03 && high == 0x10)
        return kLotusWorkbook;
    return kUnknownVersion;
}

int LotusFile::IsLotusFile(const char* file) {
    if (file == nullptr)
        return kOpenFailed;
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return kOpenFailed;
    uint8_t head[6];
    in.read(reinterpret_cast<char*>(head), sizeof head);
    return IsLotusFile(head, static_cast<size_t>(in.gcount()));
}

int LotusFile::OpenStream(const char* file) {
    std::error_code error;
    if (file == nullptr || !std::filesystem::is_regular_file(file, error))
        return kOpenFailed;
    stream = std::make_unique<std::ifstream>(file, std::ios::binary);
    if (!*stream) {
        stream.reset();
        return kOpenFailed;
    }
    return 0;
}

int LotusFile::Open(bool readMode, const char* file, ZmImportOpenOptions*) {
    if (status != 0)
        return status;
    if (!readMode)
        return SetStatus(kStatusWrongMode);
    stream.reset();
    numCols = numRows = -1;
    sizeEstablished = false;
    fileName = file != nullptr ? file : "";
    if (int code = OpenStream(file); code != 0)
        return SetStatus(code);
    uint8_t head[6];
    stream->read(reinterpret_cast<char*>(head), sizeof head);
    if (int code = IsLotusFile(head, static_cast<size_t>(stream->gcount())); code != 0) {
        stream.reset();
        return SetStatus(code);
    }
    return 0;
}

const char* LotusFile::GetWarningMessage() {
    return warning.empty() ? nullptr : warning.c_str();
}

void LotusFile::Close() {
    stream.reset();
    fileName.clear();
    warning.clear();
    numCols = numRows = -1;
    sizeEstablished = false;
    SpreadsheetFile::Close();
}

int LotusFile::GetNumRows() {
    return status != 0 ? -1 : SpreadsheetFile::GetNumRows();
}

int LotusFile::GetNumCols() {
    return status != 0 ? -1 : SpreadsheetFile::GetNumCols();
}

void LotusFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    const char* text = nullptr;
    bool listFormats = true;
    switch (status) {
        case kOpenFailed:
            text = "Unable to open file.";
            listFormats = false;
            break;
        case kNotLotus:
            text = "The file does not seem to be a valid Lotus 1-2-3 file.";
            listFormats = false;
            break;
        case kLotusWk3:
            text =
                "The file is a Lotus version 3.0 (WK3) file.  However, TAVIX does only support "
                "the following Lotus formats:\n\n%s";
            break;
        case kLotusWk4:
            text =
                "The file is a Lotus version 4.0 (WK4) file. However, TAVIX does only support the "
                "following Lotus formats:\n\n%s";
            break;
        case kLotusWj1:
            text =
                "The file is a Lotus 1-2-3/J (WJ1) file. However, TAVIX does only support the "
                "following Lotus formats:\n\n%s";
            break;
        case kLotusFrm:
            text = "This file is a Lotus 1-2-3 (FRM) file. Such files cannot be imported by TAVIX.";
            listFormats = false;
            break;
        case kLotusWorkbook:
            text =
                "The file seems to be a Lotus Workbook (123) file.  However, TAVIX does only "
                "support the following Lotus formats:\n\n%s";
            break;
        case kUnknownVersion:
            text =
                "unrecognized Lotus 1-2-3 version format. TAVIX supports the following Lotus "
                "formats:\n\n%s";
            break;
        case kNoSize:
            text =
                "An error occurred while trying to establish size size of the dataset. The file "
                "seems to be corrupt and cannot be imported.";
            listFormats = false;
            break;
        case kUnexpectedEof:
            text =
                "Found unexpected EOF (End-Of-File) while reading for data. The file seems to be "
                "corrupt and cannot be imported.";
            listFormats = false;
            break;
        case kReadFailed:
            text = "Read() failed. The file seems to be corrupt and cannot be imported.";
            listFormats = false;
            break;
        case kCorruptRecord:
            text = "A corrupt data record was found. The file cannot be imported.";
            listFormats = false;
            break;
        default:
            SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
            return;
    }
    std::string message = zm::Translate(text);
    if (listFormats) {
        const std::string formats = zm::Translate(
            "Lotus 1-2-3 version 1.A (WKS)\r\nLotus 1-2-3 version 2.0-2.2 (WK1)\r\nSymphony file "
            "1.0/1.01 (WRK) and\r\nSymphony file 1.1/1.2/2.0 (WR1).");
        if (const size_t at = message.find("%s"); at != std::string::npos)
            message.replace(at, 2, formats);
    }
    zm::CopyErrorText(message, buffer, bufferSize);
}

namespace {

class LotusFileFactory : public SprFileFactory {
  public:
    LotusFileFactory()
        : SprFileFactory("Lotus 1-2-3 File", "Lotus 1-2-3 Files (*.wks; *.wk1)", nullptr, 4,
                         ".wks\0.wk1\0.wrk\0.wr1\0", 0, 1, 0, 1, 0, 1) {}

  protected:
    // A Lotus-shaped BOF record is enough: for a later release or an unknown revision the
    // reader then says why it refuses the file, rather than another format misreading it.
    MyKindOfFile IsMyKindOfFile(const char* file) override {
        const int code = LotusFile::IsLotusFile(file);
        return code == 0 || (code >= LotusFile::kLotusWk3 && code <= LotusFile::kUnknownVersion)
                   ? kSurely
                   : kNotMine;
    }
    SpreadsheetFile* GetSpreadsheetFile() override { return new LotusFile; }
};

LotusFileFactory theLotusFileFactory;

}  // namespace
