# The parser of message files needs mail/msg, which depends on the store and, through it, on the add-in's logic.
add_executable(fuzz_msg_reader msg_reader_fuzzer.cpp)
target_link_libraries(fuzz_msg_reader PRIVATE mail_msg store)
target_link_options(fuzz_msg_reader PRIVATE -fsanitize=fuzzer)

add_executable(fuzz_msg_objects msg_objects_fuzzer.cpp)
target_link_libraries(fuzz_msg_objects PRIVATE mail_msg store)
target_link_options(fuzz_msg_objects PRIVATE -fsanitize=fuzzer)
