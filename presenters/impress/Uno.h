#pragma once

#include <com/sun/star/beans/PropertyValue.hpp>
#include <com/sun/star/beans/XPropertySet.hpp>
#include <com/sun/star/frame/XModel.hpp>
#include <com/sun/star/uno/Exception.hpp>
#include <com/sun/star/uno/Reference.hxx>
#include <com/sun/star/uno/Sequence.hxx>
#include <com/sun/star/uno/XComponentContext.hpp>
#include <initializer_list>
#include <rtl/ustring.hxx>
#include <stdexcept>
#include <string>
#include <string_view>

namespace css = com::sun::star;

namespace impress {

using css::uno::Reference;
using css::uno::UNO_QUERY;
using css::uno::UNO_QUERY_THROW;

/// An open document, as the office has it.
using Model = Reference<css::frame::XModel>;
/// What all services of an office come from.
using Context = Reference<css::uno::XComponentContext>;

/// Text as UTF-8; what the office's UTF-16 holds of broken surrogates becomes a replacement character.
[[nodiscard]] std::string textFrom(const rtl::OUString& text);
/// Why a call is refused: a sentence for its caller.
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Text from UTF-8; broken sequences become replacement characters.
[[nodiscard]] rtl::OUString unoText(std::string_view utf8);
/// What went wrong, as the office says it; its exception's type when it says nothing.
[[nodiscard]] std::string textFrom(const css::uno::Exception& exception);

using Properties = css::uno::Sequence<css::beans::PropertyValue>;

/// Named values, as many of the office's operations take them.
[[nodiscard]] inline Properties properties(std::initializer_list<css::beans::PropertyValue> list) {
    return {list.begin(), static_cast<sal_Int32>(list.size())};
}

template <typename Value>
[[nodiscard]] css::beans::PropertyValue property(const char* name, const Value& value) {
    return {rtl::OUString::createFromAscii(name), -1, css::uno::Any(value), css::beans::PropertyState_DIRECT_VALUE};
}

/// The office's version, such as "7.4". Asks the office.
[[nodiscard]] std::string versionOf(const Context& context);

/// The value of a property; `standard` when it has another type or is void. Asks the office.
template <typename Value>
[[nodiscard]] Value valueOf(const Reference<css::beans::XPropertySet>& object, const char* name, Value standard = {}) {
    object->getPropertyValue(rtl::OUString::createFromAscii(name)) >>= standard;
    return standard;
}

}  // namespace impress
