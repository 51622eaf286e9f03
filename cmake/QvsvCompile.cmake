# Compile settings shared by every target of the project.

add_library(qvsv_compile_options INTERFACE)
target_compile_options(qvsv_compile_options INTERFACE -Wall -Wextra -Wno-unused-parameter)
# GCC 12 reports std::string concatenation with literals as overlapping
# memcpy at -O2 and above (a known false positive of its -Wrestrict).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(qvsv_compile_options INTERFACE -Wno-restrict)
endif()
# The float formatter builds its table of powers of five at compile time,
# past clang's default budget for constant evaluation.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(qvsv_compile_options INTERFACE -fconstexpr-steps=100000000)
endif()
if(QVSV_WERROR)
  target_compile_options(qvsv_compile_options INTERFACE -Werror)
endif()

if(QVSV_SANITIZE STREQUAL "address")
  set(_qvsv_san -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(QVSV_SANITIZE STREQUAL "thread")
  set(_qvsv_san -fsanitize=thread -fno-omit-frame-pointer)
elseif(NOT QVSV_SANITIZE STREQUAL "")
  message(FATAL_ERROR "QVSV_SANITIZE must be empty, 'address' or 'thread', not '${QVSV_SANITIZE}'")
endif()
if(_qvsv_san)
  # Applied globally so that tests and tools share the sanitizer runtime.
  add_compile_options(${_qvsv_san})
  add_link_options(${_qvsv_san})
endif()

# The fuzz build instruments all of the project's code for coverage, so that
# the fuzzer sees its way through the library and not only the target.
if(QVSV_BUILD_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# qvsv_add_test_suite(<name> SOURCES ... [LIBS ...])
# One GoogleTest executable per area, discovered by CTest.
function(qvsv_add_test_suite name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} qvsv_test_support GTest::gtest GTest::gmock GTest::gtest_main qvsv_compile_options)
  # NO_PRETTY_VALUES: CMake would otherwise append each parameter's printed bytes
  # to the test name, where the row name already says what the case is.
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 NO_PRETTY_VALUES)
endfunction()
