// Level 5 MAT files: which arrays make the sheet, where each goes, and what a read
// offers, takes and passes over.
#include <algorithm>
#include <climits>

#include "formats/workbook/MatFile.h"
#include "formats/workbook/mat/MatCursor.h"
#include "platform/Exception.h"
#include "platform/Translate.h"

using zm::mat::CellCursor;

namespace {

constexpr size_t kPassedOverShown = 12;

// The matrices that name the sheet's columns and rows rather than hold data.
bool NamesVariables(const std::string& name) {
    return name == "VARNAM" || name == "VARNUM";
}
bool NamesObservations(const std::string& name) {
    return name == "OBSNAM" || name == "OBSNUM";
}
bool IsData(const MatFile::Matrix& m) {
    return !NamesVariables(m.name) && !NamesObservations(m.name);
}

// Names or numbers in a names matrix: one per row of a text, else one per value.
int64_t Entries(const MatFile::Matrix& m) {
    return m.text ? m.rows : m.rows * m.cols;
}

// The kind of an array class that is not read as data, as the user knows it.
std::string ArrayKind(int arrayClass) {
    switch (arrayClass) {
        case 1:
            return "cell array";
        case 2:
            return "structure";
        case 3:
        case 17:  // the class system's objects (strings, tables, ...)
            return "object";
        case 16:
            return "function handle";
        default:
            return "array of class " + std::to_string(arrayClass);
    }
}

// "rows labelled by OBSNAM and OBSNUM": the names matrices placed along one edge.
std::string Labelled(const char* edge, const std::vector<std::string>& names) {
    std::string text;
    for (size_t i = 0; i < names.size(); ++i)
        text += (i == 0 ? std::string(edge) + " labelled by " : " and ") + names[i];
    return text;
}

}  // namespace

bool MatFile::Level5Choices(ReadChoices& choices) const {
    for (const Matrix& m : matrices) {
        if (IsData(m) || matrices.size() == 1)
            choices.available.push_back(m.name);
    }
    // One matrix is read as it is; of several, the data matrices chosen.
    if (shown.empty())
        choices.chosen = choices.available;
    for (const int i : shown)
        choices.chosen.push_back(matrices[static_cast<size_t>(i)].name);
    choices.sideBySide = true;
    std::vector<std::string> rowNames, columnNames;
    for (const Placement& p : placements) {
        if (p.layout == CellCursor::kDown)
            rowNames.push_back(matrices[static_cast<size_t>(p.matrix)].name);
        else if (p.layout == CellCursor::kAcross)
            columnNames.push_back(matrices[static_cast<size_t>(p.matrix)].name);
    }
    choices.labels = Labelled("rows", rowNames);
    if (!columnNames.empty())
        choices.labels += (choices.labels.empty() ? "" : ", ") + Labelled("columns", columnNames);
    for (const auto& [name, arrayClass] : passedOver)
        choices.passedOver.emplace_back(name, ArrayKind(arrayClass));
    return choices.available.size() > 1 || !choices.passedOver.empty();
}

void MatFile::RefuseNoData() const {
    // Saying what the file holds instead tells a file of cells or structures from an
    // empty one.
    std::string text = zm::Translate("No data found.");
    for (size_t i = 0; i < passedOver.size() && i < kPassedOverShown; ++i) {
        const auto& [name, arrayClass] = passedOver[i];
        text += (i == 0 ? " Not read: " : ", ") + (name.empty() ? "" : name + " (") +
                ArrayKind(arrayClass) + (name.empty() ? "" : ")");
    }
    if (passedOver.size() > kPassedOverShown)
        text += ", ... (" + std::to_string(passedOver.size()) + " in all)";
    throw zm::Exception(passedOver.empty() ? text : text + ".");
}

