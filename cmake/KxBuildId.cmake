# Build identification, fixed when the tree is configured: version, compile date and host, user, commit. It stands in a
# generated header that only the few files that print it include, so a new commit recompiles those alone. The time of day
# stays what it was as long as nothing that is built has changed, so that configuring again links nothing anew.

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
cmake_host_system_information(RESULT KX_BUILD_HOST QUERY HOSTNAME)
if(DEFINED ENV{USER})
  set(KX_BUILD_USER $ENV{USER})
else()
  set(KX_BUILD_USER "unknown")
endif()

set(changes "")
if(GIT_FOUND)
  execute_process(COMMAND ${GIT_EXECUTABLE} diff HEAD WORKING_DIRECTORY ${CMAKE_SOURCE_DIR} OUTPUT_VARIABLE changes
                  ERROR_QUIET)
endif()
string(SHA256 identity "${PROJECT_VERSION} ${KX_GIT_ID} ${KX_BUILD_USER} ${KX_BUILD_HOST} ${CMAKE_CXX_COMPILER_ID} \
${CMAKE_CXX_COMPILER_VERSION} $ENV{SOURCE_DATE_EPOCH} ${changes}")
if(NOT identity STREQUAL "${KX_BUILD_IDENTITY}")
  # SOURCE_DATE_EPOCH, when set, makes the build reproducible.
  string(TIMESTAMP date "%Y-%m-%d" UTC)
  string(TIMESTAMP time "%H:%M:%S" UTC)
  set(KX_BUILD_IDENTITY ${identity} CACHE INTERNAL "what KX_BUILD_DATE and KX_BUILD_TIME are the time of")
  set(KX_BUILD_DATE ${date} CACHE INTERNAL "")
  set(KX_BUILD_TIME ${time} CACHE INTERNAL "")
endif()

add_library(kx_build_id INTERFACE)
configure_file(${CMAKE_CURRENT_LIST_DIR}/build_id.h.in ${CMAKE_BINARY_DIR}/generated/build_id/build_id.h @ONLY)
target_include_directories(kx_build_id INTERFACE ${CMAKE_BINARY_DIR}/generated)
