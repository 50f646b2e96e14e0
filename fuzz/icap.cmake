include("${CMAKE_SOURCE_DIR}/tests/tool/icap/icap_judge.cmake")

add_executable(fuzz_icap_analyzer icap_analyzer_fuzzer.cpp)
target_link_libraries(fuzz_icap_analyzer PRIVATE tool_icap)
target_link_options(fuzz_icap_analyzer PRIVATE -fsanitize=fuzzer)

add_executable(fuzz_icap_encapsulated icap_encapsulated_fuzzer.cpp)
target_link_libraries(fuzz_icap_encapsulated PRIVATE icap_judge tool_icap)
target_link_options(fuzz_icap_encapsulated PRIVATE -fsanitize=fuzzer)
