# Debian packages: `cpack -G DEB` in the build folder. packaging/ has the files that the build does not make;
# docs/install.md says how to use the packages. Their version is the project's.
set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME velstat)
set(CPACK_PACKAGE_VENDOR TavikVELHIDStatistics)
set(CPACK_PACKAGE_CONTACT "TavikVELHIDStatistics maintainers <maintainers@velstat.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/packaging/config.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/stage.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/finish.cmake)
# For these scripts.
set(CPACK_VEL_SOURCE ${PROJECT_SOURCE_DIR})
set(CPACK_VEL_BUILD ${PROJECT_BINARY_DIR})
set(CPACK_VEL_LIBDIR ${CMAKE_INSTALL_LIBDIR})
set(CPACK_VEL_PRIVATE_LIBDIR ${VEL_PRIVATE_LIBDIR})
set(CPACK_VEL_MULTIARCH ${CMAKE_LIBRARY_ARCHITECTURE})

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE velstat)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON) # on the same version

# vel_package(name COMPONENTS package… DESCRIPTION text [SECTION text…]): adds one package; COMPONENTS are those of our
# packages that it needs.
set(CPACK_COMPONENTS_ALL)
macro(vel_package name)
  cmake_parse_arguments(arg "" "DESCRIPTION;SECTION;ARCHITECTURE;DEPENDS;RECOMMENDS;SUGGESTS;MULTI_ARCH" "COMPONENTS" ${ARGN})
  string(TOUPPER ${name} upper)
  list(APPEND CPACK_COMPONENTS_ALL ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_COMPONENT_${upper}_DEPENDS ${arg_COMPONENTS})
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${arg_DESCRIPTION}")
  foreach(key SECTION ARCHITECTURE DEPENDS RECOMMENDS SUGGESTS)
    if(DEFINED arg_${key})
      set(CPACK_DEBIAN_${upper}_PACKAGE_${key} "${arg_${key}}")
    endif()
  endforeach()
  set(CPACK_VEL_${name}_MULTI_ARCH ${arg_MULTI_ARCH})
endmacro()

vel_package(velstat
  SECTION utils
  MULTI_ARCH foreign
  COMPONENTS libvelprofile1
  # Usually installed with it: for Tab completion, the pager, the library that `velstat fleet` loads, and `man`.
  RECOMMENDS "bash-completion, less, libcurl4, man-db"
  SUGGESTS lnav
  DESCRIPTION "state captures and profile records of VEL sensor co-processors
velstat hosts the TavikVELHIDStatistics plug-in on a modelled device, and
shows, decodes, queries, compares and judges what such devices leave behind:
captures, logs, profile records and analytics stores.")
vel_package(libvelprofile1
  SECTION libs
  MULTI_ARCH same
  DESCRIPTION "decoder for VEL profile records
The decoder turns the 48-byte profile records of VEL sensor co-processors into
text and typed fields, through a plain C interface.")
vel_package(libvelprofile-dev
  SECTION libdevel
  MULTI_ARCH same
  COMPONENTS libvelprofile1
  SUGGESTS "pkgconf, cmake"
  DESCRIPTION "decoder for VEL profile records - development files
Headers, pkg-config files and a CMake package for programs that decode profile
records with libvelprofile.")
vel_package(python3-velprofile
  SECTION python
  ARCHITECTURE all
  DEPENDS "python3 (>= 3.11)"
  COMPONENTS libvelprofile1 velstat
  SUGGESTS "python3-numpy, python3-pandas"
  DESCRIPTION "decoder for VEL profile records - Python module
Text, fields and names of profile records, numpy arrays, pandas frames, and
SQL over captures and logs.")

include(CPack)
