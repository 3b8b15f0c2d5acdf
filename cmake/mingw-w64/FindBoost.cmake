include(${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake)
kor_host_headers(Boost boost Boost::headers)
