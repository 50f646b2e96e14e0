# The reader and the writer of mail need host/mime, which needs what the whole host needs.
add_executable(fuzz_mail mail_fuzzer.cpp)
target_link_libraries(fuzz_mail PRIVATE host_mime host_store)
target_link_options(fuzz_mail PRIVATE -fsanitize=fuzzer)
