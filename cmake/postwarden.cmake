# House rules of the build: language level, warnings, sanitizers, one library a folder, one binary a test folder.

option(POSTWARDEN_TESTS "Build the unit tests" ON)
option(POSTWARDEN_BENCH "Build the benchmarks" OFF)
option(POSTWARDEN_FUZZ "Build the fuzz targets (clang)" OFF)
option(POSTWARDEN_PCH "Compile what most files include only once; off, each file shows that it includes what it uses" OFF)
set(POSTWARDEN_UNITY "" CACHE STRING
  "Which libraries compile several sources as one: empty for none, OUTSIDE for those that are not in the add-in, ALL")
set(POSTWARDEN_SANITIZE "" CACHE STRING "Value for -fsanitize=, empty for none")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(POSTWARDEN_CCACHE ccache)
if(POSTWARDEN_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_DEPEND=1
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      ${POSTWARDEN_CCACHE})
endif()

add_library(postwarden_options INTERFACE)
target_compile_options(postwarden_options INTERFACE
  -Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Werror)
# Files that are compiled as one see the global names of each other.
target_compile_options(postwarden_options INTERFACE $<$<NOT:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wshadow>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 reports null dereferences and overflows in inlined string operations of its own library that can't happen.
  target_compile_options(postwarden_options INTERFACE
    -Wno-null-dereference -Wno-array-bounds -Wno-stringop-overflow -Wno-restrict)
  # ccache finds precompiled headers again.
  target_compile_options(postwarden_options INTERFACE -fpch-preprocess)
endif()
if(POSTWARDEN_SANITIZE)
  add_compile_options(-fsanitize=${POSTWARDEN_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1)
  add_link_options(-fsanitize=${POSTWARDEN_SANITIZE})
  # GCC's flow analysis misjudges instrumented code; the plain builds hold the line on warnings.
  target_compile_options(postwarden_options INTERFACE -Wno-error)
endif()

if(WIN32)
  # Header-only libraries reach the cross compiler through links of their own: /usr/include itself would bring glibc.
  set(links "${CMAKE_BINARY_DIR}/header_only")
  file(MAKE_DIRECTORY "${links}")
  foreach(library boost nlohmann CLI spdlog fmt)
    file(CREATE_LINK "/usr/include/${library}" "${links}/${library}" SYMBOLIC)
  endforeach()
  target_include_directories(postwarden_options SYSTEM INTERFACE "${links}")
  target_compile_definitions(postwarden_options INTERFACE
    _WIN32_WINNT=0x0601 WIN32_LEAN_AND_MEAN NOMINMAX UNICODE _UNICODE)
  # Without this the language's recursive mutexes never free what the thread library allocates at their first lock.
  target_compile_definitions(postwarden_options INTERFACE _GTHREAD_USE_RECURSIVE_MUTEX_INIT_FUNC)
  add_link_options(-static -fstack-protector-strong)
  # What goes into the product on this system: optimised, hardened, with line numbers for the separate symbol file, and
  # without a trace of the folder that it was built in, so that the same sources give the same bytes.
  set(postwarden_product_options
    -O2 -g1 -fcf-protection=full -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
    "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=" "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build")
else()
  set(postwarden_product_options)
  find_package(Threads REQUIRED)
  target_link_libraries(postwarden_options INTERFACE Threads::Threads)
endif()

set(postwarden_common_headers
  <algorithm> <array> <atomic> <chrono> <cstdint> <filesystem> <functional> <map> <memory> <mutex> <optional> <set>
  <sstream> <string> <string_view> <thread> <utility> <variant> <vector>)
if(POSTWARDEN_PCH)
  file(CONFIGURE OUTPUT precompiled.cpp CONTENT "")
  add_library(postwarden_pch OBJECT "${CMAKE_CURRENT_BINARY_DIR}/precompiled.cpp")
  target_link_libraries(postwarden_pch PRIVATE postwarden_options)
  target_compile_options(postwarden_pch PRIVATE ${postwarden_product_options})
  target_precompile_headers(postwarden_pch PRIVATE ${postwarden_common_headers})
endif()

# postwarden_runs_once(SOURCE...): optimises sources less that read a command line or JSON: their templates take longer to
# optimise than they ever run.
function(postwarden_runs_once)
  set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS -O1)
endfunction()

# postwarden_unity(TARGET): compiles several sources of TARGET as one, which parses the common headers once. Names in
# unnamed namespaces must then differ within a folder.
function(postwarden_unity name)
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 10)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # The first takes every included file for a header; the second loses track of optional values that are inlined.
    target_compile_options(${name} PRIVATE -Wno-subobject-linkage -Wno-maybe-uninitialized)
  endif()
