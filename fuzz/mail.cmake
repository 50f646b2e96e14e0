# The reader and the writer of mail need mail/mime, which depends on the store and, through it, on the add-in's logic.
add_executable(fuzz_mail mail_fuzzer.cpp)
target_link_libraries(fuzz_mail PRIVATE mail_mime_reading mail_mime_writing store)
target_link_options(fuzz_mail PRIVATE -fsanitize=fuzzer)
