#pragma once

#include <string>

/// A GUID that a SOAP parameter carries as a typed element.
class Guid {
public:
    /// `init`: the nil GUID.
    Guid() : Guid("00000000-0000-0000-0000-000000000000") {}
    /// `initWithString:`: keeps the text as it is; case, braces and hyphens are the caller's.
    explicit Guid(std::string guidString) : guidString_(std::move(guidString)) {}
    /// `guidWithString:`
    [[nodiscard]] static Guid guidWithString(std::string string) { return Guid(std::move(string)); }

    [[nodiscard]] const std::string& guidString() const { return guidString_; }
    void setGuidString(std::string guidString) { guidString_ = std::move(guidString); }

    /// `soapParameterValue`: the element that stands for the GUID. Servers expect its type's prefix "s1" although no
    /// envelope declares it. The text is not escaped.
    [[nodiscard]] std::string soapParameterValue() const {
        return "<guid xsi:type=\"s1:guid\">" + guidString_ + "</guid>";
    }

    bool operator==(const Guid&) const = default;

private:
    std::string guidString_;
};
