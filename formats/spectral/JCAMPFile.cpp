// JCAMP-DX files: opening, block choice, options, sizing, messages and the factory.
#include "formats/spectral/JCAMPFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <new>
#include <optional>

#include "formats/spectral/JCAMPText.h"
#include "formats/spectral/SpectralCompare.h"
#include "framework/OptionsRecord.h"
#include "platform/BinaryString.h"
#include "platform/ErrorText.h"
#include "platform/FileNames.h"
#include "platform/Log.h"
#include "platform/ReadMeter.h"
#include "platform/Translate.h"

namespace {

const char* const kSettings = "Settings";

// Integers of a "DataBlocks" value written as one text ("0;2;3", "0, 2"), as a
// command line sets it; false when a part is not a whole number.
bool ParseIndexText(const std::string& text, std::vector<std::string>& parts) {
    std::string part;
    for (char c : text + ";") {
        if (c == ';' || c == ',' || zm::jcamp::IsBlank(c)) {
            if (!part.empty())
                parts.push_back(part);
            part.clear();
        } else if (std::isdigit(static_cast<unsigned char>(c)) || c == '-') {
            part.push_back(c);
        } else {
            return false;
        }
    }
    return true;
}

// The record of the choices in force when none were given (every one of `blocks`
// blocks, the first block of the first file as reference), in the very text the
// settings layer writes for that document. Written directly: building the document
// would start the XML library, which takes longer than reading hundreds of spectra.
std::string DefaultOptionsXml(size_t blocks) {
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Configuration>\n  <Settings>\n";
    if (blocks == 0) {
        xml += "    <DataBlocks></DataBlocks>\n";
    } else {
        xml += "    <DataBlocks>\n";
        for (size_t i = 0; i < blocks; ++i)
            xml += "      <Item>" + std::to_string(i) + "</Item>\n";
        xml += "    </DataBlocks>\n";
    }
    xml +=
        "    <InterPolationFile>0</InterPolationFile>\n"
        "    <InterPolationSerie>0</InterPolationSerie>\n"
        "  </Settings>\n</Configuration>\n";
    return xml;
}

}  // namespace

JCAMPFile::JCAMPFile() = default;

JCAMPFile::~JCAMPFile() = default;

void JCAMPFile::Close() {
    Clear();
    SpreadsheetFile::Close();
}

void JCAMPFile::Clear() {
    files_.clear();
    text_ = zm::RawArray<char>();
    values_ = zm::RawArray<double>();
    blocks_.clear();
    scanned_.clear();
    openBlocks_.clear();
    series_.clear();
    columnX_.clear();
    decoded_ = false;
    currentFile_ = blockIndex_ = errorFile_ = -1;
    lineNumber_ = errorLine_ = depth_ = 0;
    errorInBlock_ = false;
    keptText_.clear();
    warning_ = 0;
    warningText_.clear();
    interpolationFile_ = interpolationSeries_ = 0;
    xRangesDiffer_ = pointNumbersDiffer_ = false;
    numCols = numRows = -1;
    sizeEstablished = false;
}

namespace {

// Appends a whole regular file to `text`; false when it cannot be opened or read or is
// no regular file. The size comes from the open file rather than from its name, so the
// name is looked up once. One read takes the file whole: a read that comes back short
// of the room given has met the end of the file, which saves asking for the size
// again. Before the first file `text` gets room for `files` files of its size: sets
// of spectra are mostly files of one size. Opened without blocking, so a name that
// is a pipe cannot stall the reading.
bool AppendFile(const std::string& name, size_t files, zm::RawArray<char>& text) {
    const int fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return false;
    struct stat info;
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size < 0) {
        ::close(fd);
        return false;
    }
    const size_t expected = static_cast<size_t>(info.st_size);
    if (text.Size() == 0 && expected < SIZE_MAX / 2 / std::max<size_t>(files, 1)) {
        try {
            text.Reserve(zm::jcamp::WholeHugePages((expected + 1) * files, 1));
        } catch (const std::bad_alloc&) {
            // Past what memory holds: the text grows as the files come instead.
        }
    }
    const size_t start = text.Size();
    text.Extend(expected + 1);
    size_t got = 0;
    bool ok = true;
    while (true) {
        const size_t room = text.Size() - start - got;
        const ssize_t n = ::read(fd, &text[start + got], room);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            ok = false;
            break;
        }
        got += static_cast<size_t>(n);
        if (static_cast<size_t>(n) < room)
            break;
        // The file has grown since it was measured.
        text.Extend(std::max<size_t>(got, 4096));
    }
    text.Truncate(start + got);
    ::close(fd);
    zm::ReadMeter::Reached(name, got);
    return ok;
}

}  // namespace

