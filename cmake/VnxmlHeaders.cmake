# The library's own #include lines: what the installed package must hold, and what the layer
# check reads. Used from the build (at install time) and from CMake scripts (cmake -P).
include_guard(GLOBAL)
# The functions keep these policies wherever they are called from, also in cmake_install.cmake.
cmake_policy(VERSION 3.25)

# Sets OUT to the includes of FILE that name a file of the library, in order, each as
# "<line>:<path>" with the path relative to ROOT ("12:vnxml/xml/uVnSAX.h"). "vnxml/..." and
# <vnxml/...> count whether or not the file exists; any other quoted name counts when it names
# an existing file below ROOT/vnxml relative to FILE's folder, as the compiler would look first.
function(vnxml_scan_includes file root out)
  get_filename_component(root ${root} ABSOLUTE)
  get_filename_component(dir ${file} DIRECTORY)
  file(READ ${file} text)
  # A newline in front, so that every include line starts with one.
  set(rest "\n${text}")
  string(REGEX MATCHALL "\n[ \t]*#[ \t]*include[ \t]*[<\"][^<>\"\n]+[>\"]" found "${rest}")
  set(line 0)
  set(result)
  foreach(m IN LISTS found)
    # The line of the match: the newlines up to and including the one in front of it.
    string(FIND "${rest}" "${m}" pos)
    math(EXPR cut "${pos} + 1")
    string(SUBSTRING "${rest}" 0 ${cut} head)
    string(REGEX REPLACE "[^\n]+" "" head "${head}")
    string(LENGTH "${head}" n)
    math(EXPR line "${line} + ${n}")
    string(SUBSTRING "${rest}" ${cut} -1 rest)

    string(REGEX REPLACE "^[^<\"]*([<\"]).*$" "\\1" open "${m}")
    string(REGEX REPLACE "^[^<\"]*[<\"]([^<>\"]+)[>\"]$" "\\1" name "${m}")
    if(name MATCHES "^vnxml/")
      list(APPEND result "${line}:${name}")
    elseif(open STREQUAL "\"" AND EXISTS ${dir}/${name})
      get_filename_component(abs ${dir}/${name} ABSOLUTE)
      file(RELATIVE_PATH rel ${root} ${abs})
      if(rel MATCHES "^vnxml/")
        list(APPEND result "${line}:${rel}")
      endif()
    endif()
  endforeach()
  set(${out} ${result} PARENT_SCOPE)
endfunction()

# Sets OUT to the files of the installed package's headers, relative to ROOT and sorted: the
# header of each unit (vnxml/<area>/<unit>.h) and every file of the library that one of them
# includes, directly or not. The headers of an implementation folder (uVnXMLDOM/Internal.h) stay
# out unless a public header needs them.
function(vnxml_package_headers root out)
  get_filename_component(root ${root} ABSOLUTE)
  file(GLOB pending RELATIVE ${root} ${root}/vnxml/*/*.h)
  set(done)
  while(pending)
    list(POP_FRONT pending f)
    if(f IN_LIST done)
      continue()
    endif()
    list(APPEND done ${f})
    vnxml_scan_includes(${root}/${f} ${root} includes)
    foreach(i IN LISTS includes)
      string(REGEX REPLACE "^([0-9]+):(.*)$" "\\2" target "${i}")
      if(NOT EXISTS ${root}/${target})
        string(REGEX REPLACE "^([0-9]+):.*$" "\\1" at "${i}")
        message(FATAL_ERROR "${f}:${at}: includes ${target}, which does not exist")
      endif()
      list(APPEND pending ${target})
    endforeach()
  endwhile()
  list(SORT done)
  set(${out} ${done} PARENT_SCOPE)
endfunction()

# Installs the package's headers below INCLUDEDIR (relative to CMAKE_INSTALL_PREFIX unless
# absolute). Runs at install time, so that the list follows the headers without a new configure.
function(vnxml_install_headers root includedir)
  vnxml_package_headers(${root} headers)
  if(NOT IS_ABSOLUTE ${includedir})
    set(includedir ${CMAKE_INSTALL_PREFIX}/${includedir})
  endif()
  foreach(h IN LISTS headers)
    get_filename_component(d ${h} DIRECTORY)
    file(INSTALL ${root}/${h} DESTINATION ${includedir}/${d})
  endforeach()
  # file(INSTALL) records what it installed in this scope; the manifest is written from the
  # caller's.
  set(CMAKE_INSTALL_MANIFEST_FILES ${CMAKE_INSTALL_MANIFEST_FILES} PARENT_SCOPE)
endfunction()
