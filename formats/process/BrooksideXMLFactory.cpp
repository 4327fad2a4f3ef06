// Registration of the FDC XML format, and the way to its reader in the XML module.
#include "formats/process/BrooksideXMLFactory.h"

#include <fstream>
#include <string>

#include "platform/Exception.h"
#include "platform/Log.h"
#include "platform/XmlLimits.h"
#include "platform/XmlModule.h"

// Defined by the module's objects; present here only in programs that link them in.
extern "C" const FdcReaderEntry* zm_fdc_reader() __attribute__((weak));

namespace {

// The reader's entry, loading the XML module on first use; null when it cannot be loaded.
const FdcReaderEntry* Entry() {
    try {
        static const FdcReaderEntry* const entry =
            zm::XmlModuleEntry(zm_fdc_reader, "zm_fdc_reader");
        return entry;
    } catch (const zm::Exception& e) {
        zm::WriteMessage("BrooksideXMLFactory", "Module", zm::LogLevel::kError, e.what());
        return nullptr;
    }
}

// How much of a file is looked at to tell that it cannot be XML.
constexpr std::streamsize kHeadBytes = 4096;

bool MayBeXmlFile(const char* file) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return true;  // the parser gives the reason
    std::string head(kHeadBytes, '\0');
    in.read(head.data(), kHeadBytes);
    head.resize(static_cast<size_t>(in.gcount()));
    return zm::MayBeXml(head);
}

BrooksideXMLFactory theBrooksideXMLFactory;

}  // namespace

BrooksideXMLFactory::BrooksideXMLFactory()
    : SprFileFactory("Brookside Ver. 2.6 XML File", "Brookside Ver. 2.6 XML Files (*.xml)", nullptr,
                     1, ".xml\0", 0, 1, 1, 1, 0, 1) {}

SprFileFactory::MyKindOfFile BrooksideXMLFactory::IsMyKindOfFile(const char* file) {
    // Files that cannot be XML are told apart without loading the XML module.
    if (file == nullptr || !MayBeXmlFile(file))
        return kNotMine;
    const FdcReaderEntry* entry = Entry();
    return entry != nullptr && entry->isMyKindOfFile(file) ? kSurely : kNotMine;
}

SpreadsheetFile* BrooksideXMLFactory::GetSpreadsheetFile() {
    const FdcReaderEntry* entry = Entry();
    return entry != nullptr ? entry->newReader() : nullptr;
}
