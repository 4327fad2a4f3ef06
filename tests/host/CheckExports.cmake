# Lists the dynamic symbols the library defines and compares its unmangled ZmImport*
# functions with the interface's fifteen names.
set(expected
  ZmImportClose ZmImportEstablishSize ZmImportGetFileFormatInfo ZmImportGetFileOptions
  ZmImportGetFileRead ZmImportGetLastError ZmImportGetWarning ZmImportInitPackage
  ZmImportIsCorrectFileType ZmImportOpen ZmImportRead ZmImportReleasePackage
  ZmImportSetSpec ZmImportSizeFileFormatsSupported ZmImportWrite)

execute_process(COMMAND nm -D --defined-only ${LIBRARY}
  OUTPUT_VARIABLE symbols RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()

set(found "")
string(REPLACE "\n" ";" lines "${symbols}")
foreach(line IN LISTS lines)
  if(line MATCHES "^[0-9a-fA-F]+ ([A-Za-z]) (ZmImport[A-Za-z0-9_]*)$")
    if(NOT CMAKE_MATCH_1 STREQUAL "T")
      message(FATAL_ERROR "${CMAKE_MATCH_2} is exported as '${CMAKE_MATCH_1}', not as a function")
    endif()
    list(APPEND found ${CMAKE_MATCH_2})
  endif()
endforeach()
list(SORT found)
list(SORT expected)
if(NOT found STREQUAL expected)
  message(FATAL_ERROR "exported ZmImport functions differ:\n  found:    ${found}\n  expected: ${expected}")
endif()
list(LENGTH found count)
message(STATUS "${count} exported ZmImport functions")
