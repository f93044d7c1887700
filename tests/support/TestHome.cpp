#include "tests/support/TestHome.h"

#include <cstdlib>

TestHome::TestHome() {
    setenv("HOME", directory_.path.c_str(), 1);
    setenv("TMPDIR", directory_.path.c_str(), 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    // fontconfig keeps what it has read until the process ends.
    writeFile(directory_.path / "leaks", "leak:libfontconfig\n");
    setenv("LSAN_OPTIONS", ("print_suppressions=0:suppressions=" + (directory_.path / "leaks").string()).c_str(), 1);
    for (const char* const variable :
         {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR", "DISPLAY", "WAYLAND_DISPLAY", "LANGUAGE"}) {
        unsetenv(variable);
    }
}

TestHome::~TestHome() {
    unsetenv("TMPDIR");
    unsetenv("LSAN_OPTIONS");
}