int MatFile::ChooseData(ZmImportOpenOptions* options) {
    // The data matrices are the choice; names and numbers go around whichever are read.
    // Without a choice every one is read, side by side.
    std::vector<std::string> data;
    for (const Matrix& m : matrices) {
        if (IsData(m))
            data.push_back(m.name);
    }
    if (data.empty())
        RefuseNoData();
    choice.layout = zm::SheetChoice::kSideBySide;
    const auto outcome = choice.Choose(data, options, [&] {
        choice.names = data;
        return true;
    });
    if (outcome == zm::SheetChoice::Outcome::kBadOptions)
        return kStatusBadOptions;
    // One matrix beside arrays that cannot be read: its record is still written back and
    // read, so that "Sheets" is a setting of the file.
    if (data.size() == 1 && options != nullptr) {
        if (options->size == 0 || options->data == nullptr)
            choice.Write(options, 1);
        else if (zm::SheetChoice check; !check.Read(options, data))
            return kStatusBadOptions;
    }
    shown.clear();
    for (const std::string& name : choice.names) {
        for (int i = 0; i < GetNumberOfMatrices(); ++i) {
            if (IsData(matrices[i]) && matrices[i].name == name &&
                std::find(shown.begin(), shown.end(), i) == shown.end()) {
                shown.push_back(i);
                break;
            }
        }
    }
    return 0;
}

int MatFile::SetSheetSize() {
    placements.clear();
    if (matrices.size() == 1) {
        placements.push_back({0, 1, 1, CellCursor::kGrid});
        numRows = static_cast<int>(matrices[0].rows);
        numCols = static_cast<int>(matrices[0].cols);
        return 0;
    }
    // The data matrices read go side by side; observation names and numbers are columns
    // left of them and variable names and numbers rows above them, whatever the file's
    // order.
    int64_t cols = 0, rows = 0;
    for (const int i : shown) {
        cols += matrices[i].cols;
        rows = std::max(rows, matrices[i].rows);
        if (cols > INT_MAX - 4)
            return kBadMatrix;
    }
    if (shown.empty())
        RefuseNoData();
    // Names that do not fit all the data make the file inconsistent; names that do not
    // fit a choice of some data matrices are left out.
    const bool all = static_cast<size_t>(std::count_if(matrices.begin(), matrices.end(), IsData)) ==
                     shown.size();
    if (all && !CheckDimensions(cols))
        return kBadMatrix;
    int nameColumns = 0, nameRows = 0;
    for (const char* name : {"OBSNAM", "OBSNUM"})
        nameColumns += NamesShown(name, cols) >= 0 ? 1 : 0;
    for (const char* name : {"VARNAM", "VARNUM"})
        nameRows += NamesShown(name, cols) >= 0 ? 1 : 0;
    if (rows > INT_MAX - 4)
        return kBadMatrix;
    numCols = static_cast<int>(cols) + nameColumns;
    numRows = static_cast<int>(rows) + nameRows;
    SetSheetIndex(nameColumns, nameRows);
    SetNames(nameColumns, nameRows, cols);
    return 0;
}

void MatFile::SetSheetIndex(int nameColumns, int nameRows) {
    // The data matrices side by side in the order chosen, right of the name columns and
    // below the name rows, each from the first data row.
    int col = nameColumns + 1;
    for (const int i : shown) {
        placements.push_back({i, col, nameRows + 1, CellCursor::kGrid});
        col += static_cast<int>(matrices[i].cols);
    }
}

void MatFile::SetNames(int nameColumns, int nameRows, int64_t dataCols) {
    // Observation names go down the first column and their numbers down the next one;
    // variable names across the first row and their numbers across the next one.
    int col = 1;
    for (const char* name : {"OBSNAM", "OBSNUM"}) {
        if (const int i = NamesShown(name, dataCols); i >= 0)
            placements.push_back({i, col++, nameRows + 1, CellCursor::kDown});
    }
    int row = 1;
    for (const char* name : {"VARNAM", "VARNUM"}) {
        if (const int i = NamesShown(name, dataCols); i >= 0)
            placements.push_back({i, nameColumns + 1, row++, CellCursor::kAcross});
    }
}

int MatFile::NamesShown(const char* name, int64_t dataCols) const {
    for (int i = 0; i < GetNumberOfMatrices(); ++i) {
        if (matrices[i].name == name)
            return NamesFit(matrices[i], dataCols) ? i : -1;
    }
    return -1;
}

bool MatFile::NamesFit(const Matrix& names, int64_t dataCols) const {
    // Variable names: one per column of the data read. Observation names: one per row of
    // every data matrix read.
    if (NamesVariables(names.name))
        return Entries(names) == dataCols;
    for (const int i : shown) {
        if (matrices[i].rows != Entries(names))
            return false;
    }
    return true;
}

bool MatFile::CheckDimensions(int64_t dataCols) const {
    for (const Matrix& m : matrices) {
        if (!IsData(m) && !NamesFit(m, dataCols))
            return false;
    }
    return true;
}
