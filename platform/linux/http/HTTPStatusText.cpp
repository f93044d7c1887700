#include "base/Table.h"
#include "platform/linux/http/CurlSessions.h"
#include "ports/Bundle.h"

namespace http {

namespace {

/// The platform's English phrases.
constexpr std::pair<int, const char*> kTexts[] = {
    {100, "continue"},
    {101, "switching protocols"},
    {200, "no error"},
    {201, "created"},
    {202, "accepted"},
    {203, "non-authoritative information"},
    {204, "no content"},
    {205, "reset content"},
    {206, "partial content"},
    {300, "multiple choices"},
    {301, "moved permanently"},
    {302, "found"},
    {303, "see other"},
    {304, "not modified"},
    {305, "needs proxy"},
    {307, "temporarily redirected"},
    {400, "bad request"},
    {401, "unauthorized"},
    {402, "payment required"},
    {403, "forbidden"},
    {404, "not found"},
    {405, "method not allowed"},
    {406, "unacceptable"},
    {407, "proxy authentication required"},
    {408, "request timed out"},
    {409, "conflict"},
    {410, "no longer exists"},
    {411, "length required"},
    {412, "precondition failed"},
    {413, "request too large"},
    {414, "requested URL too long"},
    {415, "unsupported media type"},
    {416, "requested range not satisfiable"},
    {417, "expectation failed"},
    {500, "internal server error"},
    {501, "unimplemented"},
    {502, "bad gateway"},
    {503, "service unavailable"},
    {504, "gateway timed out"},
    {505, "unsupported version"},
};

/// For the codes that have none of their own, by hundreds.
constexpr std::pair<int, const char*> kClasses[] = {
    {1, "informational"}, {2, "success"}, {3, "redirected"}, {4, "client error"}, {5, "server error"}};

}  // namespace

std::string CurlSessions::localizedStringForStatusCode(int statusCode) {
    const auto* const text = valueIn(kTexts, statusCode, valueIn(kClasses, statusCode / 100, "unknown status"));
    return bundles_.mainBundle()->localizedString(text);
}

}  // namespace http
