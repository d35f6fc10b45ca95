# GoogleTest from Debian's sources, built for the Windows target.
find_path(QVX_GTEST_SRC googletest/CMakeLists.txt PATHS /usr/src/googletest REQUIRED NO_CMAKE_FIND_ROOT_PATH)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
add_subdirectory(${QVX_GTEST_SRC} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
include(GoogleTest)

# qvx_test(<name> SOURCES ... LIBS ...): a GoogleTest program whose cases ctest runs one by one
# under Wine. The servers are registered before any test runs.
function(qvx_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;PROPERTIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest_main)
  add_dependencies(${name} register)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 60 ${ARG_PROPERTIES})
endfunction()
