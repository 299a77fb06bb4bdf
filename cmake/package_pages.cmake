# Before a package is made of what was installed for it: manual pages and changelogs are compressed, the same bytes
# every time.
file(GLOB_RECURSE texts ${CPACK_TEMPORARY_DIRECTORY}/*.1 ${CPACK_TEMPORARY_DIRECTORY}/*.7
     ${CPACK_TEMPORARY_DIRECTORY}/changelog)
foreach(text ${texts})
  execute_process(COMMAND gzip -9n ${text} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
