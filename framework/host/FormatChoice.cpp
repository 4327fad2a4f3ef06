// Format choice through the import driver and the plug-in loader, with the content's
// word first.
#include "framework/host/FormatChoice.h"

#include "framework/host/ContentSniff.h"
#include "framework/host/FormatTable.h"
#include "framework/host/LoaderFormats.h"

namespace zmhost {

namespace {

bool AnyAnswersSurely(const std::string& file) {
    for (int index = 1; index <= FormatCount(); ++index) {
        if (AskFormat(index, file) == SprFileFactory::kSurely)
            return true;
    }
    return false;
}

}  // namespace

int ChooseFormat(const std::vector<std::string>& files, std::string* why) {
    std::string error;
    int index = CheckFiles(files, 0, error);
    if (index == 0) {
        if (why != nullptr)
            *why = error;
        return 0;
    }
    const std::string& file = files.front();
    // A format that recognised the file keeps it; otherwise a workbook's content outranks
    // the name, which may be anything (.xlsm, .xltx, none).
    if (AskFormat(index, file) == SprFileFactory::kSurely)
        return index;
    const std::string named = FormatNamedByContent(file);
    if (!named.empty()) {
        if (const int byContent = ResolveFormat(named); byContent != 0)
            return byContent;
    }
    // The text formats take anything; content that is no text is not theirs to read.
    if (IsTextLikeFormat(FormatInfo(index)->name) && LooksBinary(file) && !AnyAnswersSurely(file)) {
        if (why != nullptr)
            *why = BinaryRefusal(file);
        return 0;
    }
    return index;
}

std::string BinaryRefusal(const std::string& file) {
    return "no format recognises " + file + " (binary content); name one with --format";
}

std::string NoFormatText(const std::string& file, const std::string& why) {
    return (why == BinaryRefusal(file) ? std::string() : file + ": ") + why;
}

}  // namespace zmhost
