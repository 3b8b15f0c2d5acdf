include(${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake)
kor_host_headers(fmt fmt fmt::fmt-header-only)
set_target_properties(fmt::fmt-header-only PROPERTIES INTERFACE_COMPILE_DEFINITIONS FMT_HEADER_ONLY=1)
