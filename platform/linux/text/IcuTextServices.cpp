#include "platform/linux/text/IcuTextServices.h"

#include <uuid/uuid.h>
#include <array>

std::string IcuTextServices::makeUUID() {
    uuid_t uuid{};
    // Never by time and network address: presentation IDs are published.
    uuid_generate_random(uuid);
    std::array<char, UUID_STR_LEN> text{};
    uuid_unparse_upper(uuid, text.data());
    return text.data();
}
