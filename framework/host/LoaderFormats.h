// The formats as the application sees them: every library that exports the import
// interface (this program first, then the libraries beside it and the --plugins folder),
// reached through the plug-in loader and the import driver.
#pragma once

#include <string>
#include <vector>

#include "framework/SpreadsheetFile.h"
#include "framework/ZmImportTypes.h"

namespace zmhost {

// Names the extra folder to scan for plug-ins; must come before the first lookup, which
// builds the list once per process.
void UsePluginFolder(const std::string& folder);

// The formats listed, each name once (the loader resolves every twin to its first entry),
// numbered from 1 in the loader's order.
int ListedFormatCount();
const ZmImportFileFormatInfo* ListedFormatInfo(int index);
// The registry index of a listed format that is one of this program's own, or 0.
int RegistryIndexOf(int index);
// The format's content test through the loader: 2 surely, 1 possibly, 0 not.
char AskListedFormat(int index, const std::string& file);
// A new reader for the format, owned by the caller: this program's own formats come
// straight from the registry (full double precision), plug-in formats as loader readers.
SpreadsheetFile* NewListedReader(int index);

// The driver's check of the files before a read, which also chooses the format by
// content when `index` is 0. Returns the format's index, or 0 with the driver's text in
// `error`. Several files of a single-file format pass; the read command refuses them.
int CheckFiles(const std::vector<std::string>& files, int index, std::string& error);

}  // namespace zmhost
