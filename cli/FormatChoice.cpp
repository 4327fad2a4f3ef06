// Format choice through the import driver and the plug-in loader.
#include "cli/FormatChoice.h"

#include "cli/LoaderFormats.h"

namespace zmcli {

int ChooseFormat(const std::vector<std::string>& files, std::string* why) {
    std::string error;
    const int index = CheckFiles(files, 0, error);
    if (index == 0 && why != nullptr)
        *why = error;
    return index;
}

}  // namespace zmcli
