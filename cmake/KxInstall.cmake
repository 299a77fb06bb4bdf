# Around the folders' own install rules: a first step that says what is not built yet, and the target that takes back what
# was installed.

# kx_install_check(<target>...): before anything is installed, stops with one line when a program is not built.
function(kx_install_check)
  set(files "")
  foreach(target ${ARGN})
    string(APPEND files " \"$<TARGET_FILE:${target}>\"")
  endforeach()
  install(CODE "
foreach(file${files} \"${CMAKE_BINARY_DIR}/docs/kxtool.1\")
  if(NOT EXISTS \"\${file}\")
    message(FATAL_ERROR \"kxtool: \${file} is not built: run 'cmake --build ${CMAKE_BINARY_DIR}' first\")
  endif()
endforeach()")
endfunction()

add_custom_target(uninstall
  COMMAND ${CMAKE_COMMAND} -D MANIFEST=${CMAKE_BINARY_DIR}/install_manifest.txt -P ${CMAKE_CURRENT_LIST_DIR}/uninstall.cmake
  VERBATIM)
