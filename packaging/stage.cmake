# Completes each package's files before it is packed, as Debian's policy requires: adds copyright and changelog, and
# compresses manual pages.
function(vel_gzip file)
  # Without the name and date of the file, so that the result depends only on its content.
  execute_process(COMMAND gzip --best --no-name --force ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Both are SOURCE_DATE_EPOCH if it is set.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
string(TIMESTAMP day "%Y-%m-%d" UTC)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component})
  set(doc ${root}/usr/share/doc/${component})
  file(COPY ${CPACK_VEL_SOURCE}/packaging/copyright DESTINATION ${doc})
  configure_file(${CPACK_VEL_SOURCE}/packaging/changelog.in ${doc}/changelog @ONLY)
  vel_gzip(${doc}/changelog)
  # An installed folder may be moved, but a package may not, so the prefix is written as /usr.
  file(GLOB_RECURSE configurations ${root}/usr/lib/*.pc)
  foreach(configuration IN LISTS configurations)
    file(READ ${configuration} text)
    string(REGEX REPLACE "prefix=[^\n]*pcfiledir[^\n]*" "prefix=/usr" text "${text}")
    file(WRITE ${configuration} "${text}")
  endforeach()
  file(GLOB_RECURSE manuals ${root}/usr/share/man/*)
  foreach(manual IN LISTS manuals)
    # A page may have been made before the commit, so its date is set again.
    file(READ ${manual} text)
    string(REGEX REPLACE "^([.]TH \"[^\"]*\" \"[^\"]*\" )\"[0-9-]*\"" "\\1\"${day}\"" text "${text}")
    file(WRITE ${manual} "${text}")
    vel_gzip(${manual})
  endforeach()
endforeach()
