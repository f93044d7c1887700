# Warnings and sanitizers for our own targets; call kcs_target(NAME) on each.
function(kcs_target name)
  target_compile_options(${name} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  if(KCS_WARNINGS_AS_ERRORS)
    target_compile_options(${name} PRIVATE -Werror)
  endif()
endfunction()

# For the parts of the client library: code that may lie anywhere, and names that stay within.
function(kcs_shared_library_part name)
  set_target_properties(${name} PROPERTIES
    POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
endfunction()

if(KCS_SANITIZE)
  add_compile_options(-fsanitize=${KCS_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    # GCC's manual: the sanitizers' instrumentation makes this warning speak of initialised variables too.
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
  add_link_options(-fsanitize=${KCS_SANITIZE})
endif()

if(KCS_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Programs of the build tree all lie in one folder, so that they find one another.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
