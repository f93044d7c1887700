# Where the office that is built for looks for the settings of all users: below /etc on Debian 12, else beside itself.
set(office_registry /etc/libreoffice/registry)
find_file(OFFICE_LAYERS fundamentalrc
          PATHS /usr/lib/libreoffice/program /usr/lib64/libreoffice/program NO_DEFAULT_PATH)
mark_as_advanced(OFFICE_LAYERS)
if(OFFICE_LAYERS)
  file(STRINGS ${OFFICE_LAYERS} layers REGEX "^CONFIGURATION_LAYERS=")
  if(NOT layers MATCHES "${office_registry}")
    cmake_path(SET office_registry NORMALIZE ${OFFICE_LAYERS}/../../share/registry)
  endif()
endif()
