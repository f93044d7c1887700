#include "tools/soap-call/SoapReport.h"

#include "MacShared/HTTPError.h"
#include "MacShared/VeldrinError.h"
#include "commandline/PrintableText.h"
#include "commandline/Translation.h"

#include <fmt/format.h>
#include <algorithm>
#include <nlohmann/json.hpp>

namespace soap_call {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kLongestBody = 64 << 10;

Json json(const shared::SoapValue& value) {
    if (const auto* string = value.string()) return *string;
    if (const auto* array = value.array()) {
        auto members = Json::array();
        for (const auto& member : *array) members.push_back(json(member));
        return members;
    }
    if (const auto* dictionary = value.dictionary()) {
        // Straight into the list of entries: looking for each key would take a time that a server can choose.
        Json::object_t entries;
        for (const auto& [key, member] : *dictionary) entries.emplace_back(key, json(member));
        return entries;
    }
    return {};
}

/// What the service sent with its failure, nothing when there is none.
std::optional<std::string> bodyOf(const Error& error) {
    if (const auto* const http = dynamic_cast<const HTTPError*>(&error)) return http->body();
    const auto found = error.userInfo().find(VeldrinResponseBodyKey);
    return found == error.userInfo().end() ? std::nullopt : std::optional(found->second);
}

std::string line(const std::string& title, std::string_view text) {
    return fmt::format("\n  {}: {}", title, printableText(text));
}

std::string bodyText(std::string_view body) {
    body = body.substr(0, body.find_last_not_of("\r\n") + 1);
    const auto more = body.size() - std::min(body.size(), kLongestBody);
    // The body is the server's: it may be long, and hold what terminals obey.
    auto text = printableText(body.substr(0, kLongestBody), LineFeeds::kept);
    if (more > 0) text += translated("… and {} bytes more", more);
    return translated("\n  body:\n") + text;
}

}  // namespace

std::string soapResponseText(const shared::SoapDictionary& response) {
    return printableJSON(json(response).dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

std::string soapErrorText(const Error& error) {
    auto text = printableText(error.localizedDescription());
    text += line(translated("error"), fmt::format("{} {}", error.domain(), error.code()));
    const auto headerCode = error.userInfo().find(VELErrorCodeHeader);
    if (headerCode != error.userInfo().end()) text += line(VELErrorCodeHeader, headerCode->second);
    const auto body = bodyOf(error);
    const auto reason = error.localizedFailureReason();
    if (reason && reason != body) text += line(translated("reason"), *reason);
    if (body && !body->empty()) text += bodyText(*body);
    return text;
}

}  // namespace soap_call
