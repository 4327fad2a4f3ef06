// netCDF files over the netCDF C library, opened read-only.
#include "platform/NetCDF.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>
#include <vector>

#include "platform/Log.h"
#include "platform/NetCDFHeader.h"
#include "platform/NetCDFLibrary.h"

namespace zm {

namespace {

// The library's functions; only asked for once a file has opened, so loaded by then.
const NetCdfFunctions& Nc() {
    std::string error;
    return *LoadNetCdf(error);
}

// The deflate filter cannot shrink data by more than about 1032 to 1.
constexpr uint64_t kBestCompression = 1100;
// Texts longer than this are cut: no name or heading needs more.
constexpr size_t kLongestText = 65536;

// A conversion that clamped some values still delivered all of them.
bool Succeeded(int code) {
    return code == NC_NOERR || code == NC_ERANGE;
}

void TrimText(std::string& text) {
    const size_t nul = text.find('\0');
    if (nul != std::string::npos)
        text.resize(nul);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.pop_back();
}

// The processor time the trial of an HDF5-based file may take: two seconds, and one more
// per megabyte of file. Processor time rather than time on the clock, so that a loaded
// machine never refuses a valid file; what the trial reads is bounded by the file's size
// too (below), so a valid file stays far inside the limit.
rlim_t TrialSeconds(uint64_t fileSize) {
    return static_cast<rlim_t>(2 + fileSize / (uint64_t{1} << 20));
}

bool HasHDF5Signature(const std::string& path) {
    static constexpr unsigned char kSignature[8] = {0x89, 'H', 'D', 'F', '\r', '\n', 0x1A, '\n'};
    unsigned char head[8] = {};
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return false;
    const bool read = std::fread(head, 1, sizeof head, file) == sizeof head;
    std::fclose(file);
    return read && std::memcmp(head, kSignature, sizeof head) == 0;
}

// Gives each chunked variable of a netCDF-4 file a chunk cache that holds one row of its
// chunks (every chunk across the dimensions after the first), so that reading the
// variable row by row inflates each chunk once rather than once per row. Bounded by
// 32 MB and eight times the file's size, whichever is more, but never past 256 MB.
void SizeChunkCaches(int id, uint64_t fileSize) {
    int variables = 0;
    if (Nc().inq_nvars(id, &variables) != NC_NOERR)
        return;
    const uint64_t cap = std::min<uint64_t>(std::max<uint64_t>(uint64_t{32} << 20, 8 * fileSize),
                                            uint64_t{256} << 20);
    for (int v = 0; v < variables; ++v) {
        nc_type type = 0;
        int dims = 0;
        int dimIds[NC_MAX_VAR_DIMS] = {};
        size_t size = 0;
        int storage = 0;
        size_t chunks[NC_MAX_VAR_DIMS] = {};
        if (Nc().inq_var(id, v, nullptr, &type, &dims, dimIds, nullptr) != NC_NOERR || dims < 1 ||
            Nc().inq_type(id, type, nullptr, &size) != NC_NOERR || size == 0 ||
            Nc().inq_var_chunking(id, v, &storage, chunks) != NC_NOERR || storage != NC_CHUNKED)
            continue;
        uint64_t bytes = size * std::max<size_t>(chunks[0], 1);
        uint64_t count = 1;
        for (int d = 1; d < dims && bytes <= cap; ++d) {
            size_t length = 0;
            if (Nc().inq_dimlen(id, dimIds[d], &length) != NC_NOERR || chunks[d] == 0)
                break;
            const uint64_t across = (length + chunks[d] - 1) / chunks[d];
            bytes *= std::max<uint64_t>(across, 1) * chunks[d];
            count *= std::max<uint64_t>(across, 1);
        }
        if (bytes <= (uint64_t{1} << 20))
            continue;  // the library's own cache holds it
        Nc().set_var_chunk_cache(id, v, static_cast<size_t>(std::min(bytes, cap)),
                                 static_cast<size_t>(std::min<uint64_t>(count * 4 + 1, 100003)),
                                 0.75f);
    }
}

// Reads, block by block, every attribute and the values of every variable of plain type:
// all a reader may ask of the file. Errors are no matter here, only whether the library
// survives them. A variable larger than the file could hold compressed at the deflate
// filter's best ratio is left out (a reader refuses it anyway), so that a small file
// declaring a vast variable of fill values cannot keep the trial busy.
void TouchEverything(int id, uint64_t fileSize) {
    constexpr size_t kBlockBytes = size_t{4} << 20;
    const uint64_t mostBytes = fileSize * kBestCompression;
    std::vector<unsigned char> block(kBlockBytes);
    int variables = 0;
    if (Nc().inq_nvars(id, &variables) != NC_NOERR)
        return;
    for (int v = NC_GLOBAL; v < variables; ++v) {
        int attributes = 0;
        Nc().inq_varnatts(id, v, &attributes);
        for (int a = 0; a < attributes; ++a) {
            char name[NC_MAX_NAME + 1] = {};
            nc_type type = 0;
            size_t length = 0, size = 0;
            if (Nc().inq_attname(id, v, a, name) == NC_NOERR &&
                Nc().inq_att(id, v, name, &type, &length) == NC_NOERR && type >= NC_BYTE &&
                type < NC_STRING && Nc().inq_type(id, type, nullptr, &size) == NC_NOERR &&
                size != 0 && length <= kBlockBytes / size)
                Nc().get_att(id, v, name, block.data());
        }
        if (v == NC_GLOBAL)
            continue;
        nc_type type = 0;
        int dims = 0;
        int dimIds[NC_MAX_VAR_DIMS] = {};
        size_t size = 0;
        if (Nc().inq_var(id, v, nullptr, &type, &dims, dimIds, nullptr) != NC_NOERR ||
            type < NC_BYTE || type >= NC_STRING ||
            Nc().inq_type(id, type, nullptr, &size) != NC_NOERR || size == 0)
            continue;
        // Whole rows of the first dimension at a time; a variable whose row alone is larger
        // than the block is left out.
        size_t start[NC_MAX_VAR_DIMS] = {};
        size_t count[NC_MAX_VAR_DIMS] = {};
        size_t rowValues = 1;
        bool fits = true;
        for (int d = 0; d < dims; ++d) {
            if (Nc().inq_dimlen(id, dimIds[d], &count[d]) != NC_NOERR)
                fits = false;
            if (d > 0 && count[d] != 0 && rowValues > kBlockBytes / size / count[d])
                fits = false;
            if (d > 0)
                rowValues *= count[d];
        }
        if (dims > 0 && rowValues != 0 && count[0] > mostBytes / size / rowValues)
            fits = false;
        if (!fits)
            continue;
        if (dims == 0) {
            Nc().get_var(id, v, block.data());
            continue;
        }
        const size_t rows = count[0];
        const size_t step =
            std::max<size_t>(1, kBlockBytes / size / std::max<size_t>(rowValues, 1));
        for (size_t row = 0; row < rows && rowValues != 0; row += step) {
            start[0] = row;
            count[0] = std::min(step, rows - row);
            Nc().get_vara(id, v, start, count, block.data());
        }
    }
}

// The HDF5 library under netCDF-4 crashes (frees a wild pointer) on some damaged files
// instead of answering an error, and would take the host application with it. An
// HDF5-based file is therefore opened and read in full first in a child process; only
// when the child says through a pipe that it got through is it opened here. The answer
// travels through the pipe, not the exit status, so a host that reaps its children
// itself (or ignores SIGCHLD) does not turn every file into a failure. The child dies
// with its parent and within its own processor-time limit.
bool OpensInAChild(const std::string& path, uint64_t fileSize) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        return false;
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) {
        close(fds[0]);
        close(fds[1]);
        return false;
    }
    if (child == 0) {
        close(fds[0]);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent)
            _exit(1);  // the parent died before the line above took effect
        const rlim_t seconds = TrialSeconds(fileSize);
        const struct rlimit cpu = {seconds, seconds + 1};
        setrlimit(RLIMIT_CPU, &cpu);
        // A fault of the library ends the child with its signal, and nothing else: the
        // host's own handlers (a crash reporter, a sanitizer's) are not the child's to run.
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGXCPU})
            signal(fault, SIG_DFL);
        // The child's complaints (an abort message) are not the host's to print.
        const int quiet = open("/dev/null", O_WRONLY);
        if (quiet >= 0) {
            dup2(quiet, STDOUT_FILENO);
            dup2(quiet, STDERR_FILENO);
        }
        int id = -1;
        if (Nc().open(path.c_str(), NC_NOWRITE, &id) == NC_NOERR) {
            SizeChunkCaches(id, fileSize);
            TouchEverything(id, fileSize);
            Nc().close(id);
            const char yes = 'Y';
            while (write(fds[1], &yes, 1) < 0 && errno == EINTR) {
            }
        }
        _exit(0);
    }
    close(fds[1]);
    char answer = 0;
    ssize_t got = 0;
    do {
        got = read(fds[0], &answer, 1);
    } while (got < 0 && errno == EINTR);
    close(fds[0]);
    // The pipe ends when the child does; reap it unless the host already has.
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return got == 1 && answer == 'Y';
}

