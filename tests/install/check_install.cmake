# Install the built library into a scratch prefix, then build and run a tiny
# client against it twice: through find_package(VXPlot) and through pkg-config.
set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

macro(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
endmacro()

run(${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${prefix} --config ${CONFIG})

set(flags "")
if(SANITIZE)
  set(flags "-fsanitize=${SANITIZE}")
endif()

# find_package
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/install/client -B ${WORK_DIR}/build
    -DCMAKE_PREFIX_PATH=${prefix} "-DCMAKE_CXX_FLAGS=${flags}" "-DCMAKE_EXE_LINKER_FLAGS=${flags}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/vxplot_client)
if(NOT out MATCHES "mainwindow:1")
  message(FATAL_ERROR "the client's output lacks its handle: ${out}")
endif()

# pkg-config
find_program(PKG_CONFIG pkg-config REQUIRED)
file(GLOB pcdir ${prefix}/lib*/pkgconfig ${prefix}/lib/*/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "${pcdir}")
run(${PKG_CONFIG} --cflags --libs vxplot)
string(STRIP "${out}" pcflags)
separate_arguments(pcflags UNIX_COMMAND "${pcflags}")
separate_arguments(sanflags UNIX_COMMAND "${flags}")
run(c++ -std=c++20 -fPIC ${sanflags} ${SOURCE_DIR}/tests/install/client/main.cpp -o ${WORK_DIR}/pc_client ${pcflags})
file(GLOB libdir ${prefix}/lib*)
set(ENV{LD_LIBRARY_PATH} "${libdir}")
run(${WORK_DIR}/pc_client)
if(NOT out MATCHES "mainwindow:1")
  message(FATAL_ERROR "the pkg-config client's output lacks its handle: ${out}")
endif()
message(STATUS "installed package works with find_package and pkg-config")
