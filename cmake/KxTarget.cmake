# One library target a folder. A target sees the public headers (include/<name>/) of the targets it links and of no
# others, so an include against the arrows of ARCHITECTURE.md does not compile.

add_library(kx_flags INTERFACE)
target_compile_options(kx_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
  $<$<BOOL:${KX_WERROR}>:-Werror>
  -fno-strict-aliasing -fstack-protector-strong
  $<$<CXX_COMPILER_ID:GNU>:-Wno-missing-field-initializers>
  # GCC takes a joined file for a header, whose types had better not hold what another file cannot name.
  $<$<AND:$<COMPILE_LANG_AND_ID:CXX,GNU>,$<BOOL:${CMAKE_UNITY_BUILD}>>:-Wno-subobject-linkage>
  # Generated texts are long, which GCC does not mind.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-missing-field-initializers -Wno-overlength-strings>)
if(KX_SANITIZE)
  target_compile_options(kx_flags INTERFACE -fsanitize=${KX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(kx_flags INTERFACE -fsanitize=${KX_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(kx_flags INTERFACE -fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/sanitize_ignore.txt)
  endif()
  # With these checks GCC no longer takes the address of a function or of a static for a constant, so tables checked by
  # the compiler do not compile. A null pointer that is used still ends the run.
  if(KX_SANITIZE MATCHES undefined AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(kx_flags INTERFACE -fno-sanitize=null,nonnull-attribute,returns-nonnull-attribute)
  endif()
endif()
if(KX_FUZZ)
  target_compile_options(kx_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# The product is built without exceptions and without run-time types, and hardened; tests and benchmarks follow their
# libraries.
add_library(kx_product_flags INTERFACE)
target_compile_options(kx_product_flags INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wsuggest-override -Wextra-semi>)
target_link_libraries(kx_product_flags INTERFACE kx_flags kx_hardening)

# kx_library(<name> SOURCES <file>... [LINKS <target>...] [PRIVATE_LINKS <target>...])
# A static library of this folder whose public headers lie in ./include. LINKS are the arrows that its public headers
# need, PRIVATE_LINKS those that only its sources need.
function(kx_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/include PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_LINKS} PRIVATE kx_product_flags ${ARG_PRIVATE_LINKS})
endfunction()

# kx_description(<target> <file>.csv): lets the compiler parse a register description. The text becomes the string literal
# of the generated header "<file>.csv.inc", for the target's own sources only.
function(kx_description target file)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${file})
  file(READ ${file} KX_DESCRIPTION_TEXT)
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/description)
  file(CONFIGURE OUTPUT ${folder}/${file}.inc CONTENT "R\"csv(@KX_DESCRIPTION_TEXT@)csv\"\n" @ONLY)
  target_include_directories(${target} PRIVATE ${folder})
endfunction()

# What a sanitizer or fuzzing run needs, without the rest: the tests labelled "threads", the fuzzers.
add_custom_target(kx_threaded_tests)
add_custom_target(kx_fuzzers)
# What can show a fault of another processor, and needs no virtual card, which an emulator of one program cannot give:
# byte order, alignment, the order of accesses, the width of characters and words. Built by kx_emulated_tests, labelled
# "emulated".
add_custom_target(kx_emulated_tests)
set(KX_EMULATED_TESTS
    test_common test_dtb test_dtb_threads test_fw_package test_kx_np test_kx_pcie_cmd test_kx_pcie_config_space
    test_kxtool_port test_lpm test_np_chip test_np_cmd_gen test_np_diag test_np_diag_blocks test_np_diag_se test_np_reg
    test_np_reg_gen test_sdk_comm test_sdk_comm_threads test_se_crc test_se_hash test_se_route)

# Compiling the tests takes longer than running them, and most of that goes into GoogleTest's headers: their own code is
# not optimised, and the headers are compiled once. (At -O1 and above GCC 12 warns falsely about std::string in them.)
set(KX_TEST_OPTIMISE -O0)
# Linked behind kx_flags. A check of the sanitizer wants run-time types, which the product has not.
add_library(kx_test_checks INTERFACE)
if(KX_SANITIZE MATCHES undefined)
  target_compile_options(kx_test_checks INTERFACE -fno-sanitize=vptr)
endif()
# A name of one file may stand for another thing in the next one that it is joined with.
if(KX_JOIN_TESTS OR CMAKE_UNITY_BUILD)
  target_compile_options(kx_test_checks INTERFACE -Wno-shadow)
endif()
if(KX_TESTS)
  add_library(kx_test_headers OBJECT ${CMAKE_CURRENT_LIST_DIR}/test_headers.cpp)
  target_compile_options(kx_test_headers PRIVATE ${KX_TEST_OPTIMISE})
  target_link_libraries(kx_test_headers PRIVATE kx_flags GTest::gtest_main GTest::gmock kx_test_checks)
  target_precompile_headers(kx_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
endif()

# kx_test_flags(<target>): how the code of tests is compiled.
function(kx_test_flags target)
  if(KX_JOIN_TESTS)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON)
  endif()
  target_compile_options(${target} PRIVATE ${KX_TEST_OPTIMISE})
  target_link_libraries(${target} PRIVATE kx_test_checks)
  target_precompile_headers(${target} REUSE_FROM kx_test_headers)
endfunction()

# kx_test(<name> SOURCES <file>... [LINKS <target>...] [DEPENDS <target>...] [LABELS <label>...])
# A GoogleTest program registered with CTest as one test. Private headers of a tested folder are reached with INCLUDES.
function(kx_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;INCLUDES;DEPENDS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  target_include_directories(${name} PRIVATE ${ARG_INCLUDES})
  target_link_libraries(${name} PRIVATE kx_flags ${ARG_LINKS} GTest::gtest_main GTest::gmock)
  kx_test_flags(${name})
  if(ARG_DEPENDS)
    add_dependencies(${name} ${ARG_DEPENDS})
  endif()
  if("threads" IN_LIST ARG_LABELS)
    add_dependencies(kx_threaded_tests ${name})
  endif()
  if(name IN_LIST KX_EMULATED_TESTS)
    add_dependencies(kx_emulated_tests ${name})
    list(APPEND ARG_LABELS emulated)
  endif()
  add_test(NAME ${name} COMMAND ${name})
  # 77 is the exit status of a program that skipped everything, for example system tests on a host that forbids the
  # techniques kxvcard needs.
  set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}" SKIP_RETURN_CODE 77)
endfunction()

# kx_bench(<name> SOURCES <file>... [LINKS <target>...])
function(kx_bench name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;INCLUDES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/bench ${ARG_INCLUDES})
  target_link_libraries(${name} PRIVATE kx_flags ${ARG_LINKS})
endfunction()

# kx_fuzzer(<name> SOURCES <file>... [LINKS <target>...])
function(kx_fuzzer name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;INCLUDES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
  target_include_directories(${name} PRIVATE ${ARG_INCLUDES})
  target_link_libraries(${name} PRIVATE kx_product_flags ${ARG_LINKS})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  add_dependencies(kx_fuzzers ${name})
endfunction()
