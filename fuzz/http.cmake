include("${CMAKE_SOURCE_DIR}/tests/tool/http/grammar_judge.cmake")

add_executable(fuzz_http_grammar http_grammar_fuzzer.cpp)
target_link_libraries(fuzz_http_grammar PRIVATE grammar_judge tool_http)
target_link_options(fuzz_http_grammar PRIVATE -fsanitize=fuzzer)

add_executable(fuzz_chunk_body http_chunk_body_fuzzer.cpp)
target_link_libraries(fuzz_chunk_body PRIVATE grammar_judge tool_http)
target_link_options(fuzz_chunk_body PRIVATE -fsanitize=fuzzer)
