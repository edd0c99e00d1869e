# What is installed: the command with the bundle and the libraries that it uses, and a package for programs that decode
# records. Every path is relative to the prefix, so the installed tree can be moved. Each component is a Debian package.
include(CMakePackageConfigHelpers)

install(TARGETS velstat RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT velstat)
# In this component because libvelprofile needs the platform library too, not only the command and the bundle.
install(TARGETS velplatform EXPORT velprofileTargets LIBRARY
  DESTINATION ${VEL_PRIVATE_LIBDIR} COMPONENT libvelprofile1)
install(TARGETS velprofile EXPORT velprofileTargets LIBRARY
  DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libvelprofile1 NAMELINK_COMPONENT libvelprofile-dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/models DESTINATION ${CMAKE_INSTALL_DATADIR}/velstat COMPONENT velstat)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/share/velstat/lnav DESTINATION ${CMAKE_INSTALL_DATADIR}/velstat COMPONENT velstat)
# README.md refers to docs/ and examples/ by these paths.
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/velstat COMPONENT velstat)
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/velstat COMPONENT velstat
  PATTERN CMakeLists.txt EXCLUDE PATTERN __pycache__ EXCLUDE)

# Where Debian's shells look for completions if the prefix is /usr.
set(completions ${PROJECT_SOURCE_DIR}/share/completions)
install(FILES ${completions}/velstat.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  RENAME velstat COMPONENT velstat)
install(FILES ${completions}/_velstat DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT velstat)
install(FILES ${completions}/velstat.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT velstat)

set(installed_bundle ${VEL_PRIVATE_LIBDIR}/TavikVELHIDStatistics.plugin)
install(TARGETS TavikVELHIDStatistics LIBRARY DESTINATION ${installed_bundle} COMPONENT velstat)
install(FILES ${PROJECT_BINARY_DIR}/${VEL_PRIVATE_LIBDIR}/TavikVELHIDStatistics.plugin/Info.plist
  DESTINATION ${installed_bundle} COMPONENT velstat)

# The C interface, and the functions that the host OS's programs look for, which need headers of the platform.
set(headers velprofile.h export.h profile_description.h VelProfileReport.h)
list(TRANSFORM headers PREPEND profile/include/profile/)
install(FILES ${headers}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/profile COMPONENT libvelprofile-dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/CoreFoundation
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velstat COMPONENT libvelprofile-dev)
file(RELATIVE_PATH up /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" up ${up})
foreach(name velprofile velplatform)
  configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libvelprofile-dev)
endforeach()
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/velprofile)
install(EXPORT velprofileTargets NAMESPACE vel:: DESTINATION ${package} COMPONENT libvelprofile-dev)
configure_package_config_file(cmake/velprofileConfig.cmake.in ${PROJECT_BINARY_DIR}/velprofileConfig.cmake
  INSTALL_DESTINATION ${package} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/velprofileConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/velprofileConfig.cmake ${PROJECT_BINARY_DIR}/velprofileConfigVersion.cmake
  DESTINATION ${package} COMPONENT libvelprofile-dev)

# Where Debian's Python looks for modules if the prefix is /usr. With another prefix, PYTHONPATH must name the folder.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/velprofile DESTINATION lib/python3/dist-packages
  COMPONENT python3-velprofile FILES_MATCHING PATTERN "*.py" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)
