# What `cmake --install` adds to the programs and plug-ins: the libraries, their headers and the CMake package
# that hosts and drivers find by find_package(Alidade).
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Alidade)
set(header_dir ${CMAKE_INSTALL_INCLUDEDIR}/alidade)

install(TARGETS alidade-foundation alidade alidade-driver-sdk EXPORT AlidadeLibraries
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

# The library looks for plug-ins beside itself, the programs beside themselves. Where the two lie apart, a link makes
# both find the same ones.
if(NOT WIN32)
  file(RELATIVE_PATH plugins ${CMAKE_INSTALL_FULL_LIBDIR} ${CMAKE_INSTALL_FULL_BINDIR}/FG)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/links)
  file(CREATE_LINK ${plugins} ${CMAKE_BINARY_DIR}/links/FG SYMBOLIC)
  install(FILES ${CMAKE_BINARY_DIR}/links/FG DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()

# A header is included by the same path from the sources and when installed. Those left out are the libraries' own.
install(DIRECTORY foundation acquisition widgets stage layout view DESTINATION ${header_dir}
  FILES_MATCHING PATTERN "*.h"
  PATTERN "include" EXCLUDE
  REGEX "/config/(Ini[A-Z].*|ProfileNumber)\\.h$" EXCLUDE
  REGEX "/bus/engine/" EXCLUDE
  REGEX "/bus/data/(Block|Mirror).*\\.h$" EXCLUDE
  REGEX "/bus/wire/(RawBlock|NumberText)\\.h$" EXCLUDE
  REGEX "/bus/transport/(Local|Nats|Peer|Request|TransportCore|TransportMessage).*\\.h$" EXCLUDE
  PATTERN "SerialLine.h" EXCLUDE
  PATTERN "LastError.h" EXCLUDE
  PATTERN "StageCommand.h" EXCLUDE
  PATTERN "LayoutWalk.h" EXCLUDE
  REGEX "/menubar/(BarButton|BarColors|StatusLabel|ZoomBox)\\.h$" EXCLUDE
  REGEX "/widgets/PropertyGrid(Tree|Delegate)\\.h$" EXCLUDE
  PATTERN "DriverGuard.h" EXCLUDE
  PATTERN "FrameGrabberDummy.h" EXCLUDE)
install(DIRECTORY acquisition/include/alidade/ DESTINATION ${header_dir})
install(DIRECTORY ${CMAKE_BINARY_DIR}/generated/ DESTINATION ${header_dir} FILES_MATCHING PATTERN "Export.h")

install(EXPORT AlidadeLibraries NAMESPACE Alidade:: DESTINATION ${package_dir})
configure_package_config_file(cmake/AlidadeConfig.cmake.in ${CMAKE_BINARY_DIR}/AlidadeConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/AlidadeConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_BINARY_DIR}/AlidadeConfig.cmake ${CMAKE_BINARY_DIR}/AlidadeConfigVersion.cmake cmake/AlidadeDriver.cmake
  DESTINATION ${package_dir})
