# The add-in is measured as it is registered: the tests register the built module, and take that back.
postwarden_bench(bench_addin addin_bench.cpp client_mailhost client_model desk_settings service settings
                 tool_icap_client tool_web)
postwarden_broker_class(bench_addin)
if(POSTWARDEN_TESTS)
  add_dependencies(bench_addin postwarden_dll)
  set(register ${CMAKE_CROSSCOMPILING_EMULATOR} regsvr32 /s)
  add_test(NAME bench_addin_register COMMAND ${register} $<TARGET_FILE_NAME:postwarden_dll>
           WORKING_DIRECTORY $<TARGET_FILE_DIR:postwarden_dll>)
  add_test(NAME bench_addin_unregister COMMAND ${register} /u $<TARGET_FILE_NAME:postwarden_dll>
           WORKING_DIRECTORY $<TARGET_FILE_DIR:postwarden_dll>)
  set_tests_properties(bench_addin_register PROPERTIES FIXTURES_SETUP registered_addin)
  set_tests_properties(bench_addin_unregister PROPERTIES FIXTURES_CLEANUP registered_addin)
  set_tests_properties(bench_addin_once PROPERTIES FIXTURES_REQUIRED registered_addin)
endif()
