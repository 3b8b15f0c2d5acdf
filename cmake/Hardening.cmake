# What makes an error hard to use, in everything that is compiled or linked here. tests/hardening reads it back from the
# built files. Sanitizers watch more closely and do not go with it.
#
#   kor_hardening_options   compiler options, for kor_build_flags
#   kor_hardening_links     options for linking a shared library or a program

option(KORINTERFACE_HARDENING "Stack protector, checked library calls, CET, full RELRO; on Windows ASLR, DEP, CFG" ON)
set(KORINTERFACE_FORTIFY 2 CACHE STRING "Level of _FORTIFY_SOURCE in optimised builds; 3 looks at more and costs more")
set(kor_hardening_options)
set(kor_hardening_links)
if(NOT KORINTERFACE_HARDENING OR KORINTERFACE_SANITIZE)
  return()
endif()

include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

if(MSVC)
  list(APPEND kor_hardening_options /GS /guard:cf)
  list(APPEND kor_hardening_links /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT /GUARD:CF /CETCOMPAT)
  return()
endif()

# The folders of the numeric core have arrays of numbers with indices of their own making, which no input reaches. There
# only buffers of text are guarded, of which there are none: guarding the others takes one per cent of a sample's instructions.
list(APPEND kor_hardening_options
     $<IF:$<BOOL:$<TARGET_PROPERTY:KOR_NUMERIC>>,-fstack-protector,-fstack-protector-strong>)

# The C library checks sizes that an optimising compiler knows; without optimisation it only complains.
string(TOUPPER "${CMAKE_BUILD_TYPE}" kor_type)
if(CMAKE_CONFIGURATION_TYPES)
  set(kor_optimised $<NOT:$<CONFIG:Debug>>)
elseif("${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${kor_type}}" MATCHES "-O([1-9s]|fast)")
  set(kor_optimised 1)
else()
  # The library may be optimised all the same.
  string(REGEX MATCH "-O([1-9s]|fast)" kor_library_optimised "${KORINTERFACE_LIBRARY_OPTIONS}")
  set(kor_optimised $<AND:$<BOOL:${kor_library_optimised}>,$<BOOL:$<TARGET_PROPERTY:KOR_LIBRARY_OPTIONS>>>)
endif()
list(APPEND kor_hardening_options "$<${kor_optimised}:-U_FORTIFY_SOURCE>"
     "$<${kor_optimised}:-D_FORTIFY_SOURCE=${KORINTERFACE_FORTIFY}>")

if(WIN32)
  # MinGW has the stack protector's routines in a library of their own, which this option adds.
  list(APPEND kor_hardening_links -fstack-protector-strong -Wl,--dynamicbase,--high-entropy-va,--nxcompat)
  set(CMAKE_REQUIRED_LINK_OPTIONS -mguard=cf)
  check_cxx_compiler_flag(-mguard=cf KOR_HAS_GUARD_CF) # g++ has no control-flow guard, clang has
  unset(CMAKE_REQUIRED_LINK_OPTIONS)
  if(KOR_HAS_GUARD_CF)
    list(APPEND kor_hardening_options -mguard=cf)
    list(APPEND kor_hardening_links -mguard=cf)
  endif()
  return()
endif()

check_cxx_compiler_flag(-fcf-protection=full KOR_HAS_CF_PROTECTION)
if(KOR_HAS_CF_PROTECTION)
  # Landing marks at the beginning of functions are for systems that look for them, which Linux does not in programs. The
  # numeric core, whose every sample they would cost 0.3 per cent more instructions, has shadow stacks alone.
  list(APPEND kor_hardening_options
       $<IF:$<BOOL:$<TARGET_PROPERTY:KOR_NUMERIC>>,-fcf-protection=return,-fcf-protection=full>)
endif()
if(NOT APPLE)
  list(APPEND kor_hardening_links -Wl,-z,relro,-z,now,-z,noexecstack)
  # The mark that shadow stacks may be used. The linker itself sets it only when the C library's start files, which do
  # nothing that a shadow stack forbids, bear it too.
  if(KOR_HAS_CF_PROTECTION)
    list(APPEND kor_hardening_links -Wl,-z,shstk)
  endif()
endif()
