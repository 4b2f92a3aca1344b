# Runs check.cmake on the files of fixture/, which reach up in each way an include can, and
# expects exactly the findings listed here and a failure.
cmake_minimum_required(VERSION 3.25)
set(here ${CMAKE_CURRENT_LIST_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} -DROOT=${here}/fixture -P ${here}/check.cmake
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc)
  message(FATAL_ERROR "the check passed files that reach up:\n${out}${err}")
endif()
string(REGEX MATCHALL "vnxml/[^\n]*" found "${err}")
set(expected
  "vnxml/common/Up.cpp:4: common/ includes vnxml/xml/uVnXMLUtils.h, above it"
  "vnxml/common/Up.cpp:5: common/ includes vnxml/json/uVnJSON.h, above it"
  "vnxml/misc/Other.h: lies outside the known folders (rtl, common, xml, json); give its folder a rank in tests/layers/check.cmake"
  "vnxml/rtl/Up.h:5: rtl/ includes vnxml/common/uVnTypes.h, above it"
  "vnxml/rtl/Up.h:6: rtl/ includes vnxml/xml/uVnSAX.h, above it"
  "vnxml/rtl/Up.h:7: rtl/ includes vnxml/json/uVnJSON.h, above it"
  "vnxml/rtl/Up.h:8: rtl/ includes vnxml/xml/Unit.h, above it"
  "vnxml/rtl/Up.h:9: rtl/ includes vnxml/misc/Other.h, above it")
if(NOT found STREQUAL expected)
  string(REPLACE ";" "\n" found "${found}")
  message(FATAL_ERROR "the check reported:\n${found}\n\n${err}")
endif()
