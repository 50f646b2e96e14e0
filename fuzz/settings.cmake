add_executable(fuzz_dtree dtree_fuzzer.cpp)
target_link_libraries(fuzz_dtree PRIVATE cctool)
target_link_options(fuzz_dtree PRIVATE -fsanitize=fuzzer)

add_executable(fuzz_settings settings_fuzzer.cpp)
target_link_libraries(fuzz_settings PRIVATE desk_settings settings)
target_link_options(fuzz_settings PRIVATE -fsanitize=fuzzer)
