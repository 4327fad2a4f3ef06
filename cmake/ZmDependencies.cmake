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
  XercesC::XercesC ZLIB::ZLIB fmt::fmt-header-only PkgConfig::ICU PkgConfig::GSF PkgConfig::NETCDF
  ${ZIPIOS_LIBRARY} Threads::Threads ${CMAKE_DL_LIBS})
