# Run by ctest: see CMakeLists.txt for the arguments.
cmake_minimum_required(VERSION 3.22)

function(run title)
  message(STATUS "${title}")
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${title} failed (${status}):\n${output}")
  endif()
  message("${output}")
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
run("Install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/first)
# An installed copy may be moved: whatever still points to where it was, or to the build, fails from here on.
file(RENAME ${WORK_DIR}/first ${WORK_DIR}/alidade)
set(prefix ${WORK_DIR}/alidade)

set(flags)
if(SANITIZERS)
  set(flags "-DCMAKE_CXX_FLAGS=-fsanitize=${SANITIZERS}")
endif()
function(build source name)
  run("Configure ${name}" ${CMAKE_COMMAND} -S ${source} -B ${WORK_DIR}/${name} -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF ${flags})
  run("Build ${name}" ${CMAKE_COMMAND} --build ${WORK_DIR}/${name})
endfunction()

build(${SOURCE_DIR}/examples/driver driver)
run("Check the driver" ${prefix}/${BINDIR}/alidade-driver-check
  ${WORK_DIR}/driver/bin/FG/FG.Gradient.zbr.64R.dll Gradient.FrameRate=100 Gradient.Width=320)
run("Install the driver" ${CMAKE_COMMAND} --install ${WORK_DIR}/driver --prefix ${prefix})

build(${CMAKE_CURRENT_LIST_DIR}/host host)
run("Run the host" ${WORK_DIR}/host/package-host)
