# Completes each package's files before it is packed, as Debian's policy asks: copyright and changelog, and manual pages
# compressed.
function(vel_gzip file)
  # Neither name nor date of the file, so that the result depends only on its content.
  execute_process(COMMAND gzip --best --no-name --force ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Of SOURCE_DATE_EPOCH.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
string(TIMESTAMP day "%Y-%m-%d" UTC)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component})
  set(doc ${root}/usr/share/doc/${component})
  file(COPY ${CPACK_VEL_SOURCE}/packaging/copyright DESTINATION ${doc})
  configure_file(${CPACK_VEL_SOURCE}/packaging/changelog.in ${doc}/changelog @ONLY)
  vel_gzip(${doc}/changelog)
  # An installed folder may be moved, a package not: compilers see its paths as they usually are.
  file(GLOB_RECURSE configurations ${root}/usr/lib/*.pc)
  foreach(configuration IN LISTS configurations)
    file(READ ${configuration} text)
    string(REGEX REPLACE "prefix=[^\n]*pcfiledir[^\n]*" "prefix=/usr" text "${text}")
    file(WRITE ${configuration} "${text}")
  endforeach()
  file(GLOB_RECURSE manuals ${root}/usr/share/man/*)
  foreach(manual IN LISTS manuals)
    # A page may have been made before the commit.
    file(READ ${manual} text)
    string(REGEX REPLACE "^([.]TH \"[^\"]*\" \"[^\"]*\" )\"[0-9-]*\"" "\\1\"${day}\"" text "${text}")
    file(WRITE ${manual} "${text}")
    vel_gzip(${manual})
  endforeach()
endforeach()
