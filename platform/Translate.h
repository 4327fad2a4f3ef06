// Message translation and "%1%"-style message templates.
#pragma once

#include <boost/format.hpp>
#include <string>

#include "platform/ZmExport.h"

namespace zm {

// Looks `text` up in the message catalogue of the current global locale; without an
// installed catalogue the English text comes back as it stands.
ZMIMPORT_API std::string Translate(const char* text);
// The same, within a message context that tells translators what the text means.
ZMIMPORT_API std::string Translate(const char* context, const char* text);

// Fills a "%1%"-style template positionally. A template whose placeholders do not match
// the arguments yields the template itself rather than throwing.
template <typename... Args>
std::string FormatMessage(const std::string& templ, const Args&... args) {
    try {
        // Numbers go in the classic locale: names and messages must not follow a host's
        // global locale with its digit grouping or decimal comma.
        boost::format f(templ, std::locale::classic());
        (f % ... % args);
        return f.str();
    } catch (const boost::io::format_error&) {
        return templ;
    }
}

}  // namespace zm
