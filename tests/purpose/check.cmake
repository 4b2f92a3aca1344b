# Checks that every class and struct a public header defines at namespace level says what it is
# for: a comment line directly above its declaration, or above its template line. Reports each
# one without as "<file>:<line>: class <name> has no purpose line" and fails.
#
# The public headers are those of the units, vnxml/<folder>/*.h; the headers of an
# implementation folder (vnxml/xml/uVnXMLDOM/...) are not read. The classes that the library's
# class macros define (VN_DECLARE_EXCEPTION(EFoo, Exception)) count as definitions. A forward
# declaration, a specialization and a nested class need no line of their own; a comment of dashes
# only is a separator, not a purpose.
#
#   cmake -DROOT=<folder that holds vnxml/> -P check.cmake
cmake_minimum_required(VERSION 3.25)

get_filename_component(ROOT ${ROOT} ABSOLUTE)
file(GLOB files RELATIVE ${ROOT} ${ROOT}/vnxml/*/*.h)
list(SORT files)
if(NOT files)
  message(FATAL_ERROR "no headers below ${ROOT}/vnxml")
endif()

# A definition starts at the line's first column: class or struct, an optional attribute,
# alignment or upper-case macro, the name, and then a base list, the body or the end of the
# line. "class X;" and "struct X<T> {" do not match. The lines are matched with their square
# brackets masked (below), so an attribute reads "<lb><lb>nodiscard<rb><rb>".
set(prefix "<lb><lb>.*<rb><rb>|alignas\\([^)]*\\)|[A-Z][A-Z0-9_]+")
set(head "^(class|struct)[ \t]+((${prefix})[ \t]+)?")
set(definition "${head}([A-Za-z_][A-Za-z_0-9]*)([ \t]+final)?[ \t]*(:.*|{.*|)$")
# The library's macros that define a class named by their first argument, used at the line's
# first column as well.
set(class_macros VN_DECLARE_EXCEPTION VN_XPATH_FUNCTION_CLASS)
list(JOIN class_macros "|" macros)
set(macro_definition "^(${macros})\\([ \t]*([A-Za-z_][A-Za-z_0-9]*)")

set(faults 0)
set(classes 0)
foreach(f IN LISTS files)
  file(READ ${ROOT}/${f} text)
  # One list element per line: the characters that CMake's lists treat specially are masked
  # first, so that every line stays one element.
  string(REPLACE "\\" "<bs>" text "${text}")
  string(REPLACE "[" "<lb>" text "${text}")
  string(REPLACE "]" "<rb>" text "${text}")
  string(REPLACE ";" "<sc>" text "${text}")
  string(REPLACE "\n" ";" lines "${text}")
  set(nr 0)
  # The last line that is neither a template header nor a requires clause.
  set(above "")
  foreach(line IN LISTS lines)
    math(EXPR nr "${nr} + 1")
    set(kind "")
    if(line MATCHES "${definition}")
      set(kind "${CMAKE_MATCH_1}")
      set(name "${CMAKE_MATCH_4}")
    elseif(line MATCHES "${macro_definition}")
      set(kind "class")
      set(name "${CMAKE_MATCH_2}")
    endif()
    if(kind)
      math(EXPR classes "${classes} + 1")
      if(NOT above MATCHES "^[ \t]*//" OR above MATCHES "^[ \t]*//[ \t]*[-=]*[ \t]*$")
        message(NOTICE "${f}:${nr}: ${kind} ${name} has no purpose line")
        math(EXPR faults "${faults} + 1")
      endif()
    endif()
    if(NOT line MATCHES "^template[ \t]*<" AND NOT line MATCHES "^[ \t]*requires[ \t(]")
      set(above "${line}")
    endif()
  endforeach()
endforeach()
list(LENGTH files count)
if(faults)
  message(FATAL_ERROR "${faults} of ${classes} classes above lack a purpose line, "
                      "in ${count} headers")
endif()
if(NOT classes)
  message(FATAL_ERROR "no class definitions found in ${count} headers")
endif()
message(STATUS "${classes} classes in ${count} headers each have a purpose line")
