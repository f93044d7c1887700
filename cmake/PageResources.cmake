# Makes a source file of the page's parts. They are read when the project is configured, and again when they change.
function(kcs_page_resources output)
  set(folder ${PROJECT_SOURCE_DIR}/resources/page)
  foreach(type html css js)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${folder}/page.${type})
    file(READ ${folder}/page.${type} page_${type})
  endforeach()
  configure_file(${folder}/PageResources.cpp.in ${output} @ONLY)
endfunction()
