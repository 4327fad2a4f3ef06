// Read-only access to netCDF files (classic, 64-bit offset, and netCDF-4 on HDF5) over the
// netCDF C library: dimensions, variables and attributes by name, and ranges of values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/ZmExport.h"

namespace zm {

// One open netCDF file, closed on destruction. Lookups answer -1 for what is absent;
// reads answer false when the library refuses them (wrong shape, wrong type, damaged
// file). A read whose values only partly fit the asked type (a double beyond the float
// range) still counts as read: the library clamps those values.
class ZMIMPORT_API NetCDF {
  public:
    // The attribute owner that stands for the file itself.
    static constexpr int kGlobal = -1;

    // Opens `path` read-only; IsOpen() tells whether that worked.
    explicit NetCDF(const std::string& path);
    ~NetCDF();
    NetCDF(const NetCDF&) = delete;
    NetCDF& operator=(const NetCDF&) = delete;

    bool IsOpen() const { return id_ >= 0; }
    // The size of the file on disk in bytes.
    uint64_t FileSize() const { return fileSize_; }
    // True for netCDF-4 files, whose variables may be compressed.
    bool IsHDF5() const { return hdf5_; }
    // Whether `count` values of `valueSize` bytes could really be stored in this file: at
    // most the file's size for the uncompressed classic layouts, and what the deflate
    // filter's best ratio allows for netCDF-4. Guards every allocation sized by a header.
    bool CouldHold(uint64_t count, uint64_t valueSize) const;

    int FindDimension(const char* name) const;
    // The length of a dimension; -1 when it cannot be asked.
    long long DimensionLength(int dimension) const;
    // The length of the dimension called `name`; -1 when it is absent.
    long long DimensionLength(const char* name) const;

    int FindVariable(const char* name) const;
    // The lengths of the variable's dimensions in order (empty for a single value);
    // false when the variable cannot be asked.
    bool VariableShape(int variable, std::vector<size_t>& lengths) const;

    // The variables are numbered 0 to VariableCount() - 1, in the file's order.
    int VariableCount() const;
    std::string VariableName(int variable) const;
    // The numbers of the variable's dimensions in order; false when it cannot be asked.
    bool VariableDimensions(int variable, std::vector<int>& dimensions) const;
    // True for a variable of numbers (not characters or strings).
    bool IsNumeric(int variable) const;

    // The number of the attribute `name` of `variable` (kGlobal for the file); -1 absent.
    int FindAttribute(int variable, const char* name) const;
    // Its number of values (characters for text); -1 when absent.
    long long AttributeLength(int variable, const char* name) const;
    // The attribute as text: character attributes as they stand (up to the first NUL),
    // a netCDF-4 string attribute's first string, a numeric attribute's first value
    // written in C-locale "%.17g". False when absent or unreadable.
    bool AttributeText(int variable, const char* name, std::string& text) const;

    // One value at the variable's first position (every index 0), converted to double.
    bool ReadFirstValue(int variable, double& value) const;

    // A block of values starting at `start` with `count` values along each dimension
    // (both of the variable's rank); `out` must hold the product of `count`.
    bool Read(int variable, const size_t* start, const size_t* count, float* out) const;
    bool Read(int variable, const size_t* start, const size_t* count, double* out) const;
    bool Read(int variable, const size_t* start, const size_t* count, int32_t* out) const;
    bool Read(int variable, const size_t* start, const size_t* count, int16_t* out) const;
    bool Read(int variable, const size_t* start, const size_t* count, uint8_t* out) const;
    bool Read(int variable, const size_t* start, const size_t* count, char* out) const;

    // One text of a character variable (n, length): row `index`, ended at the first NUL,
    // with trailing blanks removed. False when the variable has another shape.
    bool ReadTextRow(int variable, size_t index, std::string& text) const;

  private:
    int id_ = -1;
    uint64_t fileSize_ = 0;
    bool hdf5_ = false;
};

}  // namespace zm
