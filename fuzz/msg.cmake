# The parser of message files needs host/msg, which needs what the whole host needs.
add_executable(fuzz_msg_reader msg_reader_fuzzer.cpp)
target_link_libraries(fuzz_msg_reader PRIVATE host_msg host_store)
target_link_options(fuzz_msg_reader PRIVATE -fsanitize=fuzzer)

add_executable(fuzz_msg_objects msg_objects_fuzzer.cpp)
target_link_libraries(fuzz_msg_objects PRIVATE host_msg host_store)
target_link_options(fuzz_msg_objects PRIVATE -fsanitize=fuzzer)
