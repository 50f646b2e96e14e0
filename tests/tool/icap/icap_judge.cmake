# Texts of messages, and the second reader of the Encapsulated header, for tests and fuzz targets.
if(NOT TARGET icap_judge)
  postwarden_library(icap_judge FOLDER tests/tool/icap
    SOURCES
      "${CMAKE_CURRENT_LIST_DIR}/encapsulated_judge.cpp"
      "${CMAKE_CURRENT_LIST_DIR}/icap_text.cpp"
    LINKS tool_icap)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With sanitizers, GCC 12 reports the empty optional in the parser library's results as uninitialised.
    set_source_files_properties("${CMAKE_CURRENT_LIST_DIR}/encapsulated_judge.cpp"
      PROPERTIES COMPILE_OPTIONS -Wno-maybe-uninitialized)
  endif()
endif()