int JCAMPFile::OpenFiles(const char* names, ZmImportOpenOptions* options) {
    // A second Open reads its own files only, never adding to the blocks of the first.
    Clear();
    const std::vector<std::string> list = zm::SplitFileNames(names != nullptr ? names : "");
    files_.reserve(list.size());
    blocks_.reserve(list.size());  // most files hold one block
    for (const std::string& name : list)
        files_.push_back({name, 0, 0});
    for (size_t i = 0; i < files_.size(); ++i) {
        files_[i].offset = text_.Size();
        if (!AppendFile(files_[i].name, files_.size(), text_)) {
            failedFile = files_[i].name;
            return SetStatus(kOpenFailed);
        }
        files_[i].size = text_.Size() - files_[i].offset;
        if (CheckFile(static_cast<int>(i)) != 0)
            return status;
    }
    if (files_.empty())
        return SetStatus(kOpenFailed);
    currentFile_ = -1;
    return SetOptions(options);
}

int JCAMPFile::Fail(int code) {
    if (status == 0) {
        errorFile_ = currentFile_;
        errorLine_ = lineNumber_;
        errorInBlock_ = blockIndex_ >= 0;
    }
    return SetStatus(code);
}

std::string JCAMPFile::FilePrefix(int file) const {
    if (files_.size() < 2 || file < 0 || file >= static_cast<int>(files_.size()))
        return std::string();
    return zm::FileTitle(files_[static_cast<size_t>(file)].name) + ", ";
}

std::string JCAMPFile::MessagePrefix() const {
    if (errorFile_ < 0 || errorFile_ >= static_cast<int>(files_.size()))
        return std::string();
    const std::string name =
        std::filesystem::path(files_[static_cast<size_t>(errorFile_)].name).filename().string();
    if (errorInBlock_ && errorLine_ > 0)
        return zm::FormatMessage(zm::Translate("Error in file '%1%', line %2%: "), name,
                                 errorLine_);
    return zm::FormatMessage(zm::Translate("Error in file '%1%': "), name);
}

void JCAMPFile::SelectJCAMPBlock(int index) {
    if (index >= 0 && index < static_cast<int>(blocks_.size())) {
        blocks_[static_cast<size_t>(index)].selected = true;
        decoded_ = false;
        sizeEstablished = false;
    }
}

void JCAMPFile::SelectJCAMPBlock(const std::vector<int>& indices) {
    for (int index : indices)
        SelectJCAMPBlock(index);
}

std::vector<int> JCAMPFile::GetSelectedJCAMPDataBlocks() {
    std::vector<int> selected;
    for (size_t i = 0; i < blocks_.size(); ++i) {
        if (blocks_[i].selected)
            selected.push_back(static_cast<int>(i));
    }
    return selected;
}

bool JCAMPFile::GetReadChoices(ReadChoices& choices) {
    if (blocks_.empty())
        return false;
    choices = ReadChoices();
    choices.key = "DataBlocks";
    choices.noun = "block";
    for (size_t i = 0; i < blocks_.size(); ++i) {
        choices.available.push_back(std::to_string(i));
        if (blocks_[i].selected)
            choices.chosen.push_back(choices.available.back());
    }
    return true;
}

bool JCAMPFile::GetInterPolationIndeces(int& file, int& series) {
    file = interpolationFile_;
    series = interpolationSeries_;
    return true;
}

int JCAMPFile::SetOptions(ZmImportOpenOptions* options) {
    std::unique_ptr<zm::SettingsDocument> document;
    try {
        const zm::OptionsDecode decoded = zm::DecodeOptions(options, document);
        if (decoded == zm::OptionsDecode::kMalformed)
            return SetStatus(kBadOptions);
        if (decoded == zm::OptionsDecode::kNoOptions) {
            // Every block is offered; an empty record gets the choices in force.
            for (Block& block : blocks_)
                block.selected = true;
            if (options != nullptr) {
                std::string bytes;
                zm::WriteBinaryString(bytes, DefaultOptionsXml(blocks_.size()));
                auto* data = new unsigned char[bytes.size()];
                std::memcpy(data, bytes.data(), bytes.size());
                options->data = data;
                options->size = static_cast<uint32_t>(bytes.size());
            }
            return status;
        }
        std::optional<std::vector<std::string>> items = document->GetList(kSettings, "DataBlocks");
        if (!items)
            return SetStatus(kBadOptions);
        if (items->empty()) {
            const std::optional<std::string> text = document->GetString(kSettings, "DataBlocks");
            if (text && !ParseIndexText(*text, *items))
                return SetStatus(kBadOptions);
        }
        std::vector<int> indices;
        for (const std::string& item : *items) {
            int index = -1;
            const std::string_view digits = zm::jcamp::Strip(item);
            const auto [end, ec] =
                std::from_chars(digits.data(), digits.data() + digits.size(), index);
            if (ec != std::errc() || end != digits.data() + digits.size() || index < 0 ||
                index >= static_cast<int>(blocks_.size()))
                return SetStatus(kBadOptions);
            indices.push_back(index);
        }
        for (const char* key : {"InterPolationFile", "InterPolationSerie"}) {
            if (!document->HasKey(kSettings, key))
                continue;
            const std::optional<long long> value = document->GetInt(kSettings, key);
            if (!value || *value < 0 || *value > INT_MAX)
                return SetStatus(kBadOptions);
            (std::string_view(key) == "InterPolationFile" ? interpolationFile_
                                                          : interpolationSeries_) =
                static_cast<int>(*value);
        }
        for (Block& block : blocks_)
            block.selected = false;
        SelectJCAMPBlock(indices);
    } catch (...) {
        // The settings layer failing on the text is an error in the options.
        return SetStatus(kBadOptions);
    }
    return status;
}

