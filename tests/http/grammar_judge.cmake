# The second reader of all wire text, for tests and fuzz targets.
if(NOT TARGET grammar_judge)
  postwarden_library(grammar_judge FOLDER tests/http
    SOURCES "${CMAKE_CURRENT_LIST_DIR}/spirit_judge.cpp"
    LINKS tool_http)
endif()
