# vel_embed(target name BASE folder FILES file…): compiles the files into the target as a table of names, relative to the
# folder, and contents: extern const std::span<const std::pair<std::string_view, std::string_view>> vel::name.
function(vel_embed target name)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "BASE" "FILES")
  set(out ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  add_custom_command(
    OUTPUT ${out}
    COMMAND ${CMAKE_COMMAND} -DNAME=${name} -DBASE=${arg_BASE} "-DFILES=${arg_FILES}" -DOUT=${out}
            -P ${PROJECT_SOURCE_DIR}/cmake/embed.cmake
    DEPENDS ${arg_FILES} ${PROJECT_SOURCE_DIR}/cmake/embed.cmake
    VERBATIM)
  # Not in unity builds, as each of these sources defines a table called `files`.
  set_source_files_properties(${out} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  target_sources(${target} PRIVATE ${out})
endfunction()
