# Texts of messages, and the second reader of the Encapsulated header, for tests and fuzz targets.
if(NOT TARGET icap_judge)
  postwarden_library(icap_judge FOLDER tests/icap
    SOURCES
      "${CMAKE_CURRENT_LIST_DIR}/encapsulated_judge.cpp"
      "${CMAKE_CURRENT_LIST_DIR}/icap_text.cpp"
    LINKS tool_icap)
endif()
