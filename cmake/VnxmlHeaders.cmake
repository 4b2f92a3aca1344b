# The library's own #include lines, as the layer check reads them. Used from CMake scripts
# (cmake -P).
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
