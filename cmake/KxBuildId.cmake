# Build identification, fixed when the tree is configured: version, compile date and host, user, commit. It stands in a
# generated header that only the few files that print it include, so a new commit recompiles those alone.

find_package(Git QUIET)
set(KX_GIT_ID "unknown")
set(KX_GIT_TIME "unknown")
if(GIT_FOUND)
  execute_process(COMMAND ${GIT_EXECUTABLE} rev-parse --short=12 HEAD WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
                  OUTPUT_VARIABLE git_id OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE git_result)
  if(git_result EQUAL 0)
    set(KX_GIT_ID ${git_id})
    execute_process(COMMAND ${GIT_EXECUTABLE} log -1 --format=%cd --date=format:%Y-%m-%d-%H:%M:%S
                    WORKING_DIRECTORY ${CMAKE_SOURCE_DIR} OUTPUT_VARIABLE KX_GIT_TIME OUTPUT_STRIP_TRAILING_WHITESPACE
                    ERROR_QUIET)
  endif()
endif()
# SOURCE_DATE_EPOCH, when set, makes the build reproducible.
string(TIMESTAMP KX_BUILD_DATE "%Y-%m-%d" UTC)
string(TIMESTAMP KX_BUILD_TIME "%H:%M:%S" UTC)
cmake_host_system_information(RESULT KX_BUILD_HOST QUERY HOSTNAME)
if(DEFINED ENV{USER})
  set(KX_BUILD_USER $ENV{USER})
else()
  set(KX_BUILD_USER "unknown")
endif()

add_library(kx_build_id INTERFACE)
configure_file(${CMAKE_CURRENT_LIST_DIR}/build_id.h.in ${CMAKE_BINARY_DIR}/generated/build_id/build_id.h @ONLY)
target_include_directories(kx_build_id INTERFACE ${CMAKE_BINARY_DIR}/generated)
