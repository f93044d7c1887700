# Copies headers of ours for other projects into ROOT/NAME, all in that one folder: what they include of each other, they
# include by `NAME/`. They are read when the project is configured, and again when they change.
#   kcs_public_headers(RESULT ROOT NAME HEADER...)     RESULT: the copies
function(kcs_public_headers result root name)
  foreach(header IN LISTS ARGN)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${header})
    file(READ ${PROJECT_SOURCE_DIR}/${header} text)
    string(REGEX REPLACE "#include \"[a-z/]+/" "#include \"${name}/" text "${text}")
    cmake_path(GET header FILENAME file)
    file(CONFIGURE OUTPUT ${root}/${name}/${file} CONTENT "${text}" @ONLY)
    list(APPEND copies ${root}/${name}/${file})
  endforeach()
  set(${result} ${copies} PARENT_SCOPE)
endfunction()
