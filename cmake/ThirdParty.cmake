# Libraries of others: Debian's packages, used from source so that both systems build them alike.

# RapidJSON is header-only. It gets a folder of its own: /usr/include on mingw's path would hide the
# headers of the Windows toolchain.
find_path(RAPIDJSON_ROOT rapidjson/document.h PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/third_party)
file(CREATE_LINK ${RAPIDJSON_ROOT}/rapidjson ${CMAKE_BINARY_DIR}/third_party/rapidjson SYMBOLIC)
add_library(rapidjson INTERFACE)
target_include_directories(rapidjson SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/third_party)

# CLI11 likewise; it takes long to compile, so only the program's command line includes it.
find_path(CLI11_ROOT CLI/CLI.hpp PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/cli11)
file(CREATE_LINK ${CLI11_ROOT}/CLI ${CMAKE_BINARY_DIR}/cli11/CLI SYMBOLIC)
add_library(cli11 INTERFACE)
target_include_directories(cli11 SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/cli11)

set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
target_compile_options(gtest PRIVATE -O0)
target_compile_options(gtest_main PRIVATE -O0)
