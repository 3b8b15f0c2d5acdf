# The Python interpreter of the tests and documents: sets Python3_EXECUTABLE.
#
# The first python3 in PATH may be one without the modules, so each is asked in turn. -DPython3_EXECUTABLE=... settles
# it. As a script, `cmake -P cmake/Python.cmake` prints the interpreter, for shell scripts that are started by hand.

function(kor_find_python)
  set(question "import sys, numpy, mpmath; sys.exit(sys.version_info < (3, 9))")
  if(Python3_EXECUTABLE)
    set(candidates "${Python3_EXECUTABLE}")
  else()
    file(TO_CMAKE_PATH "$ENV{PATH}" folders)
    list(TRANSFORM folders APPEND /python3 OUTPUT_VARIABLE candidates)
    if(NOT CMAKE_SCRIPT_MODE_FILE)
      find_package(Python3 3.9 QUIET COMPONENTS Interpreter)
      if(Python3_Interpreter_FOUND)
        list(APPEND candidates "${Python3_EXECUTABLE}")
      endif()
    endif()
  endif()
  foreach(candidate IN LISTS candidates)
    execute_process(COMMAND ${candidate} -c ${question} RESULT_VARIABLE refused OUTPUT_QUIET ERROR_QUIET)
    if(refused STREQUAL "0")
      set(Python3_EXECUTABLE "${candidate}" PARENT_SCOPE)
      return()
    endif()
  endforeach()
  list(JOIN candidates "\n  " tried)
  message(FATAL_ERROR "No Python 3.9 or later with the modules numpy and mpmath was found. Install the packages "
                      "python3-numpy and python3-mpmath, or name an interpreter that has both with "
                      "-DPython3_EXECUTABLE=... (scripts: KOR_PYTHON=...). Tried:\n  ${tried}")
endfunction()

if(CMAKE_SCRIPT_MODE_FILE)
  kor_find_python()
  execute_process(COMMAND ${CMAKE_COMMAND} -E echo ${Python3_EXECUTABLE})
endif()
