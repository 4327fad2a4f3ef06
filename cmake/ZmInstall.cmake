# Install rules: the library, its public headers, the command line, a pkg-config file
# and a CMake package config.
include(CMakePackageConfigHelpers)

install(TARGETS zmimport EXPORT zmimportTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zmimport)
install(TARGETS zmimport_xml LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET zmimport_cli)
  install(TARGETS zmimport_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/framework/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zmimport/framework FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/platform/Settings.h ${PROJECT_SOURCE_DIR}/platform/Log.h
  ${PROJECT_SOURCE_DIR}/platform/FileNames.h ${PROJECT_SOURCE_DIR}/platform/ZmExport.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zmimport/platform)

install(EXPORT zmimportTargets NAMESPACE zmimport::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zmimport)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zmimportConfig.cmake.in
  ${CMAKE_BINARY_DIR}/zmimportConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zmimport)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/zmimportConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/zmimportConfig.cmake
  ${CMAKE_BINARY_DIR}/zmimportConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zmimport)
configure_file(${PROJECT_SOURCE_DIR}/cmake/zmimport.pc.in ${CMAKE_BINARY_DIR}/zmimport.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zmimport.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
