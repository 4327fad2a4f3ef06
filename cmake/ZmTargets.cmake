# Helpers that assemble the library from object libraries, so that every format's
# self-registering factory object survives linking.

set_property(GLOBAL PROPERTY ZM_OBJECT_LIBRARIES "")

# The sources of the XML module: everything that calls xerces-c. The library loads the
# module the first time it meets an XML document or a settings document.
set(ZM_XML_MODULE_SOURCES
  platform/SettingsDom.cpp
  platform/XmlModuleEntry.cpp
  platform/XmlSafety.cpp
  platform/XmlSax.cpp
  formats/process/BrooksideXML.cpp
  formats/process/BrooksideXMLDom.cpp
  formats/process/BrooksideXMLDtd.cpp
  formats/process/BrooksideXMLEntry.cpp
  formats/process/BrooksideXMLRawData.cpp)
list(TRANSFORM ZM_XML_MODULE_SOURCES PREPEND ${PROJECT_SOURCE_DIR}/)

# zm_add_objects(NAME SOURCES ... [LIBS ...]): one object library of the library.
function(zm_add_objects name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  list(REMOVE_ITEM ARG_SOURCES ${ZM_XML_MODULE_SOURCES})
  add_library(${name} OBJECT ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC zm_thirdparty ${ARG_LIBS})
  set_property(GLOBAL APPEND PROPERTY ZM_OBJECT_LIBRARIES ${name})
endfunction()

# zm_add_format_family(NAME DIR): every source in a formats/ sub-folder.
function(zm_add_format_family name dir)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${dir}/*.cpp)
  if(sources)
    zm_add_objects(${name} SOURCES ${sources})
  endif()
endfunction()

# The shared library for hosts, plus an interface target that links the same objects
# straight into the project's own executables (tests, the command line, benchmarks).
function(zm_add_library)
  get_property(libs GLOBAL PROPERTY ZM_OBJECT_LIBRARIES)
  set(objects "")
  foreach(lib IN LISTS libs)
    list(APPEND objects $<TARGET_OBJECTS:${lib}>)
  endforeach()
  add_library(zmimport SHARED ${objects})
  target_link_libraries(zmimport PRIVATE zm_thirdparty)
  target_include_directories(zmimport PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zmimport>)
  set_target_properties(zmimport PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 0)
  # A program that exports the same interface (and so the same symbol names) may load
  # this library as a plug-in; its functions must keep calling their own code, or its
  # factories would register into the program's registry and replace its records.
  target_link_options(zmimport PRIVATE -Wl,--no-undefined -Wl,-Bsymbolic-functions)
  # Libraries the objects do not call (netCDF, which is loaded on first use) stay out of
  # the library's list of what to load at start.
  target_link_options(zmimport PRIVATE -Wl,--as-needed)

  add_library(zm_xml OBJECT ${ZM_XML_MODULE_SOURCES})
  target_include_directories(zm_xml PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(zm_xml PUBLIC zm_thirdparty zm_xerces)
  # Beside the library, named like a versioned library: the plug-in loader tries every
  # "*.so" beside the program and must not load this one.
  add_library(zmimport_xml MODULE $<TARGET_OBJECTS:zm_xml>)
  target_link_libraries(zmimport_xml PRIVATE zmimport zm_xerces)
  target_link_options(zmimport_xml PRIVATE -Wl,--no-undefined)
  set_target_properties(zmimport_xml PROPERTIES SUFFIX ".so.0"
    BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN")

  add_library(zmimport_objects INTERFACE)
  target_sources(zmimport_objects INTERFACE ${objects} $<TARGET_OBJECTS:zm_xml>)
  target_include_directories(zmimport_objects INTERFACE ${PROJECT_SOURCE_DIR})
  target_link_libraries(zmimport_objects INTERFACE zm_thirdparty zm_xerces)
endfunction()