// What the trial found about a file, for as long as the file stays as it was (same
// device, inode, size and change times): one trial per file, however many times the
// readers open it while reading.
using FileKey = std::tuple<dev_t, ino_t, off_t, long long, long long, long long, long long>;

bool TrialOpens(const std::string& path, uint64_t fileSize) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0)
        return false;
    const FileKey key{info.st_dev,         info.st_ino,          info.st_size,
                      info.st_mtim.tv_sec, info.st_mtim.tv_nsec, info.st_ctim.tv_sec,
                      info.st_ctim.tv_nsec};
    static std::mutex mutex;
    static std::map<FileKey, bool> known;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto found = known.find(key);
        if (found != known.end())
            return found->second;
    }
    const bool opens = OpensInAChild(path, fileSize);
    const std::lock_guard<std::mutex> lock(mutex);
    if (known.size() >= 1024)
        known.clear();
    known[key] = opens;
    return opens;
}

}  // namespace

NetCDF::NetCDF(const std::string& path) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec))
        return;
    const auto size = std::filesystem::file_size(path, ec);
    if (ec)
        return;
    fileSize_ = size;
    if (!MayBeNetCdf(path, size))
        return;
    std::string error;
    if (LoadNetCdf(error) == nullptr) {
        WriteMessage("NetCDF", "Load", LogLevel::kError, error);
        return;
    }
    // The library sizes its lists by the header's counts before reading them.
    if (!ClassicHeaderFits(path, size) || (HasHDF5Signature(path) && !TrialOpens(path, size)))
        return;
    int id = -1;
    if (Nc().open(path.c_str(), NC_NOWRITE, &id) != NC_NOERR)
        return;
    id_ = id;
    int format = 0;
    if (Nc().inq_format(id_, &format) == NC_NOERR)
        hdf5_ = format == NC_FORMAT_NETCDF4 || format == NC_FORMAT_NETCDF4_CLASSIC;
    if (hdf5_)
        SizeChunkCaches(id_, fileSize_);
}

