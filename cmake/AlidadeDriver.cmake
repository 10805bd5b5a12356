# How a camera driver plug-in is made; installed with the package, so that drivers outside are made alike.

# alidade_driver(<Name> SOURCES ... [LIBRARIES ...] [NO_INSTALL] [OUTPUT_DIR <folder>])
# Builds the target driver-<Name>: a plug-in FG.<Name>.zbr.64R.dll, as its file is called on every platform, in
# bin/FG of the build folder, and installs it to bin/FG unless told not to.
function(alidade_driver name)
  cmake_parse_arguments(ARG "NO_INSTALL" "OUTPUT_DIR" "SOURCES;LIBRARIES" ${ARGN})
  include(GNUInstallDirs)
  if(NOT ARG_OUTPUT_DIR)
    set(ARG_OUTPUT_DIR ${CMAKE_BINARY_DIR}/bin/FG)
  endif()
  set(sdk alidade-driver-sdk)
  if(TARGET Alidade::alidade-driver-sdk)
    set(sdk Alidade::alidade-driver-sdk)
  endif()

  set(target driver-${name})
  add_library(${target} MODULE ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE ${sdk} ${ARG_LIBRARIES})
  set_target_properties(${target} PROPERTIES
    PREFIX "" SUFFIX ".dll" OUTPUT_NAME "FG.${name}.zbr.64R"
    LIBRARY_OUTPUT_DIRECTORY ${ARG_OUTPUT_DIR}
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    INSTALL_RPATH "$ORIGIN/../../${CMAKE_INSTALL_LIBDIR}")
  if(NOT sdk STREQUAL "alidade-driver-sdk")
    # The libraries may be installed elsewhere than the plug-in.
    set_target_properties(${target} PROPERTIES INSTALL_RPATH_USE_LINK_PATH ON)
  endif()
  if(NOT ARG_NO_INSTALL)
    set_property(GLOBAL APPEND PROPERTY ALIDADE_DRIVERS ${target})
    install(TARGETS ${target} LIBRARY DESTINATION ${CMAKE_INSTALL_BINDIR}/FG)
  endif()
endfunction()
