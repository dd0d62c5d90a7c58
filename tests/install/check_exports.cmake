# The dynamic symbol table of the shared library holds what its headers
# mark VXPLOT_EXPORT and nothing declared without the mark.
#
#   cmake -DLIBRARY=<libvxplot.so> -P check_exports.cmake
cmake_minimum_required(VERSION 3.25)

find_program(NM nm REQUIRED)
execute_process(COMMAND ${NM} -D -C --defined-only ${LIBRARY}
  RESULT_VARIABLE rc OUTPUT_VARIABLE symbols ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}: ${err}")
endif()

# marked for export in the installed headers: must be there
set(exported
  "VX_ParseColor("                  # foundation/values.h
  "VX_mercator_y(double)"           # map/projection/projections.h
  "VXViewport::setScales()"         # viewport/viewport.h
  "hl_register_error(")             # toolkit/base/errors.h
# declared without the mark, in private headers: must not be
set(hidden
  "VX_qevent_type_str("             # foundation/qeventnames_p.h
  "rsex_compile_table("             # toolkit/store/rsexpr_p.h
  "rsex_run(")                      # toolkit/store/rsexpr_p.h

set(faults "")
foreach(name IN LISTS exported)
  string(FIND "${symbols}" " ${name}" at)
  if(at LESS 0)
    list(APPEND faults "missing from the library's exports: ${name}")
  endif()
endforeach()
foreach(name IN LISTS hidden)
  string(FIND "${symbols}" " ${name}" at)
  if(NOT at LESS 0)
    list(APPEND faults "visible outside the library though not marked for export: ${name}")
  endif()
endforeach()
if(faults)
  list(JOIN faults "\n" text)
  message(FATAL_ERROR "${text}")
endif()
message(STATUS "exports of ${LIBRARY}: marked symbols visible, unmarked ones hidden")
