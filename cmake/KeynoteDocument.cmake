# Packs SOURCE.d/index.apxl, the text form of a Keynote document, into the file OUTPUT. The same text gives the same
# file, whenever and by whomever it is packed.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(KCS_PACK ${CMAKE_CURRENT_LIST_DIR}/pack_keynote_document.py)

function(kcs_keynote_document source output)
  set(text ${CMAKE_CURRENT_SOURCE_DIR}/${source}.d/index.apxl)
  cmake_path(GET output PARENT_PATH folder)
  file(MAKE_DIRECTORY ${folder})
  add_custom_command(
    OUTPUT ${output}
    COMMAND ${Python3_EXECUTABLE} ${KCS_PACK} ${text} ${output}
    DEPENDS ${text} ${KCS_PACK}
    VERBATIM)
endfunction()
