# The add-in is measured as it is registered: its test registers the built module and removes it again.
add_executable(bench_addin addin_bench.cpp)
target_link_libraries(bench_addin PRIVATE bench_once client_mailhost client_model desk_settings service settings
                      tool_icap_client tool_web)
postwarden_broker_class(bench_addin)
if(POSTWARDEN_TESTS)
  add_dependencies(bench_addin postwarden_dll)
  add_test(NAME bench_addin_once
           COMMAND ${CMAKE_COMMAND} -D "MODULE=$<TARGET_FILE:postwarden_dll>" -D "PROGRAM=$<TARGET_FILE:bench_addin>"
                   -D "EMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}" -P "${CMAKE_CURRENT_SOURCE_DIR}/run_registered.cmake")
  set_tests_properties(bench_addin_once PROPERTIES TIMEOUT 300 RESOURCE_LOCK machine_registry)
endif()
