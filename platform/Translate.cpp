// Message translation through boost.locale with the current global locale.
#include "platform/Translate.h"

#include <boost/locale/message.hpp>
#include <locale>

namespace zm {

std::string Translate(const char* text) {
    return boost::locale::translate(text).str(std::locale());
}

std::string Translate(const char* context, const char* text) {
    return boost::locale::translate(context, text).str(std::locale());
}

}  // namespace zm
