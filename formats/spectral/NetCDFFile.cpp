// netCDF files: the choice of template and the forwarding to the inner reader.
#include "formats/spectral/NetCDFFile.h"

#include <new>

#include "formats/spectral/AndiFileReader.h"
#include "formats/spectral/MvaCDFFileReader.h"
#include "platform/ErrorText.h"
#include "platform/FileNames.h"
#include "platform/Log.h"
#include "platform/NetCDF.h"
#include "platform/TextCase.h"
#include "platform/Translate.h"

NetCDFFile::NetCDFFile() = default;

NetCDFFile::~NetCDFFile() = default;

NetCDFFile::ENetCDFTemplate NetCDFFile::GetFileTemplate(const char* file) {
    if (file == nullptr)
        return kNotNetCDF;
    const zm::NetCDF cdf(file);
    if (!cdf.IsOpen())
        return kNotNetCDF;
    if (cdf.FindAttribute(zm::NetCDF::kGlobal, "mva_template_revision") >= 0)
        return kMvaCDF;
    if (cdf.FindAttribute(zm::NetCDF::kGlobal, "aia_template_revision") >= 0)
        return kAndiChromatography;
    if (cdf.FindAttribute(zm::NetCDF::kGlobal, "ms_template_revision") >= 0)
        return kAndiMassSpectrometry;
    return kUnknownTemplate;
}

bool NetCDFFile::IsNetCDFFile(const char* file) {
    return file != nullptr && zm::NetCDF(file).IsOpen();
}

void NetCDFFile::Close() {
    if (inner_)
        inner_->Close();
    inner_.reset();
    template_ = kNotNetCDF;
    SpectrumFile::Close();
}

AndiFileReader* NetCDFFile::GetAndiFileReader() {
    return new (std::nothrow) AndiFileReader;
}

int NetCDFFile::OpenFiles(const char* file, ZmImportOpenOptions* options) {
    const std::vector<std::string> names = zm::SplitFileNames(file != nullptr ? file : "");
    template_ = names.empty() ? kNotNetCDF : GetFileTemplate(names.front().c_str());
    if (names.size() > 1)
        failedFile = names.front();  // named should its template be refused
    switch (template_) {
        case kNotNetCDF:
            return SetStatus(kNotNetCDFFile);
        case kMvaCDF:
            inner_.reset(new (std::nothrow) MvaCDFFileReader);
            break;
        case kAndiChromatography:
            inner_.reset(GetAndiFileReader());
            break;
        default:
            return SetStatus(kTemplateNotSupported);
    }
    if (!inner_)
        return SetUnknownException();
    return SetStatus(inner_->Open(true, file, options));
}

int NetCDFFile::EstablishSize() {
    if (status != 0)
        return status;
    if (!inner_)
        return SetStatus(kStatusSizeFailed);
    numCols = inner_->GetNumCols();
    numRows = inner_->GetNumRows();
    if (numCols < 0 || numRows < 0) {
        numCols = numRows = -1;
        return SetStatus(inner_->GetStatus() != 0 ? inner_->GetStatus() : kStatusSizeFailed);
    }
    sizeEstablished = true;
    return 0;
}

bool NetCDFFile::GetReadChoices(ReadChoices& choices) {
    return status == 0 && inner_ && inner_->GetReadChoices(choices);
}

const char* NetCDFFile::GetFailedFile() {
    if (inner_ && inner_->GetStatus() != 0 && inner_->GetStatus() == status)
        return inner_->GetFailedFile();
    return SpreadsheetFile::GetFailedFile();
}

int NetCDFFile::ReadGeneralNetCDFFile(ReadSpreadSheetData* sink) {
    if (!inner_)
        return SetStatus(kStatusSizeFailed);
    return SetStatus(inner_->Read(sink));
}

void NetCDFFile::GetErrorMessage(char* buffer, unsigned int bufferSize) {
    try {
        if (inner_ && inner_->GetStatus() != 0 && inner_->GetStatus() == status) {
            inner_->GetErrorMessage(buffer, bufferSize);
            return;
        }
        std::string text;
        switch (status) {
            case kNotNetCDFFile:
                text = zm::Translate("The file does not seem to be a valid NetCDF file.");
                break;
            case kTemplateNotSupported:
                text = zm::FormatMessage(
                    template_ == kAndiMassSpectrometry
                        ? zm::Translate("This NetCDF file contains the raw data from one GcMS "
                                        "run. Such files cannot be imported by %s. Please see "
                                        "Q576 in the knowledge base for further information.")
                        : zm::Translate("The NetCDF template used to create this file is not "
                                        "recognized by %s."),
                    zm::GetApplicationName());
                break;
            case kStatusOk:
            case kStatusNotImplemented:
            case kStatusSizeFailed:
            case kStatusWrongMode:
            case kStatusAborted:
            case kStatusBadOptions:
            case kStatusUnknownException:
                SpreadsheetFile::GetErrorMessage(buffer, bufferSize);
                return;
            default:
                text = zm::Translate("No further information is available.");
                break;
        }
        zm::CopyErrorText(text, buffer, bufferSize);
    } catch (...) {
        if (buffer != nullptr && bufferSize > 0)
            buffer[0] = '\0';
    }
}

NetCDFFileFactory::NetCDFFileFactory()
    : SprFileFactory("NetCDF Files", "NetCDF Files (*.nc; *.cdf) (MVACDF, ANDI)", nullptr, 2,
                     ".nc\0.cdf\0", 0, 1, 1, 1, 0, 1) {}

SprFileFactory::MyKindOfFile NetCDFFileFactory::IsMyKindOfFile(const char* file) {
    if (file == nullptr)
        return kNotMine;
    const std::string extension = zm::FileExtension(file);
    const bool ownExtension =
        zm::EqualNoCase(extension, ".nc") || zm::EqualNoCase(extension, ".cdf");
    switch (NetCDFFile::GetFileTemplate(file)) {
        case NetCDFFile::kMvaCDF:
        case NetCDFFile::kAndiChromatography:
        case NetCDFFile::kAndiMassSpectrometry:
            return kSurely;
        case NetCDFFile::kUnknownTemplate:
            // Other HDF5-based files (MATLAB 7.3 among them) open as netCDF-4 too.
            return ownExtension ? kPlausible : kCanRead;
        default:
            return ownExtension ? kPlausible : kNotMine;
    }
}

SpreadsheetFile* NetCDFFileFactory::GetSpreadsheetFile() {
    return new (std::nothrow) NetCDFFile;
}

namespace {
NetCDFFileFactory theNetCDFFileFactory;
}  // namespace
