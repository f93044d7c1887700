#include "MacShared/MTOMHelpers.h"

#include <curl/curl.h>
#include <locale.h>
#include <regex.h>
#include <algorithm>
#include <new>
#include <span>

namespace {

/// Texts that libcurl keeps as a list.
class HeaderList {
public:
    void append(const std::string& line) {
        curl_slist* const longer = curl_slist_append(list_.get(), line.c_str());
        if (longer == nullptr) throw std::bad_alloc();
        // libcurl has taken the old list into the longer one.
        static_cast<void>(list_.release());
        list_.reset(longer);
    }
    [[nodiscard]] curl_slist* get() const { return list_.get(); }

private:
    struct Free {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };
    std::unique_ptr<curl_slist, Free> list_;
};

HeaderList headers(const char* first, const std::string& contentID) {
    HeaderList list;
    list.append(first);
    list.append("Content-ID: <" + contentID + ">");
    return list;
}

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
    void addEnvelope(const HeaderList& headers, const std::string& envelope) {
        require(curl_formadd(&first_, &last_, CURLFORM_CONTENTHEADER, headers.get(), CURLFORM_COPYNAME, "foo",
                             CURLFORM_PTRCONTENTS, envelope.data(), CURLFORM_CONTENTLEN,
                             static_cast<curl_off_t>(envelope.size()), CURLFORM_END));
    }

    /// A part for bytes that are put in later: libcurl would copy them to write them.
    void addEmptyBuffer(const HeaderList& headers) {
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

class BoundaryExpression {
public:
    /// For bytes, whatever the encoding of the user's locale: the expression keeps that in which it was compiled.
    BoundaryExpression() {
        const locale_t bytes = newlocale(LC_CTYPE_MASK, "C", nullptr);
        const locale_t before = uselocale(bytes);
        compiled_ = regcomp(&expression_, "boundary=([^;]*);?", REG_EXTENDED) == 0;
        uselocale(before);
        freelocale(bytes);
    }
    ~BoundaryExpression() {
        if (compiled_) regfree(&expression_);
    }
    BoundaryExpression(const BoundaryExpression&) = delete;
    BoundaryExpression& operator=(const BoundaryExpression&) = delete;

    /// The first parameter's value.
    [[nodiscard]] std::optional<std::string_view> valueIn(const char* text) const {
        regmatch_t matches[3];
        if (!compiled_ || regexec(&expression_, text, std::size(matches), matches, 0) != 0) return std::nullopt;
        return std::string_view(text + matches[1].rm_so, static_cast<std::size_t>(matches[1].rm_eo - matches[1].rm_so));
    }

private:
    regex_t expression_{};
    bool compiled_ = false;
};

}  // namespace

std::optional<SoapArray> MTOMHelpers::MTOMParametersWithIDForBuffer(std::string_view bufferID,
                                                                    const SoapArray& andOriginalParameters,
                                                                    std::optional<SoapBytes>& buffer,
                                                                    std::int32_t* bufferIndex) {
    const auto last = std::find_if(andOriginalParameters.rbegin(), andOriginalParameters.rend(),
                                   [](const SoapValue& value) { return value.bytes() != nullptr; });
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
    const auto envelopeHeaders =
        headers(R"(Content-Type: application/xop+xml; charset=UTF-8; type="text/xml")", startID);
    const auto bufferHeaders = headers("Content-Transfer-Encoding: binary", bufferId);
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
    std::string_view value = extracted.get();
    value.remove_prefix(std::min(value.find_first_not_of('"'), value.size()));
    return std::string(value.substr(0, value.find_last_not_of('"') + 1));
}

std::unique_ptr<char[]> MTOMHelpers::extractBoundary(const char* text) {
    static const BoundaryExpression expression;  // compiling takes longer than a whole small response
    const auto value = expression.valueIn(text);
    if (!value) return nullptr;
    auto copy = std::make_unique<char[]>(value->size() + 1);
    std::ranges::copy(*value, copy.get());
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
