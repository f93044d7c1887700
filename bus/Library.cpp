#include "bus/Library.h"

#include "bus/Convert.h"

#include <memory>
#include <utility>

namespace bus {

ErrorStruct structFrom(const ErrorPtr& error) {
    if (!error) return {};
    std::map<std::string, sdbus::Variant> info;
    for (const auto& [key, value] : error->userInfo()) info.emplace(validUTF8(key), sdbus::Variant(validUTF8(value)));
    return ErrorStruct(validUTF8(error->domain()), static_cast<std::int32_t>(error->code()), std::move(info));
}

ErrorPtr errorFrom(const ErrorStruct& value) {
    const auto& [domain, code, variants] = static_cast<const ErrorStruct::tuple&>(value);
    if (domain.empty()) return nullptr;
    Error::UserInfo info;
    for (const auto& [key, variant] : variants) {
        if (variant.containsValueOfType<std::string>()) info.emplace(key, variant.get<std::string>());
    }
    return std::make_shared<const Error>(domain, code, std::move(info));
}

}  // namespace bus
