# postwarden_message_table(NAME FILE): compiles the message file FILE, such as broker_messages.mc, for the event log.
#
# The interface library NAME gives its users the header of the same name with the numbers of the messages, included as
# "NAME/broker_messages.h". The object library NAME_resources has the table as a resource: the module that records
# events contains $<TARGET_OBJECTS:NAME_resources>. The target message_tables makes the headers of all tables.
find_program(POSTWARDEN_WINDMC x86_64-w64-mingw32-windmc REQUIRED)

function(postwarden_message_table name file)
  cmake_path(GET file STEM stem)
  set(root "${CMAKE_CURRENT_BINARY_DIR}/message_tables")
  set(folder "${root}/${name}")
  file(MAKE_DIRECTORY "${folder}")
  add_custom_command(OUTPUT "${folder}/${stem}.h" "${folder}/${stem}.rc"
    COMMAND "${POSTWARDEN_WINDMC}" -h "${folder}" -r "${folder}" "${CMAKE_CURRENT_SOURCE_DIR}/${file}"
    DEPENDS "${file}"
    COMMENT "Compiling the messages of ${file}"
    VERBATIM)
  add_library(${name}_resources OBJECT "${folder}/${stem}.rc")
  target_include_directories(${name}_resources PRIVATE "${folder}")
  add_custom_target(${name}_header DEPENDS "${folder}/${stem}.h")
  if(NOT TARGET message_tables)
    add_custom_target(message_tables)
  endif()
  add_dependencies(message_tables ${name}_header)
  add_library(${name} INTERFACE)
  target_include_directories(${name} SYSTEM INTERFACE "${root}")
  add_dependencies(${name} ${name}_header)
endfunction()
