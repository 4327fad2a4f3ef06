// OLE compound files over libgsf.
#include "platform/CompoundFile.h"

#include <algorithm>
#include <cstring>
#include <fstream>

#include "platform/GsfLibrary.h"
#include "platform/InputFile.h"
#include "platform/TextCase.h"

namespace zm {

namespace {

// The library's functions; only asked for once a file has opened, so loaded by then.
const GsfFunctions& Gsf() {
    std::string error;
    return *LoadGsf(error);
}

GsfInput* AsInput(void* p) {
    return static_cast<GsfInput*>(p);
}

}  // namespace

CompoundStream::CompoundStream(void* input) : input(input) {}

CompoundStream::~CompoundStream() {
    Gsf().g_object_unref(AsInput(input));
}

size_t CompoundStream::Read(void* buffer, size_t count) {
    const gsf_off_t left = Gsf().gsf_input_remaining(AsInput(input));
    const size_t take = left <= 0 ? 0 : std::min(count, static_cast<size_t>(left));
    if (take == 0)
        return 0;
    // libgsf hands out its own buffer when given none; ours avoids one more copy.
    if (Gsf().gsf_input_read(AsInput(input), take, static_cast<guint8*>(buffer)) == nullptr) {
        // Bytes the stream claims but the file cannot give: no end of the stream.
        failed = true;
        return 0;
    }
    return take;
}

bool CompoundStream::Seek(uint64_t position) {
    if (position > Size())
        return false;
    // gsf_input_seek answers TRUE on failure.
    return !Gsf().gsf_input_seek(AsInput(input), static_cast<gsf_off_t>(position), G_SEEK_SET);
}

uint64_t CompoundStream::Tell() const {
    return static_cast<uint64_t>(Gsf().gsf_input_tell(AsInput(input)));
}

uint64_t CompoundStream::Size() const {
    return static_cast<uint64_t>(Gsf().gsf_input_size(AsInput(input)));
}

bool CompoundFile::IsCompoundFile(const std::string& path) {
    static const unsigned char kSignature[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
    std::ifstream in(path, std::ios::binary);
    unsigned char head[8] = {};
    return in.read(reinterpret_cast<char*>(head), sizeof head) &&
           std::memcmp(head, kSignature, sizeof head) == 0;
}

std::unique_ptr<CompoundFile> CompoundFile::Open(const std::string& path, std::string* error) {
    std::string unloaded;
    if (LoadGsf(unloaded) == nullptr) {
        if (error != nullptr)
            *error = unloaded;
        return nullptr;
    }
    // libgsf reports damaged files on standard error as well; the caller says it itself.
    static const bool quiet = [] {
        for (const char* domain : {"libgsf", "libgsf:msole", "GLib-GObject"})
            Gsf().g_log_set_handler(
                domain, static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK),
                [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
        return true;
    }();
    (void)quiet;
    // libgsf copies a file it cannot seek (a FIFO, a device) into memory whole, and
    // /dev/zero never ends: only a regular file of bounded size is handed over.
    if (!CheckContainerFile(path, kMaxContainerBytes, error))
        return nullptr;
    GError* failure = nullptr;
    GsfInput* file = Gsf().gsf_input_stdio_new(path.c_str(), &failure);
    GsfInfile* infile = file != nullptr ? Gsf().gsf_infile_msole_new(file, &failure) : nullptr;
    if (infile == nullptr) {
        if (error != nullptr)
            *error = failure != nullptr && failure->message != nullptr ? failure->message
                                                                       : "not a compound file";
        if (failure != nullptr)
            Gsf().g_error_free(failure);
        if (file != nullptr)
            Gsf().g_object_unref(file);
        return nullptr;
    }
    return std::unique_ptr<CompoundFile>(new CompoundFile(file, infile));
}

CompoundFile::CompoundFile(void* file, void* infile) : file(file), infile(infile) {}

CompoundFile::~CompoundFile() {
    Gsf().g_object_unref(static_cast<GsfInfile*>(infile));
    Gsf().g_object_unref(AsInput(file));
}

std::vector<std::string> CompoundFile::EntryNames() const {
    std::vector<std::string> names;
    auto* root = static_cast<GsfInfile*>(infile);
    const int count = Gsf().gsf_infile_num_children(root);
    for (int i = 0; i < count; ++i) {
        const char* name = Gsf().gsf_infile_name_by_index(root, i);
        names.emplace_back(name != nullptr ? name : "");
    }
    return names;
}

std::unique_ptr<CompoundStream> CompoundFile::OpenStream(size_t index) const {
    auto* root = static_cast<GsfInfile*>(infile);
    if (index >= static_cast<size_t>(std::max(Gsf().gsf_infile_num_children(root), 0)))
        return nullptr;
    // libgsf warns in GLib's default log domain when a damaged file's entry cannot be
    // opened; the caller reports that itself, so the warning is held back for this call.
    const guint quiet = Gsf().g_log_set_handler(
        nullptr, static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_CRITICAL),
        [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
    GsfInput* child = Gsf().gsf_infile_child_by_index(root, static_cast<int>(index));
    Gsf().g_log_remove_handler(nullptr, quiet);
    if (child == nullptr)
        return nullptr;
    // A storage has children of its own (or is a storage with none); only streams count.
    if (Gsf().g_type_check_instance_is_a(reinterpret_cast<GTypeInstance*>(child),
                                         Gsf().gsf_infile_get_type()) &&
        Gsf().gsf_infile_num_children(reinterpret_cast<GsfInfile*>(child)) >= 0) {
        Gsf().g_object_unref(child);
        return nullptr;
    }
    return std::unique_ptr<CompoundStream>(new CompoundStream(child));
}

std::unique_ptr<CompoundStream> CompoundFile::OpenStream(std::string_view name) const {
    const std::vector<std::string> names = EntryNames();
    for (size_t i = 0; i < names.size(); ++i) {
        if (EqualNoCase(names[i], name)) {
            if (auto stream = OpenStream(i))
                return stream;
        }
    }
    return nullptr;
}

}  // namespace zm