NetCDF::~NetCDF() {
    if (id_ >= 0)
        Nc().close(id_);
}

bool NetCDF::CouldHold(uint64_t count, uint64_t valueSize) const {
    if (valueSize == 0)
        return true;
    const uint64_t room = hdf5_ ? fileSize_ * kBestCompression : fileSize_;
    return count <= room / valueSize;
}

int NetCDF::FindDimension(const char* name) const {
    int dimension = -1;
    if (id_ < 0 || Nc().inq_dimid(id_, name, &dimension) != NC_NOERR)
        return -1;
    return dimension;
}

long long NetCDF::DimensionLength(int dimension) const {
    size_t length = 0;
    if (id_ < 0 || dimension < 0 || Nc().inq_dimlen(id_, dimension, &length) != NC_NOERR)
        return -1;
    return static_cast<long long>(length);
}

long long NetCDF::DimensionLength(const char* name) const {
    return DimensionLength(FindDimension(name));
}

int NetCDF::FindVariable(const char* name) const {
    int variable = -1;
    if (id_ < 0 || Nc().inq_varid(id_, name, &variable) != NC_NOERR)
        return -1;
    return variable;
}

bool NetCDF::VariableShape(int variable, std::vector<size_t>& lengths) const {
    lengths.clear();
    std::vector<int> dimensions;
    if (!VariableDimensions(variable, dimensions))
        return false;
    for (int dimension : dimensions) {
        size_t length = 0;
        if (Nc().inq_dimlen(id_, dimension, &length) != NC_NOERR)
            return false;
        lengths.push_back(length);
    }
    return true;
}

int NetCDF::VariableCount() const {
    int count = 0;
    if (id_ < 0 || Nc().inq_nvars(id_, &count) != NC_NOERR)
        return 0;
    return count;
}

std::string NetCDF::VariableName(int variable) const {
    char name[NC_MAX_NAME + 1] = {};
    if (id_ < 0 || variable < 0 || Nc().inq_varname(id_, variable, name) != NC_NOERR)
        return std::string();
    return name;
}

bool NetCDF::VariableDimensions(int variable, std::vector<int>& dimensions) const {
    dimensions.clear();
    int rank = 0;
    if (id_ < 0 || variable < 0 || Nc().inq_varndims(id_, variable, &rank) != NC_NOERR ||
        rank < 0 || rank > NC_MAX_VAR_DIMS)
        return false;
    dimensions.resize(static_cast<size_t>(rank));
    return rank == 0 || Nc().inq_vardimid(id_, variable, dimensions.data()) == NC_NOERR;
}

