// Settings trees on the xerces-c DOM, inside the XML module.
#pragma once

#include <memory>
#include <string>

#include "platform/XmlModule.h"

namespace zm {

std::unique_ptr<SettingsTree> NewDomSettings();
// Throws zm::Exception("Invalid file open option format") for text that is no flat
// <Configuration> document.
std::unique_ptr<SettingsTree> ParseDomSettings(const std::string& xml);

}  // namespace zm
