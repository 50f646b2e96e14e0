include("${CMAKE_SOURCE_DIR}/tests/tool/icap/icap_judge.cmake")

postwarden_fuzzer(fuzz_icap_analyzer icap_analyzer_fuzzer.cpp tool_icap)
postwarden_fuzzer(fuzz_icap_encapsulated icap_encapsulated_fuzzer.cpp icap_judge tool_icap)
