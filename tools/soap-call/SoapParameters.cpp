#include "tools/soap-call/SoapParameters.h"

#include "base/UTF8.h"
#include "commandline/Translation.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

namespace soap_call {

namespace {

[[noreturn]] void refuse(const std::string& sentence) {
    throw std::invalid_argument(sentence);
}

template <class Number>
Number number(const std::string& text, const std::string& problem) {
    Number value{};
    const auto* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) refuse(problem);
    return value;
}

std::string contentsOf(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    std::string contents;
    char block[16384];
    for (std::size_t size = 1; file && size > 0; contents.append(block, size)) {
        size = std::fread(block, 1, sizeof block, file.get());
    }
    if (!file || std::ferror(file.get()) != 0) {
        refuse(translated("cannot read the file \"{}\": {}", path, std::strerror(errno)));
    }
    return contents;
}

shared::SoapValue value(const std::string& type, const std::string& text) {
    if (type == "@") return shared::SoapBytes(contentsOf(text));
    // The envelope says that it is UTF-8, and servers refuse one that is not with an error that helps nobody.
    if (!utf8::isValid(text)) refuse(translated("\"{}\" is not UTF-8; pass bytes as NAME@=FILE", text));
    if (type.empty()) return text;
    if (type == ":int") {
        return number<std::int32_t>(text,
                                    translated("\"{}\" is not a whole number from -2147483648 to 2147483647", text));
    }
    if (type == ":double") return number<double>(text, translated("\"{}\" is not a number", text));
    if (type == ":guid") return Guid(text);
    refuse(translated("there is no type \"{}\"; there are int, double and guid", type.substr(1)));
}

}  // namespace

bool isElementName(const std::string& name) {
    return !name.empty() && utf8::isValid(name) && name.find_first_of("<>&\"'/=\t\n\r ") == std::string::npos &&
           std::string_view("-.0123456789").find(name.front()) == std::string_view::npos;
}

SoapParameters parseSoapParameters(const std::vector<std::string>& arguments) {
    SoapParameters parameters;
    bool hasFile = false;
    for (const auto& argument : arguments) {
        const auto equals = argument.find('=');
        if (equals == std::string::npos) refuse(translated("\"{}\" is no parameter; write NAME=VALUE", argument));
        auto name = argument.substr(0, equals);
        // Neither can be part of an element's name here: no envelope declares a prefix.
        const auto mark = name.find_first_of(":@");
        const auto type = mark == std::string::npos ? std::string() : name.substr(mark);
        name.resize(std::min(mark, name.size()));
        if (!isElementName(name)) refuse(translated("\"{}\" cannot be the name of a parameter", name));
        // A request carries one attachment; earlier bytes would silently be sent as null.
        if (type == "@" && std::exchange(hasFile, true)) refuse(translated("only one parameter can be a file"));
        parameters.values.push_back(value(type, argument.substr(equals + 1)));
        parameters.names.push_back(std::move(name));
    }
    return parameters;
}

}  // namespace soap_call
