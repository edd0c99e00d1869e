# Set when cpack runs: the date of all files in the packages, and what depends on the packages' version, which
# -D CPACK_PACKAGE_VERSION may change.
if(NOT CPACK_VEL_LIBDIR STREQUAL "lib/${CPACK_VEL_MULTIARCH}")
  message(FATAL_ERROR "${CPACK_VEL_BUILD} was configured with CMAKE_INSTALL_LIBDIR=${CPACK_VEL_LIBDIR}, but the "
    "packages need lib/${CPACK_VEL_MULTIARCH}: configure it again with -UCMAKE_INSTALL_LIBDIR")
endif()
if(NOT EXISTS ${CPACK_VEL_BUILD}/man/man1)
  message(FATAL_ERROR "${CPACK_VEL_BUILD} has no manual pages: install pandoc and python3, and configure and build again")
endif()
find_program(SHLIBDEPS dpkg-shlibdeps)
if(NOT SHLIBDEPS)
  message(FATAL_ERROR "dpkg-shlibdeps, which finds what the packages depend on, is missing: install dpkg-dev")
endif()

# Every date is that of the commit, so that two builds of one tree give the same bytes.
if("$ENV{SOURCE_DATE_EPOCH}" STREQUAL "")
  execute_process(COMMAND git -C ${CPACK_VEL_SOURCE} log -1 --format=%ct
    OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT date MATCHES "^[0-9]+$")
    message(FATAL_ERROR "${CPACK_VEL_SOURCE} has no commit to take the packages' date from: set SOURCE_DATE_EPOCH, "
      "in seconds since 1970")
  endif()
  set(ENV{SOURCE_DATE_EPOCH} ${date})
endif()

# The platform library is private: dpkg-shlibdeps finds it only in the build folder.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CPACK_VEL_BUILD}/${CPACK_VEL_PRIVATE_LIBDIR})
set(shlibs ${CPACK_PACKAGE_DIRECTORY}/_CPack_Packages/shlibs)
configure_file(${CPACK_VEL_SOURCE}/packaging/libvelprofile1/shlibs.in ${shlibs} @ONLY)
set(CPACK_DEBIAN_LIBVELPROFILE1_PACKAGE_CONTROL_EXTRA
  ${shlibs}
  ${CPACK_VEL_SOURCE}/packaging/libvelprofile1/triggers)
set(CPACK_DEBIAN_PYTHON3-VELPROFILE_PACKAGE_CONTROL_EXTRA
  ${CPACK_VEL_SOURCE}/packaging/python3-velprofile/postinst
  ${CPACK_VEL_SOURCE}/packaging/python3-velprofile/prerm)
