include(${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake)
# The folder of Debian's package carries the version.
file(GLOB folders RELATIVE /usr/include /usr/include/dragonbox-*/dragonbox)
list(POP_BACK folders folder)
kor_host_headers(dragonbox ${folder} dragonbox::dragonbox)
