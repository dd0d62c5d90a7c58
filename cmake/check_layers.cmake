# Fails when an #include "..." line under src/ runs upward in the layer order.
#
#   cmake -DSOURCE_DIR=<project> -P cmake/check_layers.cmake
#
# The order of the layers is the numbered list of src/README.md; the order
# inside src/toolkit is the "may include" column of src/toolkit/README.md.
# Every offending line is reported as "<file>:<line>: ...", then the check
# fails.

cmake_minimum_required(VERSION 3.25)

if(NOT SOURCE_DIR)
  message(FATAL_ERROR "check_layers: SOURCE_DIR is not set.")
endif()

# --- the order: "1. `toolkit` ..." lines, lowest first
file(STRINGS ${SOURCE_DIR}/src/README.md order_lines REGEX "^[0-9]+\\. `[a-z_/]+`")
set(layers "")
foreach(line IN LISTS order_lines)
  string(REGEX REPLACE "^[0-9]+\\. `([a-z_/]+)`.*" "\\1" name "${line}")
  list(APPEND layers ${name})
endforeach()
list(LENGTH layers layer_count)
if(layer_count LESS 2)
  message(FATAL_ERROR "check_layers: no layer list found in src/README.md.")
endif()

# --- the toolkit's folders: "| `base/` | holds | `base`, `params` |"
file(STRINGS ${SOURCE_DIR}/src/toolkit/README.md toolkit_rows REGEX "^\\| `[a-z_]+/` \\|")
set(toolkit_folders "")
foreach(row IN LISTS toolkit_rows)
  string(REGEX REPLACE "^\\| `([a-z_]+)/` \\|.*" "\\1" folder "${row}")
  string(REGEX REPLACE "^.*\\|([^|]*)\\|[ ]*$" "\\1" allowed_text "${row}")
  string(REGEX MATCHALL "`[a-z_]+`" allowed "${allowed_text}")
  string(REPLACE "`" "" allowed "${allowed}")
  list(APPEND toolkit_folders ${folder})
  set(toolkit_may_${folder} ${folder} ${allowed})
endforeach()

# The layer of a path below src/ ("viewport/viewport.h"): the longest listed
# layer that is a prefix of it, in layer_index (-1 when none).
function(layer_of path out_index out_name)
  set(best -1)
  set(best_name "")
  set(best_length 0)
  set(i 0)
  string(LENGTH "${path}" path_length)
  foreach(name IN LISTS layers)
    string(LENGTH "${name}" n)
    set(head "")
    set(next "")
    if(n LESS_EQUAL path_length)
      string(SUBSTRING "${path}/" 0 ${n} head)
      string(SUBSTRING "${path}/" ${n} 1 next)
    endif()
    if(head STREQUAL name AND next STREQUAL "/" AND n GREATER best_length)
      set(best ${i})
      set(best_name ${name})
      set(best_length ${n})
    endif()
    math(EXPR i "${i} + 1")
  endforeach()
  set(${out_index} ${best} PARENT_SCOPE)
  set(${out_name} "${best_name}" PARENT_SCOPE)
endfunction()

set(faults "")
file(GLOB_RECURSE sources RELATIVE ${SOURCE_DIR}/src
  ${SOURCE_DIR}/src/*.h ${SOURCE_DIR}/src/*.cpp ${SOURCE_DIR}/src/*.xpm)
foreach(file IN LISTS sources)
  get_filename_component(dir "${file}" DIRECTORY)
  layer_of("${dir}" from from_name)
  if(from LESS 0)
    list(APPEND faults "src/${file}: folder '${dir}' has no place in the layers of src/README.md")
    continue()
  endif()
  file(STRINGS ${SOURCE_DIR}/src/${file} lines)
  set(number 0)
  foreach(line IN LISTS lines)
    math(EXPR number "${number} + 1")
    if(NOT line MATCHES "^[ \t]*#[ \t]*include[ \t]+\"([^\"]+)\"")
      continue()
    endif()
    set(target "${CMAKE_MATCH_1}")
    get_filename_component(target_dir "${target}" DIRECTORY)
    if(target_dir STREQUAL "")
      continue()  # the generated export header, or a file beside this one
    endif()
    layer_of("${target_dir}" to to_name)
    if(to LESS 0)
      list(APPEND faults "src/${file}:${number}: includes \"${target}\", from no layer of src/README.md")
    elseif(to GREATER from)
      list(APPEND faults
        "src/${file}:${number}: ${from_name} includes \"${target}\" of ${to_name}, a layer above it")
    elseif(from_name STREQUAL "toolkit" AND to_name STREQUAL "toolkit")
      string(REGEX REPLACE "^toolkit/([^/]+).*" "\\1" from_folder "${dir}")
      string(REGEX REPLACE "^toolkit/([^/]+).*" "\\1" to_folder "${target_dir}")
      if(NOT from_folder IN_LIST toolkit_folders)
        list(APPEND faults "src/${file}: toolkit folder '${from_folder}' is not in src/toolkit/README.md")
      elseif(NOT to_folder IN_LIST toolkit_may_${from_folder})
        list(APPEND faults
          "src/${file}:${number}: toolkit/${from_folder} includes \"${target}\"; it may include only: ${toolkit_may_${from_folder}}")
      endif()
    endif()
  endforeach()
endforeach()

if(faults)
  list(LENGTH faults count)
  list(JOIN faults "\n" text)
  message(FATAL_ERROR "${text}\n${count} include(s) against the layer order (src/README.md).")
endif()
list(LENGTH sources count)
message(STATUS "check_layers: ${count} files, every include runs downward.")
