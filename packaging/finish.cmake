# Packs each package again with Debian's own tool. The packages that CPack writes depend on the umask, lack the field
# Multi-Arch, and call ldconfig in scripts, where Debian uses a trigger.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(root ${CPACK_TEMPORARY_DIRECTORY}/finish)
  file(REMOVE_RECURSE ${root})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${root} COMMAND_ERROR_IS_FATAL ANY)
  file(READ ${root}/DEBIAN/control control)
  string(REGEX MATCH "\nPackage: ([^\n]+)" found "\n${control}")
  set(name ${CMAKE_MATCH_1})
  if(name STREQUAL "libvelprofile1")
    file(REMOVE ${root}/DEBIAN/postinst ${root}/DEBIAN/postrm)
  endif()
  if(CPACK_VEL_${name}_MULTI_ARCH)
    file(WRITE ${root}/DEBIAN/control "Multi-Arch: ${CPACK_VEL_${name}_MULTI_ARCH}\n${control}")
  endif()
  execute_process(COMMAND chmod -R u=rwX,go=rX ${root} COMMAND_ERROR_IS_FATAL ANY)
  # With one thread, as the bytes depend on the number of threads.
  execute_process(COMMAND dpkg-deb --build --root-owner-group -Zxz --threads-max=1 ${root} ${package}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
