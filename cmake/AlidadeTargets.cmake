# How the project's targets are made, so that each folder's CMake file lists only its sources.
include(GenerateExportHeader)

# alidade_export_header(<target> <macro prefix> <header below the build's include folder>)
# Drivers and hosts include the header by the same path from the build tree and when installed.
function(alidade_export_header target prefix header)
  generate_export_header(${target}
    BASE_NAME ${prefix}
    EXPORT_MACRO_NAME ${prefix}_API
    EXPORT_FILE_NAME ${CMAKE_BINARY_DIR}/generated/${header})
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${CMAKE_BINARY_DIR}/generated>)
endfunction()

# alidade_driver(<Name> SOURCES ... [LIBRARIES ...])
# A camera driver plug-in: build/<preset>/bin/FG/FG.<Name>.zbr.64R.dll on every platform.
function(alidade_driver name)
  cmake_parse_arguments(ARG "NO_INSTALL" "OUTPUT_DIR" "SOURCES;LIBRARIES" ${ARGN})
  set(target driver-${name})
  add_library(${target} MODULE ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE alidade-driver-sdk ${ARG_LIBRARIES})
  if(NOT ARG_OUTPUT_DIR)
    set(ARG_OUTPUT_DIR ${CMAKE_BINARY_DIR}/bin/FG)
  endif()
  set_target_properties(${target} PROPERTIES
    PREFIX "" SUFFIX ".dll" OUTPUT_NAME "FG.${name}.zbr.64R"
    LIBRARY_OUTPUT_DIRECTORY ${ARG_OUTPUT_DIR}
    BUILD_RPATH_USE_ORIGIN OFF
    INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}:$ORIGIN/../../${CMAKE_INSTALL_LIBDIR}")
  if(NOT ARG_NO_INSTALL)
    install(TARGETS ${target} LIBRARY DESTINATION ${CMAKE_INSTALL_BINDIR}/FG)
  endif()
endfunction()

# alidade_test(<name> SOURCES ... [LIBRARIES ...] [LABELS ...])
# A GoogleTest program whose cases ctest sees one by one.
function(alidade_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT" ${ARGN})
  if(NOT ARG_LABELS)
    set(ARG_LABELS unit)
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  set(target alidade-test-${name})
  add_executable(${target} ${ARG_SOURCES})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gtest_main)
  target_precompile_headers(${target} PRIVATE <gtest/gtest.h> <string> <vector>)
  if(CMAKE_CROSSCOMPILING)
    # Run as whole programs by scripts/test-windows.sh.
    return()
  endif()
  gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST
    TEST_PREFIX "${name}."
    PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT "${ARG_ENVIRONMENT}")
endfunction()
