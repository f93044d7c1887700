#include "MacShared/MTOMHelpers.h"

#include "base/Trimmed.h"

#include <curl/curl.h>
#include <algorithm>
#include <new>
#include <span>

namespace {

/// The headers of a part, in libcurl's form of a list, which it only reads.
class PartHeaders {
public:
    PartHeaders(std::string first, const std::string& contentID)
        : first_(std::move(first)), contentID_("Content-ID: <" + contentID + ">") {}
    PartHeaders(const PartHeaders&) = delete;
    PartHeaders& operator=(const PartHeaders&) = delete;

    [[nodiscard]] curl_slist* get() { return &list_; }

private:
    std::string first_;
    std::string contentID_;
    curl_slist end_{contentID_.data(), nullptr};
    curl_slist list_{first_.data(), &end_};
};

// The form functions give way to newer ones that write no form without a transfer.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

class Form {
public:
    Form() = default;
    ~Form() { curl_formfree(first_); }
    Form(const Form&) = delete;
    Form& operator=(const Form&) = delete;

    /// The headers and the envelope must outlive the form.
    void addEnvelope(PartHeaders& headers, const std::string& envelope) {
        require(curl_formadd(&first_, &last_, CURLFORM_CONTENTHEADER, headers.get(), CURLFORM_COPYNAME, "foo",
                             CURLFORM_PTRCONTENTS, envelope.data(), CURLFORM_CONTENTLEN,
                             static_cast<curl_off_t>(envelope.size()), CURLFORM_END));
    }

    /// A part for bytes that are put in later: libcurl would copy them to write them.
    void addEmptyBuffer(PartHeaders& headers) {
        require(curl_formadd(&first_, &last_, CURLFORM_CONTENTHEADER, headers.get(), CURLFORM_COPYNAME, "project",
                             CURLFORM_BUFFER, "buffer", CURLFORM_BUFFERPTR, "", CURLFORM_BUFFERLENGTH, 0L,
                             CURLFORM_END));
    }

    /// A line with the content type, then the body.
    [[nodiscard]] std::string written() const {
        std::size_t size = 0;
        if (curl_formget(first_, &size, MTOMHelpers::messageSizeCallback) != 0) throw std::bad_alloc();
        std::string text(size, '\0');
        std::span<char> room(text);
        if (curl_formget(first_, &room, MTOMHelpers::createMessageCallback) != 0) throw std::bad_alloc();
        return text;
    }

private:
    static void require(CURLFORMcode code) {
        if (code != CURL_FORMADD_OK) throw std::bad_alloc();  // the options are fixed, so nothing else can fail
    }

    curl_httppost* first_ = nullptr;
    curl_httppost* last_ = nullptr;
};

#pragma GCC diagnostic pop

}  // namespace

std::optional<shared::SoapArray> MTOMHelpers::MTOMParametersWithIDForBuffer(
    std::string_view bufferID, const shared::SoapArray& andOriginalParameters, std::optional<shared::SoapBytes>& buffer,
    std::int32_t* bufferIndex) {
    const auto last = std::find_if(andOriginalParameters.rbegin(), andOriginalParameters.rend(),
                                   [](const shared::SoapValue& value) { return value.bytes() != nullptr; });
    if (last == andOriginalParameters.rend()) return std::nullopt;
    const auto index = andOriginalParameters.rend() - last - 1;
    buffer = *last->bytes();
    if (bufferIndex != nullptr) *bufferIndex = static_cast<std::int32_t>(index);
    auto parameters = andOriginalParameters;
    parameters[static_cast<std::size_t>(index)] =
        R"(<xop:Include xmlns:xop="http://www.w3.org/2004/08/xop/include" href="cid:)" + std::string(bufferID) + "\"/>";
    return parameters;
}

std::string MTOMHelpers::MTOMBodyFromEnvelope(const std::string& envelope, std::string_view buffer,
                                              const std::string& startID, const std::string& bufferId,
                                              std::optional<std::string>& boundary) {
    // The form functions need it too, and a program may have built a body before it makes a session.
    if (curl_global_init(CURL_GLOBAL_ALL) != CURLE_OK) throw std::bad_alloc();
    PartHeaders envelopeHeaders(R"(Content-Type: application/xop+xml; charset=UTF-8; type="text/xml")", startID);
    PartHeaders bufferHeaders("Content-Transfer-Encoding: binary", bufferId);
    Form form;
    form.addEnvelope(envelopeHeaders, envelope);
    form.addEmptyBuffer(bufferHeaders);
    const auto written = form.written();

    // libcurl chooses the boundary and tells it in the content type, which it writes ahead of the body.
    const auto extracted = extractBoundary(written.substr(0, written.find('\r')).c_str());
    boundary = extracted ? std::optional<std::string>(extracted.get()) : std::nullopt;
    const std::string_view framing = std::string_view(written).substr(written.find('\n') + 1);
    // The empty part ends where the last delimiter begins; the envelope may hold the same bytes, but comes before.
    const auto end = framing.rfind("\r\n--" + boundary.value_or(""));
    std::string body;
    body.reserve(framing.size() + buffer.size());
    body.append(framing.substr(0, end)).append(buffer).append(framing.substr(end));
    return body;
}

std::string MTOMHelpers::MTOMContentTypeWithBoundary(std::string_view boundary, std::string_view startID) {
    std::string type = R"(multipart/related;type="application/xop+xml";boundary=")";
    type.append(boundary).append(R"(";start=")").append(startID);
    type.append(R"(";start-info="text/xml")");
    return type;
}

std::optional<std::string> MTOMHelpers::MTOMBoundaryFromContentType(const std::optional<std::string>& contentType) {
    if (!contentType) return std::nullopt;
    const auto extracted = extractBoundary(contentType->c_str());
    if (!extracted) return std::nullopt;
    return std::string(trimmed(extracted.get(), "\""));
}

std::unique_ptr<char[]> MTOMHelpers::extractBoundary(const char* text) {
    // What the extended regular expression "boundary=([^;]*);?" finds, at a fraction of its time: this runs at each
    // response.
    constexpr std::string_view kName = "boundary=";
    const std::string_view all(text);
    const auto name = all.find(kName);
    if (name == std::string_view::npos) return nullptr;
    const auto value = all.substr(name + kName.size());
    const auto size = std::min(value.find(';'), value.size());
    auto copy = std::make_unique<char[]>(size + 1);
    value.copy(copy.get(), size);
    return copy;
}

std::size_t MTOMHelpers::messageSizeCallback(void* total, const char* /*chunk*/, std::size_t length) noexcept {
    *static_cast<std::size_t*>(total) += length;
    return length;
}

std::size_t MTOMHelpers::createMessageCallback(void* room, const char* chunk, std::size_t length) noexcept {
    auto& free = *static_cast<std::span<char>*>(room);
    if (length > free.size()) return 0;
    std::copy_n(chunk, length, free.begin());
    free = free.subspan(length);
    return length;
}
