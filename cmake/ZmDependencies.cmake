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

# netCDF and libgsf are loaded by name the first time a file needs them: their SONAMEs,
# read from the libraries found here, are compiled into the code that loads them.
function(zm_soname variable name)
  find_library(ZM_${variable}_FILE NAMES ${name} REQUIRED)
  execute_process(COMMAND ${CMAKE_OBJDUMP} -p ${ZM_${variable}_FILE} OUTPUT_VARIABLE headers)
  string(REGEX MATCH "SONAME +([^\n ]+)" soname "${headers}")
  if(NOT CMAKE_MATCH_1)
    message(FATAL_ERROR "no SONAME in ${ZM_${variable}_FILE}")
  endif()
  set(ZM_${variable}_SONAME ${CMAKE_MATCH_1} PARENT_SCOPE)
endfunction()
zm_soname(NETCDF netcdf)
zm_soname(GSF gsf-1)
