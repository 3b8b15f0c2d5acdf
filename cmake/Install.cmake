# Installation: library, public headers, CMake package, pkg-config file, documents. The components are those of the
# packages.

include(CMakePackageConfigHelpers)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME tools)
install(TARGETS KORInterface EXPORT KORInterfaceTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/KORInterface DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
        FILES_MATCHING PATTERN "*.h")

set(kor_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KORInterface)
install(EXPORT KORInterfaceTargets NAMESPACE KORInterface:: DESTINATION ${kor_package_dir}
        COMPONENT development)
configure_package_config_file(cmake/KORInterfaceConfig.cmake.in ${PROJECT_BINARY_DIR}/KORInterfaceConfig.cmake
                              INSTALL_DESTINATION ${kor_package_dir})
# Before version 1 a minor release may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KORInterfaceConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KORInterfaceConfig.cmake ${PROJECT_BINARY_DIR}/KORInterfaceConfigVersion.cmake
        DESTINATION ${kor_package_dir} COMPONENT development)

# The pkg-config file finds its prefix from its own place, so an installed tree can be moved.
file(RELATIVE_PATH kor_pc_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
if(kor_type STREQUAL "STATIC_LIBRARY")
  set(kor_pc_cflags "-DKORINTERFACE_STATIC")
  set(kor_pc_libs "-lstdc++ -lpthread")
  if(MINGW)
    string(APPEND kor_pc_libs " -lssp") # routines of the stack protector
  endif()
endif()
configure_file(cmake/KORInterface.pc.in ${PROJECT_BINARY_DIR}/KORInterface.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/KORInterface.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

# Documents, example and sample recording lie to each other as in the repository, so that links lead from one to another.
install(FILES docs/c.md docs/first-host.md docs/glossary.md docs/kept-behaviour.md docs/live.md docs/windows.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT development)
install(FILES examples/CMakeLists.txt examples/KorExample.cs examples/first.cpp examples/host.c examples/host.cpp examples/live.cpp examples/many.c
              examples/short.c
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development)
if(KORINTERFACE_BUILD_TOOLS)
  install(FILES docs/accuracy.md docs/errors.md docs/formats.md docs/frames.md docs/mount-modes.md docs/parameter-check.md
                docs/parameter-file.md docs/tasks.md docs/uncertainty.md DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
  install(FILES examples/uncertainty.json DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
  install(DIRECTORY docs/img DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
  install(DIRECTORY data/polarizer DESTINATION ${CMAKE_INSTALL_DOCDIR}/data)
endif()
if(KORINTERFACE_BUILD_TOOLS AND NOT WIN32)
  install(DIRECTORY docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 FILES_MATCHING PATTERN "*.1")
endif()
if(KORINTERFACE_BUILD_TOOLS)
  # There is a bash on Windows, too, and bash-completion looks there wherever it is installed.
  install(FILES tools/completion/kor DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endif()
