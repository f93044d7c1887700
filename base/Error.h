#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

/// Keys of an error's user information, as the platform names them: a sentence that says what happened, one that says
/// why, and the file that it happened to.
inline constexpr const char* NSLocalizedDescriptionKey = "NSLocalizedDescription";
inline constexpr const char* NSLocalizedFailureReasonErrorKey = "NSLocalizedFailureReason";
inline constexpr const char* NSFilePathErrorKey = "NSFilePath";

/// Domain of errors whose code is an `errno` value.
inline constexpr const char* NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

/// An expected failure as a value: who speaks (domain), what happened (code), and details by key. It never changes, so
/// threads may share one. Handed around as `ErrorPtr`; null means "no error".
class Error {
public:
    /// Details are UTF-8 text, unless their key says that they are bytes.
    using UserInfo = std::map<std::string, std::string>;

    /// Details may be left out; `makeError` is shorter for an error with a description only.
    Error(std::string domain, std::int64_t code, UserInfo userInfo = {})
        : domain_(std::move(domain)), code_(code), userInfo_(std::move(userInfo)) {}
    virtual ~Error() = default;
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;

    /// Who speaks. Codes mean something within their domain only.
    [[nodiscard]] const std::string& domain() const { return domain_; }
    /// What happened.
    [[nodiscard]] std::int64_t code() const { return code_; }
    /// The details, each under its key.
    [[nodiscard]] const UserInfo& userInfo() const { return userInfo_; }

    /// A sentence for people: the description in the user information, else one made from domain and code. It may come
    /// from another program and hold anything.
    [[nodiscard]] virtual std::string localizedDescription() const {
        const auto found = userInfo_.find(NSLocalizedDescriptionKey);
        if (found != userInfo_.end()) return found->second;
        return "The operation couldn’t be completed. (" + domain_ + " error " + std::to_string(code_) + ".)";
    }

    /// Why it happened, for people; nothing when nobody has said so.
    [[nodiscard]] virtual std::optional<std::string> localizedFailureReason() const {
        const auto found = userInfo_.find(NSLocalizedFailureReasonErrorKey);
        return found == userInfo_.end() ? std::nullopt : std::optional(found->second);
    }

private:
    const std::string domain_;
    const std::int64_t code_;
    const UserInfo userInfo_;
};

/// An error, or null for none.
using ErrorPtr = std::shared_ptr<const Error>;

/// Makes an error; with a non-empty description it carries that under `NSLocalizedDescriptionKey`.
[[nodiscard]] inline ErrorPtr makeError(std::string domain, std::int64_t code, const std::string& description = {}) {
    Error::UserInfo info;
    if (!description.empty()) info.emplace(NSLocalizedDescriptionKey, description);
    return std::make_shared<const Error>(std::move(domain), code, std::move(info));
}
