# Turns params/file/messages.txt into the table that params/file/Messages.cpp includes and, for Windows, into the strings of
# KORInterface.dll's resources.

set(messages ${CMAKE_CURRENT_LIST_DIR}/../params/file/messages.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${messages})
file(STRINGS ${messages} lines REGEX "^[^#]")
set(table)
set(kor_strings) # for module/KORInterface.rc.in
foreach(line IN LISTS lines)
  if(NOT line MATCHES "^([0-9]+|caption) \"(.*)\"$")
    message(FATAL_ERROR "params/file/messages.txt: cannot read '${line}'")
  endif()
  set(id ${CMAKE_MATCH_1})
  set(text "${CMAKE_MATCH_2}")
  if(id STREQUAL "caption")
    string(APPEND table "constexpr std::string_view kCaption = R\"text(${text})text\";\n"
                        "constexpr Message kMessages[] = {\n")
  else()
    string(APPEND table "    {${id}, R\"text(${text})text\"},\n")
    string(REPLACE "\"" "\"\"" doubled "${text}")
    string(APPEND kor_strings "    ${id} L\"${doubled}\"\n")
  endif()
endforeach()
string(APPEND table "};\n")
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/generated/MessageTable.inc CONTENT "${table}" @ONLY)
