# Run by cpack on what it is about to pack: manual pages and changelogs are compressed, without a time in them.
file(GLOB_RECURSE texts
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/man?/*.?
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/changelog
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/changelog.Debian)
foreach(text IN LISTS texts)
  execute_process(COMMAND gzip -9nf ${text} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
