# One target per folder. A folder links exactly the folders that it may use; tests/lint holds the includes to the same
# arrows.

option(KORINTERFACE_TESTS_SHARED "Tests take the folders from the shared library, which shows all its names" OFF)

# A folder of the library, as a static library. The shared library and the tests take their objects from here.
#   USES     the folders that this one may use
#   NUMERIC  it computes and handles nothing else from outside (cmake/Hardening.cmake)
#   OUTER    a part of the C interface, which tests and programs meet through the library alone: what reaches inside it has
#            recordings of its own
function(kor_folder name)
  cmake_parse_arguments(ARG "NUMERIC;OUTER" "" "SOURCES;USES" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${name} PRIVATE KORINTERFACE_EXPORTS)
  target_link_libraries(${name} PUBLIC ${ARG_USES} PRIVATE kor_build_flags)
  target_compile_options(${name} PRIVATE ${KORINTERFACE_LIBRARY_OPTIONS})
  # g++ makes statics of the standard library's templates unique in the process, and a library that holds one is never
  # unloaded.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${name} PRIVATE -fno-gnu-unique)
  endif()
  # Nobody reads errno after a call of the library, which spares a branch behind every square root; and its own operations
  # are called directly. Both leave every result as it is.
  if(NOT MSVC)
    target_compile_options(${name} PRIVATE -fno-math-errno)
    if(NOT WIN32)
      target_compile_options(${name} PRIVATE -fno-plt -fno-semantic-interposition)
    endif()
  endif()
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_EXTENSIONS OFF KOR_LIBRARY_OPTIONS ON
                                           KOR_NUMERIC "${ARG_NUMERIC}")
  if(ARG_OUTER OR NOT KORINTERFACE_TESTS_SHARED)
    set_target_properties(${name} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  endif()
  if(ARG_OUTER)
    set_property(GLOBAL APPEND PROPERTY kor_outer_folders ${name})
  else()
    set_property(GLOBAL APPEND PROPERTY kor_library_folders ${name})
  endif()
endfunction()

# A folder beside the library: it stands on the public headers, like any host, and on the folders that it names.
#   PLAIN  without the library's own compiler options
function(kor_side_folder name)
  cmake_parse_arguments(ARG "PLAIN" "" "SOURCES;USES" ${ARGN})
  if(KORINTERFACE_TESTS_SHARED) # else the folder would be there twice
    list(TRANSFORM ARG_USES REPLACE "^kor_platform$" KORInterface)
  endif()
  add_library(${name} STATIC ${ARG_SOURCES})
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_USES} PRIVATE kor_build_flags)
  if(NOT ARG_PLAIN)
    target_compile_options(${name} PRIVATE ${KORINTERFACE_LIBRARY_OPTIONS})
    set_target_properties(${name} PROPERTIES KOR_LIBRARY_OPTIONS ON)
  endif()
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON CXX_EXTENSIONS OFF)
endfunction()
