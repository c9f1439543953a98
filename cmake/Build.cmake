# Compiler settings shared by every target, and the functions by which the folders declare theirs.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
foreach(language C CXX)
    set(CMAKE_${language}_FLAGS_DEBUG "-O1 -g1 -fno-omit-frame-pointer")
    set(CMAKE_${language}_FLAGS_RELWITHDEBINFO "-O2 -g1 -DNDEBUG")
endforeach()

set(BREVANT_SANITIZE "" CACHE STRING "Value for -fsanitize=, empty for none")

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)

if(WIN32)
    set(BREVANT_SYSTEM windows)
    add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00 WINVER=0x0A00)
    # One self-contained file per program and library: compiler and thread runtimes are linked in.
    add_link_options(-static -static-libgcc -static-libstdc++
        -Wl,--dynamicbase -Wl,--nxcompat -Wl,--high-entropy-va)
else()
    set(BREVANT_SYSTEM linux)
    find_package(Threads REQUIRED)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT WIN32)
    # Unique symbols pin a library in the process: dlclose would never unload it.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety>
        $<$<COMPILE_LANGUAGE:CXX>:-Werror=thread-safety>)
endif()

if(BREVANT_SANITIZE)
    add_compile_options(-fsanitize=${BREVANT_SANITIZE} -fno-sanitize-recover=all)
    # nodelete keeps a library's frames readable in reports made after dlclose.
    add_link_options(-fsanitize=${BREVANT_SANITIZE} -Wl,-z,nodelete)
endif()

# brevant_room(NAME name SOURCES ... USES ...): one static library of the product.
function(brevant_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;USES" ${ARGN})
    if(NOT ROOM_SOURCES)
        add_library(${name} INTERFACE)
        target_link_libraries(${name} INTERFACE ${ROOM_USES})
        return()
    endif()
    add_library(${name} STATIC ${ROOM_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC ${ROOM_USES})
endfunction()

# brevant_test(name SOURCES ... USES ...): one GoogleTest program, its cases listed to CTest.
function(brevant_test name)
    cmake_parse_arguments(TEST "" "" "SOURCES;USES" ${ARGN})
    add_executable(${name} ${TEST_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${TEST_USES} GTest::gtest_main)
    # gtest and the standard headers, parsed once for all test sources.
    target_precompile_headers(${name} REUSE_FROM brevant_test_headers)
    brevant_add_test(${name})
endfunction()

# brevant_test_over_nats(program): lists a test program once more, run with a server that carries its messages.
function(brevant_test_over_nats program)
    brevant_add_test(${program}_over_nats COMMAND ${PROJECT_SOURCE_DIR}/tests/with_nats_server.sh
        ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${program}>)
endfunction()

# brevant_test_environment(name entries...): adds to what the test finds in its environment.
function(brevant_test_environment name)
    set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT ${ARGN})
endfunction()

# brevant_add_test(name [COMMAND command...]): lists a test program to CTest.
function(brevant_add_test name)
    cmake_parse_arguments(TEST "" "" "COMMAND" ${ARGN})
    if(NOT TEST_COMMAND)
        set(TEST_COMMAND ${name})
    endif()
    add_test(NAME ${name} COMMAND ${TEST_COMMAND})
    # What a test logs by the way stays in the build tree. The C library shall count as in use what is, and not
    # the blocks that it keeps for its threads.
    set(environment "BREVANT_PLATFORM_DIR=${CMAKE_BINARY_DIR}/platform/${name}"
        "GLIBC_TUNABLES=glibc.malloc.tcache_count=0:glibc.malloc.mxfast=0:glibc.malloc.arena_max=1")
    set_tests_properties(${name} PROPERTIES TIMEOUT 300 ENVIRONMENT "${environment}")
    if(WIN32)
        # One machine, one registry: one program at a time.
        set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED windows_machine RUN_SERIAL ON)
    endif()
endfunction()

# brevant_version_resource(target FILE name DESCRIPTION text): gives a Windows file its version resource.
function(brevant_version_resource target)
    if(NOT WIN32)
        return()
    endif()
    cmake_parse_arguments(VERSION "" "FILE;DESCRIPTION" "" ${ARGN})
    get_target_property(type ${target} TYPE)
    set(VERSION_FILE_TYPE VFT_DLL)
    if(type STREQUAL "EXECUTABLE")
        set(VERSION_FILE_TYPE VFT_APP)
    endif()
    configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc @ONLY)
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
endfunction()
