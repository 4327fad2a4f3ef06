// The MAT file reader and writer: opening, the version rule, sizing, reading, texts and
// the registry row. Level 4 is in mat/MatLevel4.cpp, Level 5 in mat/MatLevel5.cpp and the
// writer in mat/MatWriter.cpp.
#include "formats/workbook/MatFile.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>

#include "formats/workbook/mat/MatCursor.h"
#include "formats/workbook/mat/MatInput.h"
#include "framework/SprFileFactory.h"
#include "platform/ErrorText.h"
#include "platform/Exception.h"
#include "platform/Translate.h"

namespace {

// The number after the first blank of a file's first bytes: a Level 5 header text
// begins "MATLAB 5.0", which gives 5, and an HDF5-based one "MATLAB 7.3", which gives 7.
int HeaderVersion(const uint8_t* first, size_t n) {
    const std::string text(reinterpret_cast<const char*>(first), n);
    const char* p = text.c_str();  // up to the first zero byte
    const char* blank = std::strchr(p, ' ');
    if (blank == nullptr)
        return 0;
    const std::string word(blank + 1, std::strcspn(blank + 1, " "));
    return std::atoi(word.c_str());
}

}  // namespace

MatFile::MatFile() = default;

MatFile::~MatFile() = default;

int MatFile::Open(bool readMode, const char* file, ZmImportOpenOptions* options) {
    if (status != 0)
        return status;
    fileName = file != nullptr ? file : "";
    const size_t slash = fileName.find_last_of("\\/");
    baseName = slash == std::string::npos ? fileName : fileName.substr(slash + 1);
    if (!readMode) {
        out.open(fileName, std::ios::binary | std::ios::trunc);
        if (!out)
            return SetStatus(kOpenFailed);
        mode = kWriteMode;
        return status;
    }
    int code = 0;
    try {
        code = OpenRead(options);
    } catch (const zm::Exception& e) {
        refusal = e.what();
        code = kUnknownType;
    } catch (const std::bad_alloc&) {
        code = kBadMatrix;
    }
    if (code != 0) {
        in.close();
        return SetStatus(code);
    }
    mode = kReadMode;
    return status;
}

int MatFile::OpenRead(ZmImportOpenOptions* options) {
    matrices.clear();
    placements.clear();
    shown.clear();
    passedOver.clear();
    warning.clear();
    choice = zm::SheetChoice();
    sizeEstablished = false;
    std::error_code error;
    if (!std::filesystem::is_regular_file(fileName, error))
        return kOpenFailed;
    fileSize = std::filesystem::file_size(fileName, error);
    in.open(fileName, std::ios::binary);
    if (error || !in)
        return kOpenFailed;
    uint8_t first[20];
    if (!in.read(reinterpret_cast<char*>(first), sizeof first))
        return kNotMatFile;
    const int version = HeaderVersion(first, sizeof first);
    if (version > 5)
        return kUnsupportedVersion;
    level5 = version == 5;
    if (level5)
        return OpenMatlab5(options);
    if (int code = OpenMatlab4(first); code != 0)
        return code;
    return ChooseMatrix(options);
}

void MatFile::Close() {
    in.close();
    if (out.is_open())
        out.close();
    matrices.clear();
    placements.clear();
    shown.clear();
    passedOver.clear();
    choice = zm::SheetChoice();
    refusal.clear();
    warning.clear();
    mode = kClosed;
    sizeEstablished = false;
    SpreadsheetFile::Close();
}

int MatFile::EstablishSize() {
    if (status != 0)
        return status;
    if (mode != kReadMode)
        return SetStatus(kStatusWrongMode);
    // Level 5 sizes the sheet when it opens.
    if (!level5) {
        if (int code = EstablishLevel4Size(); code != 0)
            return SetStatus(code);
    }
    sizeEstablished = true;
    return 0;
}

int MatFile::GetNumRows() {
    return status != 0 ? -1 : SpreadsheetFile::GetNumRows();
}

int MatFile::GetNumCols() {
    return status != 0 ? -1 : SpreadsheetFile::GetNumCols();
}

int MatFile::Read(ReadSpreadSheetData* sink) {
    if (status != 0)
        return status;
    if (mode != kReadMode)
        return SetStatus(kStatusWrongMode);
    if (GetNumRows() < 0 || GetNumCols() < 0 || sink == nullptr)
        return status;
    int code = 0;
    try {
        code = level5 ? ReadMatlab5(sink) : ReadMatlab4(sink);
    } catch (const zm::Exception& e) {
        refusal = e.what();
        code = kUnknownType;
    } catch (const std::bad_alloc&) {
        code = kBadMatrix;
    } catch (...) {
        return SetUnknownException();
    }
    return SetStatus(code);
}

