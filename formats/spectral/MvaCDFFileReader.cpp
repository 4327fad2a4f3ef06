// Multivariate-data netCDF files: the layout of each file, sizing and messages.
#include "formats/spectral/MvaCDFFileReader.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cmath>
#include <filesystem>

#include "formats/workbook/SheetChoice.h"
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

// The variable read by default.
int DefaultDataVariable(const zm::NetCDF& cdf) {
    const int observation = cdf.FindVariable("observation");
    return observation >= 0 ? observation : cdf.FindVariable("spectral_data_values");
}

// The variables that can be read as the data: numbers over the observations and the data
// points, with at most one dimension between them; the default one first.
std::vector<std::string> DataVariables(const zm::NetCDF& cdf) {
    int points = cdf.FindDimension("number_data_points");
    if (points < 0)
        points = cdf.FindDimension("number_spectral_data_points");
    const int observations = cdf.FindDimension("sequence_no");
    const int fallback = DefaultDataVariable(cdf);
    std::vector<std::string> names;
    if (fallback >= 0)
        names.push_back(cdf.VariableName(fallback));
    std::vector<int> dimensions;
    for (int v = 0; v < cdf.VariableCount(); ++v) {
        if (v != fallback && cdf.IsNumeric(v) && cdf.VariableDimensions(v, dimensions) &&
            (dimensions.size() == 2 || dimensions.size() == 3) &&
            dimensions.front() == observations && dimensions.back() == points && points >= 0 &&
            observations >= 0)
            names.push_back(cdf.VariableName(v));
    }
    return names;
}

}  // namespace

MvaCDFFileReader::MvaCDFFileReader() = default;

MvaCDFFileReader::~MvaCDFFileReader() = default;

void MvaCDFFileReader::Close() {
    files_.clear();
    namesGiven_ = 0;
    dataVariables_.clear();
    chosenVariable_.clear();
    SpectrumFile::Close();
}

int MvaCDFFileReader::OpenFiles(const char* file, ZmImportOpenOptions* options) {
    files_.clear();
    const std::vector<std::string> names = zm::SplitFileNames(file != nullptr ? file : "");
    namesGiven_ = names.size();
    if (names.empty())
        return SetStatus(kNotMvaCDFFile);
    for (const std::string& name : names) {
        const zm::NetCDF cdf(name);
        Layout layout;
        layout.name = name;
        if ((files_.empty() && ChooseVariable(cdf, options) != 0) || ReadLayout(cdf, layout) != 0) {
            failedFile = name;
            return status;
        }
        if (!files_.empty() && layout.variables != files_.front().variables) {
            failedFile = name;
            return SetStatus(kDifferentVariables);
        }
        files_.push_back(layout);
    }
    return 0;
}

int MvaCDFFileReader::ReadLayout(const zm::NetCDF& cdf, Layout& layout) {
    if (!cdf.IsOpen() || cdf.FindAttribute(zm::NetCDF::kGlobal, "mva_template_revision") < 0)
        return SetStatus(kNotMvaCDFFile);
    layout.dataVariable = chosenVariable_.empty() ? DefaultDataVariable(cdf)
                                                  : cdf.FindVariable(chosenVariable_.c_str());

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

int MvaCDFFileReader::ChooseVariable(const zm::NetCDF& cdf, ZmImportOpenOptions* options) {
    dataVariables_.clear();
    chosenVariable_.clear();
    if (!cdf.IsOpen() || cdf.FindAttribute(zm::NetCDF::kGlobal, "mva_template_revision") < 0)
        return 0;  // refused by ReadLayout
    std::vector<std::string> names = DataVariables(cdf);
    if (names.size() < 2)
        return 0;
    zm::SheetChoice choice;
    const auto outcome = choice.Choose(names, options, [&] {
        choice.names = {names.front()};
        return true;
    });
    if (outcome == zm::SheetChoice::Outcome::kBadOptions)
        return SetStatus(kStatusBadOptions);
    if (choice.names.size() != 1)
        return SetStatus(kSeveralChosen);
    dataVariables_ = std::move(names);
    chosenVariable_ = choice.names.front();
    return 0;
}

bool MvaCDFFileReader::GetReadChoices(ReadChoices& choices) {
    if (status != 0 || dataVariables_.size() < 2)
        return false;
    choices = ReadChoices();
    choices.key = "Sheets";
    choices.noun = "variable";
    choices.available = dataVariables_;
    choices.chosen = {chosenVariable_};
    return true;
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
        case kSeveralChosen:
            return zm::Translate("Only one data variable of the file can be read at a time.");
        default:
            return std::string();
    }
}
