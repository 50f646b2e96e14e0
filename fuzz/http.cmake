include("${CMAKE_SOURCE_DIR}/tests/tool/http/grammar_judge.cmake")

postwarden_fuzzer(fuzz_http_grammar http_grammar_fuzzer.cpp grammar_judge tool_http)
postwarden_fuzzer(fuzz_chunk_body http_chunk_body_fuzzer.cpp grammar_judge tool_http)