int JCAMPFile::CheckMultiSelection() {
    if (status != 0)
        return status;
    const std::vector<int> selected = GetSelectedJCAMPDataBlocks();
    if (selected.empty())
        return SetStatus(kNoBlocksSelected);
    const int form = blocks_[static_cast<size_t>(selected.front())].dataForm;
    for (int index : selected) {
        if (blocks_[static_cast<size_t>(index)].dataForm != form)
            return SetStatus(kMixedDataClasses);
    }
    if (!decoded_ && DecodeSelection() != 0)
        return status;
    xRangesDiffer_ = pointNumbersDiffer_ = false;
    const Series& first = series_.front();
    size_t fewest = first.Size(), most = first.Size();
    for (const Series& series : series_) {
        const size_t n = series.Size();
        fewest = std::min(fewest, n);
        most = std::max(most, n);
        if (!zm::SpectralValuesEqual(series.X(0), first.X(0)) ||
            !zm::SpectralValuesEqual(series.X(n - 1), first.X(first.Size() - 1)))
            xRangesDiffer_ = true;
        // Point tables share an axis only when every x agrees.
        if (form == kPointTable && n == first.Size()) {
            for (size_t i = 0; i < n && !xRangesDiffer_; ++i)
                xRangesDiffer_ = !zm::SpectralValuesEqual(series.X(i), first.X(i));
        }
    }
    pointNumbersDiffer_ = fewest != most;
    return 0;
}

int JCAMPFile::EstablishSize() {
    if (status != 0)
        return status;
    try {
        if (CheckMultiSelection() != 0 || ResampleSelection() != 0)
            return status;
    } catch (const std::bad_alloc&) {
        return SetStatus(kStatusSizeFailed);
    }
    if (columnX_.size() >= static_cast<size_t>(INT_MAX) || series_.size() >= INT_MAX)
        return SetStatus(kStatusSizeFailed);
    return SetSize(static_cast<long long>(columnX_.size()) + 1,
                   static_cast<long long>(series_.size()) + 1);
}

void JCAMPFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    // How a text is filled: 0 as it stands, 1 with the prefix, 2 with the prefix and the
    // line, 3 with the prefix and the application's name.
    struct Text {
        int code;
        int fill;
        const char* text;
    };
    static const Text kTexts[] = {
        {kOpenFailed, 0, "Unable to open file."},
        {kBinaryData, 1, "%1%The data is stored in an unsupported (binary) form."},
        {kNoLabelTerminator, 1, "%1%Found a label with the data label terminator ('=') missing."},
        {kMissingValue, 1, "%1%A label with a missing value was found in the file."},
        {kTitleEndMismatch, 1,
         "%1%Mismatching '##TITLE=' and '##END=' labels were found in the file."},
        {kIllegalValue, 2, "%1%The label on line %2% has an illegal value."},
        {kBadNPoints, 1,
         "%1%Invalid value of '##NPOINTS=' label in the file. The value of '##NPOINTS=' must be "
         "a positive integer."},
        {kNoBlocksSelected, 0, "No data blocks were selected."},
        {kReadError, 1, "%1%Error occurred while reading the file."},
        {kSizeUnknown, 1,
         "%1%The size of the data block could not be established. The '##NPOINTS'-label could "
         "not be found or had an illegal value."},
        {kNoValidData, 1, "%1%Couldn't find valid data to import."},
        {kUnknownDataClass, 1,
         "%1%Does not recognize the value of the '##DATACLASS=' label as a valid JCAMP-DX 5.0 "
         "dataclass"},
        {kAssignments, 3, "%1%%2% can currently not read assignments."},
        {kRAData, 3, "%1%%2% can currently not read RA-data."},
        {kNTuples, 3, "%1%%2% Can currently not read n-tuples."},
        {kXYPoints, 3, "%1%%2% can currently not read XY points."},
        {kXYPairs, 3, "%1%%2% can currently not read XY pairs."},
        {kBadSeries, 1, "%1%The selected series is invalid"},
        {kNoSpacing, 1,
         "%1%Couldn't establish dx, either the '##FIRSTX=' and/or '##LASTX=' labels are missing "
         "in the file, or the '##DELTAX=' label."},
        {kDupOnAbscissa, 1, "%1%Duplicate suppression count (DUP) should be 1 for abscissa."},
        {kDupFirstOrdinate, 1, "%1%A DUP-value is not allowed as first ordinate."},
        {kUnexpectedEnd, 1, "%1%Found unexpected End-of-file while reading data from file."},
        {kIllegalCharacter, 2,
         "%1%Found an illegal character on line %2% while reading data from the file."},
        {kInvalidCharacter, 1, "%1%Found an invalid character while reading data from the dataset"},
        {kTwoDups, 1, "%1%Two consecutive DUP-values is not allowed."},
        {kMixedDataClasses, 0,
         "Only files with dataclass = 'XYDATA' are supported by multiselection."},
        {kInterrupted, 0, "File read interrupted by the user."},
        {kBadOptions, 0, "Invalid file read option."},
    };
    try {
        std::string text;
        if (status == kNotJCAMPFile) {
            text = zm::Translate(files_.size() > 1
                                     ? "One of the files does not appear to be a valid JCAMP-DX "
                                       "file."
                                     : "The file does not appear to be a valid JCAMP-DX file.");
        } else if (status == kBlocksOutsideLink) {
            text = zm::Translate(keptText_.c_str());
        } else {
            const auto it = std::find_if(std::begin(kTexts), std::end(kTexts),
                                         [this](const Text& t) { return t.code == status; });
            if (it == std::end(kTexts)) {
                SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
                return;
            }
            const std::string templ = zm::Translate(it->text);
            switch (it->fill) {
                case 0:
                    text = templ;
                    break;
                case 1:
                    text = zm::FormatMessage(templ, MessagePrefix());
                    break;
                case 2:
                    text = zm::FormatMessage(templ, MessagePrefix(), errorLine_);
                    break;
                default:
                    text = zm::FormatMessage(templ, MessagePrefix(), zm::GetApplicationName());
                    break;
            }
        }
        zm::CopyErrorText(text, buffer, bufferSize);
    } catch (...) {
        if (buffer != nullptr && bufferSize > 0)
            buffer[0] = '\0';
    }
}

const char* JCAMPFile::GetFailedFile() {
    if (status != 0 && errorFile_ >= 0 && errorFile_ < static_cast<int>(files_.size()))
        return files_[static_cast<size_t>(errorFile_)].name.c_str();
    return SpreadsheetFile::GetFailedFile();
}

const char* JCAMPFile::GetWarningMessage() {
    return warning_ == 0 ? nullptr : warningText_.c_str();
}

JCAMPFileFactory::JCAMPFileFactory()
    : SprFileFactory("JCAMP-DX File", "JCAMP-DX Files (*.jcm; *.dx; *.jdx)", nullptr, 3,
                     ".jcm\0.dx\0.jdx\0", 0, 1, 1, 1, 0, 1) {}

// A first label "##TITLE=" is the mark of the format, whatever the extension; the
// extension alone makes a file plausible, to be refused with the format's own text.
SprFileFactory::MyKindOfFile JCAMPFileFactory::IsMyKindOfFile(const char* file) {
    if (file == nullptr)
        return kNotMine;
    std::string extension = zm::FileExtension(file);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const bool ownExtension = extension == ".jcm" || extension == ".dx" || extension == ".jdx";
    std::FILE* in = std::fopen(file, "rb");
    if (in == nullptr)
        return kNotMine;
    char head[256];
    const size_t got = std::fread(head, 1, sizeof head, in);
    std::fclose(in);
    std::string_view text(head, got);
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    const size_t equals = text.find('=');
    const size_t lineEnd = text.find_first_of("\r\n");
    if (text.starts_with("##") && equals != std::string_view::npos && equals < lineEnd &&
        zm::jcamp::NormaliseName(text.substr(2, equals - 2)) == "TITLE")
        return kSurely;
    return ownExtension ? kPlausible : kNotMine;
}

SpreadsheetFile* JCAMPFileFactory::GetSpreadsheetFile() {
    return new (std::nothrow) JCAMPFile;
}

namespace {
JCAMPFileFactory theJCAMPFileFactory;
}  // namespace
