// Multivariate-data netCDF files: the layout of each file, sizing and messages.
#include "formats/spectral/MvaCDFFileReader.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cmath>
#include <filesystem>

#include "platform/FileNames.h"
#include "platform/Log.h"
#include "platform/NetCDF.h"
#include "platform/Translate.h"

namespace {

bool ParseValueType(const std::string& text, MvaCDFFileReader::ValueType& type, size_t& size) {
    static const struct {
        const char* name;
        MvaCDFFileReader::ValueType type;
        size_t size;
    } kTypes[] = {{"float", MvaCDFFileReader::kFloat, 4},
                  {"double", MvaCDFFileReader::kDouble, 8},
                  {"byte", MvaCDFFileReader::kByte, 1},
                  {"short", MvaCDFFileReader::kShort, 2},
                  {"long", MvaCDFFileReader::kLong, 4}};
    for (const auto& known : kTypes) {
        if (text == known.name) {
            type = known.type;
            size = known.size;
            return true;
        }
    }
    return false;
}

bool IsNaNText(const std::string& text) {
    return text.size() == 3 && std::tolower(static_cast<unsigned char>(text[0])) == 'n' &&
           std::tolower(static_cast<unsigned char>(text[1])) == 'a' &&
           std::tolower(static_cast<unsigned char>(text[2])) == 'n';
}

// An attribute of the data variable, or else of the file.
bool DataAttribute(const zm::NetCDF& cdf, int variable, const char* name, std::string& text) {
    return cdf.AttributeText(variable, name, text) ||
           cdf.AttributeText(zm::NetCDF::kGlobal, name, text);
}

}  // namespace

MvaCDFFileReader::MvaCDFFileReader() = default;

MvaCDFFileReader::~MvaCDFFileReader() = default;

void MvaCDFFileReader::Close() {
    files_.clear();
    namesGiven_ = 0;
    SpectrumFile::Close();
}

int MvaCDFFileReader::OpenFiles(const char* file, ZmImportOpenOptions*) {
    files_.clear();
    const std::vector<std::string> names = zm::SplitFileNames(file != nullptr ? file : "");
    namesGiven_ = names.size();
    if (names.empty())
        return SetStatus(kNotMvaCDFFile);
    for (const std::string& name : names) {
        const zm::NetCDF cdf(name);
        Layout layout;
        layout.name = name;
        if (ReadLayout(cdf, layout) != 0)
            return status;
        if (!files_.empty() && layout.variables != files_.front().variables)
            return SetStatus(kDifferentVariables);
        files_.push_back(layout);
    }
    return 0;
}

int MvaCDFFileReader::ReadLayout(const zm::NetCDF& cdf, Layout& layout) {
    if (!cdf.IsOpen() || cdf.FindAttribute(zm::NetCDF::kGlobal, "mva_template_revision") < 0)
        return SetStatus(kNotMvaCDFFile);
    layout.dataVariable = cdf.FindVariable("observation");
    if (layout.dataVariable < 0)
        layout.dataVariable = cdf.FindVariable("spectral_data_values");

    std::string text;
    if (DataAttribute(cdf, layout.dataVariable, "raw_data_mva_format", text) &&
        !ParseValueType(text, layout.type, layout.valueSize))
        return SetStatus(kSizeUnknown);
    if (DataAttribute(cdf, layout.dataVariable, "missing_value", text)) {
        double value = 0;
        const char* end = text.data() + text.size();
        if (IsNaNText(text)) {
            layout.missingIsNaN = true;
        } else if (std::from_chars(text.data(), end, value).ptr == end) {
            layout.missingValue = value;
        }
    }

    long long variables = cdf.DimensionLength("number_data_points");
    if (variables < 0)
        variables = cdf.DimensionLength("number_spectral_data_points");
    const long long observations = cdf.DimensionLength("sequence_no");
    if (variables < 0 || observations < 0)
        return SetStatus(kSizeUnknown);
    const long long rowsPerPoint = cdf.DimensionLength("number_rows_per_data_point");
    if (rowsPerPoint > 1)
        return SetStatus(kMatrixData);

    // The data: (observation, variable), possibly with a single row per data point
    // between them. A damaged header may claim more values than the file can hold.
    std::vector<size_t> shape;
    if (layout.dataVariable < 0 || !cdf.VariableShape(layout.dataVariable, shape) ||
        shape.size() < 2 || shape.size() > 3 || shape.back() < static_cast<size_t>(variables) ||
        (shape.size() == 3 && shape[1] < 1))
        return SetStatus(kNoObservationData);
    layout.variables = static_cast<size_t>(variables);
    layout.observations = std::min(shape[0], static_cast<size_t>(observations));
    if (layout.variables > INT_MAX - 2 || layout.observations > INT_MAX - 1 ||
        !cdf.CouldHold(layout.variables, layout.valueSize) ||
        (layout.variables > 0 &&
         !cdf.CouldHold(layout.observations, layout.variables * layout.valueSize)))
        return SetStatus(kSizeUnknown);
    return 0;
}

int MvaCDFFileReader::EstablishSize() {
    if (status != 0)
        return status;
    if (files_.empty())
        return SetStatus(kNotMvaCDFFile);
    long long rows = 1;
    for (const Layout& layout : files_)
        rows += static_cast<long long>(layout.observations);
    return SetSize(static_cast<long long>(files_.front().variables) + 2, rows);
}

std::string MvaCDFFileReader::StatusText() {
    const bool several = IsMultiFile();
    switch (status) {
        case kNotMvaCDFFile:
            return zm::Translate(several ? "One or more files seem not to be a valid MVACDF files."
                                         : "The file does not seem to be a valid MVACDF file.");
        case kSizeUnknown:
            return zm::Translate(
                "The size of the observation data could not be established. Necessary "
                "variables ID's could not be found in the file.");
        case kMatrixData:
            return zm::FormatMessage(
                zm::Translate(several ? "The observation data is stored as matrices in one "
                                        "or more of the selected files. %s can currently "
                                        "not import MVACDF file matrices."
                                      : "The observation data is stored as matrices in the "
                                        "file. %s can currently not import MVACDF file "
                                        "matrices."),
                zm::GetApplicationName());
        case kNoObservationData:
            return zm::Translate("Observation data could not be found in the file.");
        case kDifferentVariables:
            return zm::Translate("The files contain different number of variables.");
        default:
            return std::string();
    }
}