bool NetCDF::IsNumeric(int variable) const {
    nc_type type = NC_NAT;
    if (id_ < 0 || variable < 0 || Nc().inq_vartype(id_, variable, &type) != NC_NOERR)
        return false;
    return type != NC_CHAR && type != NC_STRING && type >= NC_BYTE && type <= NC_UINT64;
}

int NetCDF::FindAttribute(int variable, const char* name) const {
    int number = -1;
    const int owner = variable == kGlobal ? NC_GLOBAL : variable;
    if (id_ < 0 || Nc().inq_attid(id_, owner, name, &number) != NC_NOERR)
        return -1;
    return number;
}

long long NetCDF::AttributeLength(int variable, const char* name) const {
    size_t length = 0;
    const int owner = variable == kGlobal ? NC_GLOBAL : variable;
    if (id_ < 0 || Nc().inq_attlen(id_, owner, name, &length) != NC_NOERR)
        return -1;
    return static_cast<long long>(length);
}

bool NetCDF::AttributeText(int variable, const char* name, std::string& text) const {
    text.clear();
    const int owner = variable == kGlobal ? NC_GLOBAL : variable;
    nc_type type = NC_NAT;
    size_t length = 0;
    if (id_ < 0 || Nc().inq_att(id_, owner, name, &type, &length) != NC_NOERR)
        return false;
    if (type == NC_CHAR) {
        // The header holding the attribute was read whole, so its length is real; the
        // check keeps a damaged netCDF-4 header from asking for more.
        if (!CouldHold(length, 1))
            return false;
        text.resize(length);
        if (length > 0 && Nc().get_att_text(id_, owner, name, text.data()) != NC_NOERR)
            return false;
        TrimText(text);
        return true;
    }
    if (length == 0 || !CouldHold(length, 8))
        return false;
    if (type == NC_STRING) {
        std::vector<char*> strings(length, nullptr);
        if (Nc().get_att_string(id_, owner, name, strings.data()) != NC_NOERR)
            return false;
        if (strings[0] != nullptr)
            text.assign(strings[0]);
        Nc().free_string(length, strings.data());
        TrimText(text);
        return true;
    }
    std::vector<double> values(length);
    if (!Succeeded(Nc().get_att_double(id_, owner, name, values.data())))
        return false;
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.17g", values[0]);
    text = buffer;
    return true;
}

bool NetCDF::ReadFirstValue(int variable, double& value) const {
    std::vector<size_t> shape;
    if (!VariableShape(variable, shape))
        return false;
    for (size_t length : shape) {
        if (length == 0)
            return false;
    }
    const std::vector<size_t> index(shape.size() + 1, 0);
    return Succeeded(Nc().get_var1_double(id_, variable, index.data(), &value));
}

bool NetCDF::Read(int variable, const size_t* start, const size_t* count, float* out) const {
    return id_ >= 0 && Succeeded(Nc().get_vara_float(id_, variable, start, count, out));
}

bool NetCDF::Read(int variable, const size_t* start, const size_t* count, double* out) const {
    return id_ >= 0 && Succeeded(Nc().get_vara_double(id_, variable, start, count, out));
}

bool NetCDF::Read(int variable, const size_t* start, const size_t* count, int32_t* out) const {
    return id_ >= 0 && Succeeded(Nc().get_vara_int(id_, variable, start, count, out));
}

bool NetCDF::Read(int variable, const size_t* start, const size_t* count, int16_t* out) const {
    return id_ >= 0 && Succeeded(Nc().get_vara_short(id_, variable, start, count, out));
}

bool NetCDF::Read(int variable, const size_t* start, const size_t* count, uint8_t* out) const {
    return id_ >= 0 && Succeeded(Nc().get_vara_uchar(id_, variable, start, count, out));
}

bool NetCDF::Read(int variable, const size_t* start, const size_t* count, char* out) const {
    return id_ >= 0 && Nc().get_vara_text(id_, variable, start, count, out) == NC_NOERR;
}

bool NetCDF::ReadTextRow(int variable, size_t index, std::string& text) const {
    text.clear();
    std::vector<size_t> shape;
    nc_type type = NC_NAT;
    if (!VariableShape(variable, shape) || shape.size() != 2 || index >= shape[0] ||
        Nc().inq_vartype(id_, variable, &type) != NC_NOERR || type != NC_CHAR)
        return false;
    const size_t start[2] = {index, 0};
    const size_t count[2] = {1, std::min(shape[1], kLongestText)};
    text.resize(count[1]);
    if (count[1] > 0 && !Read(variable, start, count, text.data()))
        return false;
    TrimText(text);
    return true;
}

}  // namespace zm
