#include "platform/linux/text/IcuTextServices.h"

#include "platform/linux/text/IcuDateFormatter.h"
#include "platform/linux/text/IcuNumberFormatter.h"

#include <uuid/uuid.h>
#include <array>

std::shared_ptr<const DateFormatter> IcuTextServices::makeDateFormatter(const std::string& pattern) {
    return std::make_shared<const IcuDateFormatter>(pattern);
}

std::shared_ptr<const NumberFormatter> IcuTextServices::makeNumberFormatter(const std::string& locale) {
    return std::make_shared<const IcuNumberFormatter>(locale);
}

std::string IcuTextServices::makeUUID() {
    uuid_t uuid{};
    // Never by time and network address: presentation IDs are published.
    uuid_generate_random(uuid);
    std::array<char, UUID_STR_LEN> text{};
    uuid_unparse_upper(uuid, text.data());
    return text.data();
}