endfunction()

# postwarden_library(NAME FOLDER path [SOURCES ...] [POSIX ...] [WINDOWS ...] [LINKS ...] [PRIVATE_LINKS ...])
#
# One folder is one library. It can be included only as "path/header.h", and only by what links it: the include
# directory that it gives away holds a link to this folder and to nothing else, so an include of a higher floor
# does not compile. POSIX and WINDOWS name the files that implement the platform seam on one system.
function(postwarden_library name)
  cmake_parse_arguments(arg "" "FOLDER" "SOURCES;POSIX;WINDOWS;LINKS;PRIVATE_LINKS" ${ARGN})
  set(sources ${arg_SOURCES})
  if(WIN32)
    list(APPEND sources ${arg_WINDOWS})
  else()
    list(APPEND sources ${arg_POSIX})
  endif()
  set(include_root "${CMAKE_BINARY_DIR}/floors/${name}")
  cmake_path(GET arg_FOLDER PARENT_PATH parent)
  file(MAKE_DIRECTORY "${include_root}/${parent}")
  file(CREATE_LINK "${CMAKE_SOURCE_DIR}/${arg_FOLDER}" "${include_root}/${arg_FOLDER}" SYMBOLIC)
  if(sources)
    add_library(${name} STATIC ${sources})
    target_include_directories(${name} PUBLIC "${include_root}")
    target_link_libraries(${name} PUBLIC postwarden_options ${arg_LINKS} PRIVATE ${arg_PRIVATE_LINKS})
    target_compile_options(${name} PRIVATE ${postwarden_product_options})
    if(POSTWARDEN_PCH)
      target_precompile_headers(${name} REUSE_FROM postwarden_pch)
    endif()
    if(POSTWARDEN_UNITY STREQUAL "ALL" OR
       (POSTWARDEN_UNITY STREQUAL "OUTSIDE" AND NOT arg_FOLDER MATCHES "^(tool|logging|extlib|settings|outlook)(/|$)"))
      postwarden_unity(${name})
    endif()
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE "${include_root}")
    target_link_libraries(${name} INTERFACE postwarden_options ${arg_LINKS})
  endif()
  # For scripts/check_floors: what this library can include.
  if(NOT arg_FOLDER MATCHES "^tests/")
    set_property(GLOBAL APPEND_STRING PROPERTY postwarden_floors
      "${name}\t${arg_FOLDER}\t${CMAKE_CXX_COMPILER}\t$<TARGET_PROPERTY:${name},$<IF:$<STREQUAL:$<TARGET_PROPERTY:${name},TYPE>,INTERFACE_LIBRARY>,INTERFACE_,>INCLUDE_DIRECTORIES>\n")
  endif()
endfunction()

# postwarden_write_floors(): writes floors.txt, a line for each library: name, folder, compiler, include directories.
function(postwarden_write_floors)
  get_property(floors GLOBAL PROPERTY postwarden_floors)
  file(GENERATE OUTPUT "${CMAKE_BINARY_DIR}/floors.txt" CONTENT "${floors}")
endfunction()

# The headers <platform/...> come from the sibling folder of the system that is built for.
if(WIN32)
  set(POSTWARDEN_PLATFORM windows)
else()
  set(POSTWARDEN_PLATFORM posix)
endif()

# postwarden_platform_headers(TARGET): TARGET's folder has windows/platform and posix/platform with headers of
# the same names; those of the system built for become <platform/NAME.h> for TARGET and what links it.
function(postwarden_platform_headers name)
  get_target_property(type ${name} TYPE)
  if(type STREQUAL "INTERFACE_LIBRARY")
    target_include_directories(${name} INTERFACE "${CMAKE_CURRENT_SOURCE_DIR}/${POSTWARDEN_PLATFORM}")
  else()
    target_include_directories(${name} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}/${POSTWARDEN_PLATFORM}")
  endif()
endfunction()