void MatFile::GetMatrixList(std::vector<std::string>& list) const {
    list.clear();
    for (const Matrix& m : matrices)
        list.push_back(m.name);
}

bool MatFile::SetCurMatrix(int index) {
    if (level5 || index < 0 || index >= GetNumberOfMatrices())
        return false;
    curMatrix = index;
    idsPresent = false;
    sizeEstablished = false;
    return true;
}

bool MatFile::IsComplex() const {
    return curMatrix < GetNumberOfMatrices() && matrices[static_cast<size_t>(curMatrix)].complex;
}

bool MatFile::GetReadChoices(ReadChoices& choices) {
    // Level 4 reads one matrix, Level 5 the data matrices chosen side by side; a Level 4
    // file whose names and IDs go around its one data matrix offers no choice.
    if (mode != kReadMode || (!level5 && idsPresent))
        return false;
    choices = ReadChoices();
    choices.key = "Sheets";
    choices.noun = "matrix";
    if (level5)
        return Level5Choices(choices);
    GetMatrixList(choices.available);
    choices.chosen = {matrices[static_cast<size_t>(curMatrix)].name};
    return choices.available.size() > 1;
}

const char* MatFile::GetWarningMessage() {
    return warning.empty() ? nullptr : warning.c_str();
}

const char* MatFile::GetReadFile() {
    readName = level5 || matrices.empty() ? "" : matrices[static_cast<size_t>(curMatrix)].name;
    return readName.c_str();
}

void MatFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    const char* text = nullptr;
    switch (status) {
        case kOpenFailed:
            text = "Unable to open file.";
            break;
        case kNotMatFile:
            text =
                "An error occurred while reading the file. The file does not seem to be a valid "
                "MATLAB MAT-file and cannot be imported as such.";
            break;
        case kCorrupt:
            text =
                "An error occurred while reading the file. The file seems to be corrupt and "
                "cannot be imported.";
            break;
        case kBadHeader:
            text =
                "An error occurred while reading the matrix header in the file. The file seems "
                "to be corrupt and cannot be imported.";
            break;
        case kBadMatrix:
            text =
                "An error occurred while reading a matrix in the file. The file seems to be "
                "corrupt and cannot be imported.";
            break;
        case kWriteFailed:
            text =
                "An error occurred while writing a matrix to the file. The dataset seems to be "
                "corrupt and cannot be exported.";
            break;
        case kCannotExport:
            text = "This type of list cannot be exported to MATLAB.";
            break;
        case kComplexData:
            text = "Complex data.";
            break;
        case kUnknownType:
            if (!refusal.empty()) {
                zm::CopyErrorText(refusal, buffer, bufferSize);
                return;
            }
            text = "The file contains data of a type that cannot be interpreted.";
            break;
        case kUnsupportedVersion:
            text =
                "The file seems to be created by an unsupported version of MATLAB. Only MATLAB "
                "files version 4.x and 5 are supported.";
            break;
        default:
            SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
            return;
    }
    zm::CopyErrorText(zm::Translate(text), buffer, bufferSize);
}

namespace {

// A Level 5 header text, or a first Level 4 header that makes sense in either byte order.
class MatFileFactory : public SprFileFactory {
  public:
    MatFileFactory()
        : SprFileFactory("Matlab File", "Matlab Files (*.mat)", "Matlab Files (*.mat)", 1, ".mat\0",
                         1, 1, 0, 0, 0, 1) {}

  protected:
    MyKindOfFile IsMyKindOfFile(const char* file) override {
        std::ifstream in(file != nullptr ? file : "", std::ios::binary);
        uint8_t head[20];
        if (!in.read(reinterpret_cast<char*>(head), sizeof head))
            return kNotMine;
        if (std::memcmp(head, "MATLAB ", 7) == 0)
            return kSurely;
        uint32_t type, fields[4];
        std::memcpy(&type, head, 4);
        std::memcpy(fields, head + 4, 16);
        const bool big = type >= 53;
        if (big) {
            type = zm::mat::Swap32(type);
            for (uint32_t& f : fields)
                f = zm::mat::Swap32(f);
        }
        const bool sane = type / 1000 == (big ? 1u : 0u) && type / 100 % 10 == 0 &&
                          type / 10 % 10 <= 5 && type % 10 <= 2 && fields[0] < 0x80000000u &&
                          fields[1] < 0x80000000u && fields[3] >= 1 && fields[3] <= 4096;
        return sane ? kPlausible : kNotMine;
    }
    SpreadsheetFile* GetSpreadsheetFile() override { return new MatFile; }
};

MatFileFactory theMatFileFactory;

}  // namespace
