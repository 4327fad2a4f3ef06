// Shared-library loading over dlopen/dlsym and folder listing over std::filesystem.
#include "platform/DynamicLibrary.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace zm {

void* OpenExecutableModule() {
    return dlopen(nullptr, RTLD_NOW);
}

namespace {

// The object (executable or shared library) whose image holds `address`, or null.
const link_map* ObjectHolding(const void* address) {
    Dl_info info;
    void* where = nullptr;
    if (dladdr1(address, &info, &where, RTLD_DL_LINKMAP) == 0)
        return nullptr;
    return static_cast<const link_map*>(where);
}

}  // namespace

void* OpenModule(const std::string& path) {
    return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

std::string LastLoadError() {
    const char* text = dlerror();
    return text != nullptr ? text : "";
}

void* FindSymbol(void* module, const char* name) {
    if (module == nullptr || name == nullptr)
        return nullptr;
    void* symbol = dlsym(module, name);
    // The executable's handle stands for the whole program, libraries it links included.
    static void* const program = OpenExecutableModule();
    if (symbol == nullptr || module == program)
        return symbol;
    // dlsym on a library also searches the libraries that it depends on. A plug-in that
    // links this library would otherwise get the library's own function in place of one
    // it lacks, so a symbol counts only when the plug-in itself defines it.
    link_map* own = nullptr;
    if (dlinfo(module, RTLD_DI_LINKMAP, &own) != 0 || own == nullptr)
        return nullptr;
    return ObjectHolding(symbol) == own ? symbol : nullptr;
}

void* FindSymbolWithDependencies(void* module, const char* name) {
    return module != nullptr && name != nullptr ? dlsym(module, name) : nullptr;
}

std::string SharedObjectProblem(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return "cannot be opened";
    in.seekg(0, std::ios::end);
    const auto end = in.tellg();
    if (end < 0)
        return "cannot be read";
    const uint64_t size = static_cast<uint64_t>(end);
    auto readAt = [&in, size](uint64_t offset, void* into, uint64_t length) {
        if (length > size || offset > size - length)
            return false;
        in.seekg(static_cast<std::streamoff>(offset));
        return static_cast<bool>(
            in.read(static_cast<char*>(into), static_cast<std::streamsize>(length)));
    };
    ElfW(Ehdr) header;
    if (!readAt(0, &header, sizeof header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0)
        return "is not an ELF object";
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    const unsigned char byteOrder = ELFDATA2LSB;
#else
    const unsigned char byteOrder = ELFDATA2MSB;
#endif
#if defined(__x86_64__)
    const ElfW(Half) machine = EM_X86_64;
#elif defined(__aarch64__)
    const ElfW(Half) machine = EM_AARCH64;
#elif defined(__i386__)
    const ElfW(Half) machine = EM_386;
#else
    const ElfW(Half) machine = header.e_machine;
#endif
    const unsigned char wordSize = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
    if (header.e_ident[EI_CLASS] != wordSize || header.e_ident[EI_DATA] != byteOrder ||
        header.e_machine != machine)
        return "is built for another kind of machine";
    if (header.e_type != ET_DYN)
        return "is not a shared object";
    if (header.e_phentsize != sizeof(ElfW(Phdr)) || header.e_phnum == 0)
        return "has no valid program headers";
    for (ElfW(Half) i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) segment;
        if (!readAt(header.e_phoff + uint64_t{i} * sizeof segment, &segment, sizeof segment))
            return "is truncated (its program headers end past the file)";
        if (segment.p_type != PT_LOAD && segment.p_type != PT_DYNAMIC)
            continue;
        if (segment.p_filesz > size || segment.p_offset > size - segment.p_filesz)
            return "is truncated (a segment ends past the file)";
    }
    if (header.e_shnum != 0 &&
        (header.e_shentsize != sizeof(ElfW(Shdr)) || header.e_shoff > size ||
         uint64_t{header.e_shnum} * sizeof(ElfW(Shdr)) > size - header.e_shoff))
        return "is truncated (its section headers end past the file)";
    return std::string();
}

std::string ExecutablePath() {
    std::error_code error;
    std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : path.string();
}

std::vector<std::string> ListSharedLibraries(const std::string& folder) {
    std::vector<std::string> found;
    if (folder.empty())
        return found;
    std::error_code error;
    std::filesystem::directory_iterator it(folder, error);
    if (error)
        return found;
    for (const std::filesystem::directory_iterator end; it != end; it.increment(error)) {
        if (error)
            break;
        const std::filesystem::path& path = it->path();
        if (path.extension() != ".so" || path.stem().empty())
            continue;
        std::error_code statError;
        if (!std::filesystem::is_regular_file(path, statError))
            continue;
        found.push_back(path.string());
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace zm
