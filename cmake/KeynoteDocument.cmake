# Packs SOURCE.d/index.apxl, the text form of a Keynote document, into the file OUTPUT. The same text gives the same
# file, but for when its source was last read and changed, which the archive holds too.
function(kcs_keynote_document source output)
  cmake_path(ABSOLUTE_PATH source)
  cmake_path(GET output PARENT_PATH folder)
  file(MAKE_DIRECTORY ${folder})
  add_custom_command(
    OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -E tar cf ${output} --format=zip "--mtime=2000-01-01 00:00:00 UTC" index.apxl
    WORKING_DIRECTORY ${source}.d
    DEPENDS ${source}.d/index.apxl
    VERBATIM)
endfunction()
