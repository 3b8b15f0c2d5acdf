include(${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake)
kor_host_headers(nlohmann_json nlohmann nlohmann_json::nlohmann_json)
