# Checks that the library's folders include only downwards: the run-time (rtl/) includes nothing
# of the folders above it, the support layer (common/) nothing of the XML or JSON units. Reports
# every include that reaches up as "<file>:<line>: ..." and fails.
#
#   cmake -DROOT=<folder that holds vnxml/> -P check.cmake
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/VnxmlHeaders.cmake)

# The folders below vnxml/ from the bottom; a file may include from its own rank and below. A
# new folder gets its rank here.
set(rank_rtl 0)
set(rank_common 1)
set(rank_xml 2)
set(rank_json 2)

get_filename_component(ROOT ${ROOT} ABSOLUTE)
file(GLOB_RECURSE files RELATIVE ${ROOT} ${ROOT}/vnxml/*.h ${ROOT}/vnxml/*.inl
     ${ROOT}/vnxml/*.cpp)
list(SORT files)
set(faults 0)
foreach(f IN LISTS files)
  string(REGEX REPLACE "^vnxml/([^/]+)/.*$" "\\1" area "${f}")
  if(area STREQUAL f OR NOT DEFINED rank_${area})
    message(NOTICE "${f}: lies outside the known folders (rtl, common, xml, json); give its "
                   "folder a rank in tests/layers/check.cmake")
    math(EXPR faults "${faults} + 1")
    continue()
  endif()
  vnxml_scan_includes(${ROOT}/${f} ${ROOT} includes)
  foreach(i IN LISTS includes)
    string(REGEX REPLACE "^([0-9]+):(.*)$" "\\1" line "${i}")
    string(REGEX REPLACE "^([0-9]+):(.*)$" "\\2" target "${i}")
    string(REGEX REPLACE "^vnxml/([^/]+)/.*$" "\\1" to "${target}")
    if(to STREQUAL target OR NOT DEFINED rank_${to} OR rank_${to} GREATER rank_${area})
      message(NOTICE "${f}:${line}: ${area}/ includes ${target}, above it")
      math(EXPR faults "${faults} + 1")
    endif()
  endforeach()
endforeach()
list(LENGTH files count)
if(faults)
  message(FATAL_ERROR "${faults} findings above, in ${count} files")
endif()
message(STATUS "${count} files include only downwards")
