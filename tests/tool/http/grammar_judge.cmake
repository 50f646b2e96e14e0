# The second reader of all wire text, for tests and fuzz targets.
if(NOT TARGET grammar_judge)
  postwarden_library(grammar_judge FOLDER tests/tool/http
    SOURCES
      "${CMAKE_CURRENT_LIST_DIR}/body_judge.cpp"
      "${CMAKE_CURRENT_LIST_DIR}/spirit_judge.cpp"
    LINKS tool_http)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With sanitizers on, GCC 12 loses track of the optional values inside the parser library's matches.
    target_compile_options(grammar_judge PRIVATE -Wno-maybe-uninitialized)
  endif()
endif()
