#include "tests/support/German.h"

#include <clocale>
#include <cstdlib>
#include <stdexcept>

German::German() {
    ::setenv("LOCPATH", GERMAN_LOCALES, 1);
    ::setenv("LC_ALL", "de_DE.UTF-8", 1);
    if (std::setlocale(LC_MESSAGES, "de_DE.UTF-8") == nullptr) throw std::runtime_error("no German locale");
}

German::~German() {
    std::setlocale(LC_MESSAGES, "C");
    ::setenv("LC_ALL", "C.UTF-8", 1);
    ::unsetenv("LOCPATH");
}
