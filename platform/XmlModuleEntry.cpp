// The XML module's entry for the platform layer: settings trees and streamed documents.
#include "platform/SettingsDom.h"
#include "platform/XmlModule.h"
#include "platform/XmlSax.h"

extern "C" ZMIMPORT_API const zm::XmlModule* zm_xml_module() {
    static const zm::XmlModule module{zm::NewDomSettings, zm::ParseDomSettings,
                                      zm::ParseXmlWithXerces};
    return &module;
}
