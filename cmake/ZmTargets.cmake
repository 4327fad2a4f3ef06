# Helpers that assemble the library from object libraries, so that every format's
# self-registering factory object survives linking.

set_property(GLOBAL PROPERTY ZM_OBJECT_LIBRARIES "")

# zm_add_objects(NAME SOURCES ... [LIBS ...]): one object library of the library.
function(zm_add_objects name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
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

  add_library(zmimport_objects INTERFACE)
  target_sources(zmimport_objects INTERFACE ${objects})
  target_include_directories(zmimport_objects INTERFACE ${PROJECT_SOURCE_DIR})
  target_link_libraries(zmimport_objects INTERFACE zm_thirdparty)
endfunction()
