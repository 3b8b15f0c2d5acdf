include(${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake)
kor_host_headers(CLI11 CLI CLI11::CLI11)
