# fmt, spdlog and SimpleIni from ALIDADE_HEADERS, for a target platform that has no packages of them.
find_path(ALIDADE_SIMPLEINI_INCLUDE SimpleIni.h PATHS ${ALIDADE_HEADERS} REQUIRED
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)

add_library(fmt::fmt-header-only INTERFACE IMPORTED)
target_compile_definitions(fmt::fmt-header-only INTERFACE FMT_HEADER_ONLY=1)
target_include_directories(fmt::fmt-header-only INTERFACE ${ALIDADE_HEADERS})

add_library(spdlog::spdlog_header_only INTERFACE IMPORTED)
target_compile_definitions(spdlog::spdlog_header_only INTERFACE SPDLOG_FMT_EXTERNAL)
target_link_libraries(spdlog::spdlog_header_only INTERFACE fmt::fmt-header-only Threads::Threads)
