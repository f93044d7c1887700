#include "recorder-shared/NSString+VELStringAdditions.h"

#include "ports/Platform.h"

std::shared_ptr<const NumberFormatter> numberFormatter() {
    static const auto shared = platform().text.makeNumberFormatter("en_US_POSIX");
    return shared;
}

std::optional<DecimalNumber> numberFromServerString(std::string_view string) {
    return numberFormatter()->numberFromString(string);
}
