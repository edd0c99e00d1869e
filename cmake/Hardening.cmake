# Options that make memory errors harder to exploit, for every target of ours. tests/house/hardening.py checks the
# result.
include(CheckPIESupported)

check_pie_supported()
target_compile_options(vel_options INTERFACE -fstack-protector-strong)
target_link_options(vel_options INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)

if(VEL_SANITIZE)
  # FORTIFY is off: the sanitizers do not know its functions, and check more than it does.
  target_compile_definitions(vel_options INTERFACE _GLIBCXX_ASSERTIONS)
else()
  # FORTIFY needs optimisation.
  target_compile_options(vel_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>)
endif()

if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  target_compile_options(vel_options INTERFACE -fcf-protection=full)
  # The linker marks a file for shadow stacks if everything that it links is marked. Debian's start-up files are not
  # marked, although they are compatible, so this option sets the mark. They lack the landing pads of indirect branch
  # tracking, so our files are not marked for that.
  target_link_options(vel_options INTERFACE -Wl,-z,shstk)
endif()
