// The library's exception with "{1}"-style positional placeholders.
#pragma once

#include <initializer_list>
#include <stdexcept>
#include <string>

#include "platform/ZmExport.h"

namespace zm {

// Replaces "{1}", "{2}", ... with the arguments in order; unknown or out-of-range
// placeholders stay as they are.
ZMIMPORT_API std::string FormatPlaceholders(const std::string& templ,
                                            std::initializer_list<std::string> args);

class ZMIMPORT_API Exception : public std::runtime_error {
  public:
    explicit Exception(const std::string& message) : std::runtime_error(message) {}
    Exception(const std::string& templ, std::initializer_list<std::string> args)
        : std::runtime_error(FormatPlaceholders(templ, args)) {}
};

}  // namespace zm
