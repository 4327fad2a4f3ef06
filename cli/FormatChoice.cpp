// Format choice by content first, then by extension.
#include "cli/FormatChoice.h"

#include "cli/FormatTable.h"

namespace zmcli {

int ChooseFormat(const std::vector<std::string>& files) {
    if (files.empty())
        return 0;
    const std::string& file = files.front();
    int plausible = 0;
    int canRead = 0;
    for (int index = 1; index <= FormatCount(); ++index) {
        const SprFileFactory::MyKindOfFile answer = AskFormat(index, file);
        if (answer == SprFileFactory::kSurely)
            return index;
        if (answer != SprFileFactory::kPlausible && answer != SprFileFactory::kCanRead)
            continue;
        // Weak claims count only when the extension backs them.
        if (!HasListedExtension(*FormatInfo(index), file))
            continue;
        int& slot = answer == SprFileFactory::kPlausible ? plausible : canRead;
        if (slot == 0)
            slot = index;
    }
    return plausible != 0 ? plausible : canRead;
}

}  // namespace zmcli
