# Run by cpack on what it is about to pack: manual pages and the changelog are compressed, without a time in them.
file(GLOB_RECURSE texts
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/man?/*.?
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/changelog)
foreach(text IN LISTS texts)
  execute_process(COMMAND gzip -9nf ${text} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
