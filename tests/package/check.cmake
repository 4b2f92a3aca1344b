# Installs the build tree into a scratch prefix, checks that it holds only the headers that the
# public headers need, then configures, builds and runs the consumer.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/VnxmlHeaders.cmake)

file(REMOVE_RECURSE ${WORK})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(rc)
  message(FATAL_ERROR "install failed")
endif()

# Every installed file is a unit's header (vnxml/<area>/<unit>.h) or included by an installed
# file: an implementation folder's own headers stay out.
set(include ${WORK}/prefix/include)
file(GLOB_RECURSE installed RELATIVE ${include} ${include}/*)
set(needed)
foreach(f IN LISTS installed)
  if(f MATCHES "^vnxml/[^/]+/[^/]+\\.h$")
    list(APPEND needed ${f})
  endif()
  vnxml_scan_includes(${include}/${f} ${include} includes)
  foreach(i IN LISTS includes)
    string(REGEX REPLACE "^[0-9]+:" "" target "${i}")
    list(APPEND needed ${target})
  endforeach()
endforeach()
set(stray)
foreach(f IN LISTS installed)
  if(NOT f IN_LIST needed)
    list(APPEND stray ${f})
  endif()
endforeach()
if(stray)
  message(FATAL_ERROR "installed, but no public header includes them: ${stray}")
endif()

execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -G Ninja
                -DCMAKE_PREFIX_PATH=${WORK}/prefix -DCONSUMER_SANITIZE=${SANITIZE}
                -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}
                RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "configure failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/build --parallel 2 RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "build failed")
endif()
execute_process(COMMAND ${WORK}/build/consumer RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer failed")
endif()
