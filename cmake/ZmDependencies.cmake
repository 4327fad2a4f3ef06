# Third-party libraries, found once; only platform/ targets link them directly.
find_package(Boost 1.74 REQUIRED COMPONENTS locale filesystem system date_time iostreams thread)
find_package(XercesC REQUIRED)
find_package(ZLIB REQUIRED)
find_package(fmt REQUIRED)
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-uc icu-i18n)
pkg_check_modules(GSF REQUIRED IMPORTED_TARGET libgsf-1)
pkg_check_modules(NETCDF REQUIRED IMPORTED_TARGET netcdf)
find_library(ZIPIOS_LIBRARY NAMES zipios REQUIRED)
find_path(ZIPIOS_INCLUDE_DIR NAMES zipios++/zipfile.h REQUIRED)

add_library(zm_thirdparty INTERFACE)
target_include_directories(zm_thirdparty INTERFACE ${ZIPIOS_INCLUDE_DIR})
target_link_libraries(zm_thirdparty INTERFACE
  Boost::locale Boost::filesystem Boost::system Boost::date_time Boost::iostreams Boost::thread
  ZLIB::ZLIB fmt::fmt-header-only PkgConfig::ICU PkgConfig::GSF PkgConfig::NETCDF
  ${ZIPIOS_LIBRARY} Threads::Threads ${CMAKE_DL_LIBS})

# xerces-c is linked only by the library's XML module (and by programs built from all of
# the library's objects), so that the library itself starts without it.
add_library(zm_xerces INTERFACE)
target_link_libraries(zm_xerces INTERFACE XercesC::XercesC)

# The netCDF library is loaded by name the first time a netCDF file is opened: its
# SONAME, read from the library found here.
find_library(ZM_NETCDF_FILE NAMES netcdf HINTS ${NETCDF_LIBRARY_DIRS} REQUIRED)
execute_process(COMMAND ${CMAKE_OBJDUMP} -p ${ZM_NETCDF_FILE} OUTPUT_VARIABLE netcdf_headers)
string(REGEX MATCH "SONAME +([^\n ]+)" netcdf_soname "${netcdf_headers}")
if(NOT CMAKE_MATCH_1)
  message(FATAL_ERROR "no SONAME in ${ZM_NETCDF_FILE}")
endif()
set(ZM_NETCDF_SONAME ${CMAKE_MATCH_1})
