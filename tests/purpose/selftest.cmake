# Runs check.cmake on the headers of fixture/, which hold documented classes and classes without
# a purpose line in each shape the check knows (a class macro among them), and expects exactly
# the findings listed here and a failure.
cmake_minimum_required(VERSION 3.25)
set(here ${CMAKE_CURRENT_LIST_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} -DROOT=${here}/fixture -P ${here}/check.cmake
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc)
  message(FATAL_ERROR "the check passed classes without a purpose line:\n${out}${err}")
endif()
string(REGEX MATCHALL "vnxml/[^\n]*" found "${err}")
set(expected
  "vnxml/xml/Unit.h:18: class BareWithBase has no purpose line"
  "vnxml/xml/Unit.h:21: struct BareStruct has no purpose line"
  "vnxml/xml/Unit.h:27: class BareAfterBlank has no purpose line"
  "vnxml/xml/Unit.h:30: class BareUnderSeparator has no purpose line"
  "vnxml/xml/Unit.h:45: class BareTemplate has no purpose line"
  "vnxml/xml/Unit.h:53: struct BareAligned has no purpose line"
  "vnxml/xml/Unit.h:59: class BareExported has no purpose line"
  "vnxml/xml/Unit.h:64: class BareAttributed has no purpose line"
  "vnxml/xml/Unit.h:70: class EBare has no purpose line")
if(NOT found STREQUAL expected)
  string(REPLACE ";" "\n" found "${found}")
  message(FATAL_ERROR "the check reported:\n${found}\n\n${err}")
endif()
if(NOT err MATCHES "9 of 15 classes")
  message(FATAL_ERROR "the check counted otherwise:\n${err}")
endif()
