# Libraries of others: Debian's packages, used from source so that both systems build them alike.

# RapidJSON is header-only. It gets a folder of its own: /usr/include on mingw's path would hide the
# headers of the Windows toolchain.
find_path(RAPIDJSON_ROOT rapidjson/document.h PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/third_party)
file(CREATE_LINK ${RAPIDJSON_ROOT}/rapidjson ${CMAKE_BINARY_DIR}/third_party/rapidjson SYMBOLIC)
add_library(rapidjson INTERFACE)
target_include_directories(rapidjson SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/third_party)

set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
target_compile_options(gtest PRIVATE -O0)
target_compile_options(gtest_main PRIVATE -O0)
