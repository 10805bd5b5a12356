# How the project's targets are made, so that each folder's CMake file lists only its sources.
include(GenerateExportHeader)
include(AlidadeDriver)

# alidade_export_header(<target> <macro prefix> <header below the build's include folder>)
# Drivers and hosts include the header by the same path from the build tree and when installed.
function(alidade_export_header target prefix header)
  generate_export_header(${target}
    BASE_NAME ${prefix}
    EXPORT_MACRO_NAME ${prefix}_API
    EXPORT_FILE_NAME ${CMAKE_BINARY_DIR}/generated/${header})
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${CMAKE_BINARY_DIR}/generated>)
endfunction()

# alidade_test(<name> SOURCES ... [LIBRARIES ...] [LABELS ...] [TIMEOUT s] [RESOURCE_LOCK <name>])
# A GoogleTest program whose cases ctest sees one by one.
function(alidade_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT;RESOURCE_LOCK" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT" ${ARGN})
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
  if(ALIDADE_SANITIZE MATCHES "thread" AND NOT ALIDADE_BASE_ONLY)
    target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/OneThreadedOpenCv.cpp)
    target_link_libraries(${target} PRIVATE opencv_core)
  endif()
  target_precompile_headers(${target} PRIVATE <gtest/gtest.h> <string> <vector>)
  # Memory that cannot be had is an error to be handled, under a sanitizer too.
  if(ALIDADE_SANITIZE MATCHES "address")
    list(APPEND ARG_ENVIRONMENT "ASAN_OPTIONS=allocator_may_return_null=1")
  elseif(ALIDADE_SANITIZE MATCHES "thread" AND NOT ARG_ENVIRONMENT MATCHES "TSAN_OPTIONS")
    list(APPEND ARG_ENVIRONMENT
      "TSAN_OPTIONS=allocator_may_return_null=1:suppressions=${PROJECT_SOURCE_DIR}/tests/support/tsan.supp")
  endif()
  if(CMAKE_CROSSCOMPILING)
    # Run as whole programs by scripts/test-windows.sh.
    return()
  endif()
  gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST NO_PRETTY_VALUES
    TEST_PREFIX "${name}."
    PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT ${ARG_TIMEOUT} ENVIRONMENT "${ARG_ENVIRONMENT}"
      RESOURCE_LOCK "${ARG_RESOURCE_LOCK}")
endfunction()
