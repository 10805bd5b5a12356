# Options, compiler settings and output folders shared by every target.

option(ALIDADE_TESTS "Build the tests" ON)
option(ALIDADE_BENCHMARKS "Build the benchmarks" ON)
option(ALIDADE_FUZZ "Build the fuzz targets (needs a compiler with libFuzzer)" OFF)
option(ALIDADE_BASE_ONLY "Build only platform, containers, config and utility (no OpenCV, no serial port)" OFF)
option(ALIDADE_OPENMP "Sort very long lists on all cores" ON)
set(ALIDADE_SAMPLES_DIR ${PROJECT_SOURCE_DIR}/build/samples CACHE PATH
  "Real pictures for tests: the sample data of opencv-doc, unpacked there by the scripts")
set(ALIDADE_HEADERS "" CACHE PATH "Folder with the headers of fmt, spdlog and SimpleIni, where there are no packages of them")
set(ALIDADE_GOOGLETEST "" CACHE PATH "Source folder of GoogleTest, where there is no package of it")
set(ALIDADE_SANITIZE "" CACHE STRING "Sanitizers, comma separated: address,undefined or thread")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
if(NOT WIN32)
  set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()

if(MSVC)
  add_compile_options(/W4 /permissive- /utf-8 /Zc:__cplusplus)
else()
  add_compile_options(-Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Woverloaded-virtual)
endif()

if(ALIDADE_SANITIZE)
  add_compile_options(-fsanitize=${ALIDADE_SANITIZE} -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${ALIDADE_SANITIZE})
  if(ALIDADE_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
  if(ALIDADE_SANITIZE MATCHES "thread")
    # The OpenMP runtime is not instrumented, so its barriers would be reported as races.
    set(ALIDADE_OPENMP OFF)
  endif()
endif()

find_program(ALIDADE_CCACHE ccache)
if(ALIDADE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER
    ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${ALIDADE_CCACHE})
  if(NOT MSVC)
    add_compile_options(-fpch-preprocess)
  endif()
endif()
