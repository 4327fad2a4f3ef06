// What the leak checker of sanitizer builds is told to overlook: leaks inside the Debian
// builds of the libraries this one calls, each named by the function that loses the memory.
#if defined(__SANITIZE_ADDRESS__)
#define ZM_LEAK_CHECKED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZM_LEAK_CHECKED 1
#endif
#endif

#ifdef ZM_LEAK_CHECKED
// - xerces-c 3.2.4 leaks one small declaration (about 140 bytes) per document whose
//   external DTD subset it scans: its fix of a use-after-free there gave up freeing it.
// - netCDF 4.9 with HDF5 1.10 leaks the group and file records (about 28 KB) of a damaged
//   HDF5-based file whose opening fails part way; the file is refused, the records stay.
//   Their stacks end inside the two libraries (built without frame pointers), so the
//   libraries are named as a whole; the wrapper over them closes every file it opens.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:xercesc_3_2::IGXMLScanner::scanDocTypeDecl\n"
           "leak:xercesc_3_2::XMLScanner::scanProlog\n"
           "leak:libnetcdf.so\n"
           "leak:libhdf5_serial.so\n";
}
#endif
