# Packages: `cpack -G DEB`, `cpack -G TGZ`, and `cpack -G ZIP` of the Windows build (docs/releasing.md).
#
# The Debian packages are split as Debian's users expect: libkorinterface0 (a program's run time), libkorinterface-dev
# (headers and build files) and kor-tools (the program), and python3-korinterface if that is built. An archive holds
# everything but that one.

set(CPACK_PACKAGE_NAME KORInterface)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each Debian package has a synopsis of its own
set(CPACK_PACKAGE_VENDOR "KORInterface maintainers")
set(CPACK_PACKAGE_CONTACT "KORInterface maintainers <maintainers@users.noreply.example>")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL library development)
if(KORINTERFACE_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
if(KORINTERFACE_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
  find_package(Python COMPONENTS Interpreter Development.Module REQUIRED)
endif()
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR DEB TGZ)
endif()

# Copyright, changelog and what else differs between a Debian package and an archive.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/packages/finish.cmake)
set(CPACK_KOR_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_KOR_DOCDIR ${CMAKE_INSTALL_DOCDIR})
find_package(Python3 COMPONENTS Interpreter) # makes the changelog of the Debian packages
set(CPACK_KOR_PYTHON "${Python3_EXECUTABLE}")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(kor_debian_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(kor_library_package libkorinterface${KOR_ABI_VERSION})

# The synopsis is the first line.
set(about "A KOR sensor is a motorised target with six degrees of freedom that a laser
tracker follows. KORInterface turns its raw readings into calibrated angles,
corrected tilts, temperatures and the sensor's 3 x 3 orientation.
.
")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${kor_library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "orientation from the readings of a KOR sensor - library
${about}This package holds the shared library.")
# A program needs the ABI number that it was built with, and a library no older.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# A trigger keeps the linker's cache. CPack would write maintainer scripts that call ldconfig, unless it is given
# such scripts; the two that are named here do not exist, so that the package has none.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/packages/triggers
                                               ${PROJECT_SOURCE_DIR}/cmake/packages/none/postinst
                                               ${PROJECT_SOURCE_DIR}/cmake/packages/none/postrm)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkorinterface-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${kor_library_package} (= ${kor_debian_version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS kor-tools) # whose documents those of this package lead to
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "orientation from the readings of a KOR sensor - development files
${about}This package holds headers, CMake package, pkg-config file, examples, and the
documents for those who write a host program.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME kor-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION science)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${kor_library_package} (>= ${PROJECT_VERSION})")
# It draws the pictures of kor plot.
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "gnuplot-nox | gnuplot")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "orientation from the readings of a KOR sensor - command-line tool
${about}This package holds kor, which replays, compares, plots, reports on,
converts and simulates recordings of a sensor; the description of its file
formats, its accuracy, and a sample recording.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-korinterface)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
# The module is that of one Python, and of the NumPy that its pybind11 knows.
set(kor_next_python 0)
if(KORINTERFACE_PYTHON)
  math(EXPR kor_next_python "${Python_VERSION_MINOR} + 1")
endif()
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "${kor_library_package} (>= ${PROJECT_VERSION}), \
python3 (>= ${Python_VERSION_MAJOR}.${Python_VERSION_MINOR}), python3 (<< 3.${kor_next_python}), \
python3-numpy (>= 1:1.24), python3-numpy (<< 1:2)")
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS "kor-tools")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-distributed, python3-fsspec, python3-matplotlib, python3-pandas, python3-scipy")
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "orientation from the readings of a KOR sensor - Python package
${about}This package holds korinterface, which brings the library to Python: engines,
parameter files, recordings and results as NumPy arrays, and the replays,
simulations and comparisons of kor.")

foreach(component LIBRARY DEVELOPMENT TOOLS PYTHON)
  set(CPACK_DEBIAN_${component}_PACKAGE_PRIORITY optional)
endforeach()
include(CPack)
