# The options that every target of ours has: warnings as errors, blocks, sanitizers, coverage.

add_library(vel_options INTERFACE)
target_compile_options(vel_options INTERFACE
  -Wall -Wextra -Wshadow -Wcast-qual -Wformat=2 -Wimplicit-fallthrough -Werror -fblocks)
if(CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 18)
  # These versions warn that std::stable_sort of Debian 12's standard library calls a deprecated function.
  target_compile_options(vel_options INTERFACE -Wno-deprecated-declarations)
endif()
if(CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 19)
  # Designated initialisers leave members at their defaults on purpose. clang 14 does not have this warning.
  target_compile_options(vel_options INTERFACE -Wno-missing-designated-field-initializers)
endif()
if(VEL_SANITIZE)
  target_compile_options(vel_options INTERFACE
    -fsanitize=${VEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  target_link_options(vel_options INTERFACE -fsanitize=${VEL_SANITIZE})
endif()
if(VEL_FUZZ) # the libraries under test report their coverage to libFuzzer
  target_compile_options(vel_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(VEL_COVERAGE)
  set(coverage -fprofile-instr-generate -fcoverage-mapping)
  include(CheckCXXCompilerFlag)
  list(JOIN coverage " " CMAKE_REQUIRED_FLAGS)
  check_cxx_compiler_flag(-fcoverage-mcdc VEL_HAS_MCDC) # clang 18 and later
  unset(CMAKE_REQUIRED_FLAGS)
  target_compile_options(vel_options INTERFACE ${coverage} $<$<BOOL:${VEL_HAS_MCDC}>:-fcoverage-mcdc>)
  target_link_options(vel_options INTERFACE -fprofile-instr-generate)
endif()

# vel_exports(target script): the target exports what the linker version script lists, and has no undefined symbol.
function(vel_exports target script)
  target_link_options(${target} PRIVATE -Wl,--version-script=${script})
  if(NOT VEL_SANITIZE) # the sanitizers' run-time symbols come from the executable
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${script})
endfunction()

# vel_finds_libraries_in(target folder): the target finds our libraries in the folder, relative to $ORIGIN, as built and
# as installed. If the two paths differed, CMake would replace one at installation and pad the shorter with ':', which
# adds an empty element: the current directory.
function(vel_finds_libraries_in target folder)
  set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH ${folder})
endfunction()
