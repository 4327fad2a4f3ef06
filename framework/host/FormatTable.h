// Looking up the formats the loader lists: by index, by name, by extension.
#pragma once

#include <string>
#include <vector>

#include "framework/SprFileFactory.h"
#include "framework/ZmImportTypes.h"

namespace zmhost {

int FormatCount();
// The record at a 1-based index, or null outside 1..FormatCount().
const ZmImportFileFormatInfo* FormatInfo(int index);
// A format named by its exact name or by its 1-based index; 0 when there is none.
int ResolveFormat(const std::string& nameOrIndex);

std::vector<std::string> ExtensionsOf(const ZmImportFileFormatInfo& info);
// True when the file's extension is in the format's list, compared case-insensitively.
bool HasListedExtension(const ZmImportFileFormatInfo& info, const std::string& file);

// The format's content test for a file; a test that throws counts as "not mine".
SprFileFactory::MyKindOfFile AskFormat(int index, const std::string& file);
// "surely", "plausible", "can read" or "no".
const char* AnswerName(SprFileFactory::MyKindOfFile answer);

}  // namespace zmhost
