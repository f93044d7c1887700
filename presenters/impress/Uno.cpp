#include "presenters/impress/Uno.h"

#include <rtl/textenc.h>
#include <com/sun/star/configuration/theDefaultProvider.hpp>
#include <com/sun/star/container/XNameAccess.hpp>
#include <typeinfo>

namespace impress {

std::string textFrom(const rtl::OUString& text) {
    const rtl::OString bytes = rtl::OUStringToOString(text, RTL_TEXTENCODING_UTF8);
    return {bytes.getStr(), static_cast<std::size_t>(bytes.getLength())};
}

rtl::OUString unoText(std::string_view utf8) {
    return {utf8.data(), static_cast<sal_Int32>(utf8.size()), RTL_TEXTENCODING_UTF8};
}

std::string textFrom(const css::uno::Exception& exception) {
    return exception.Message.isEmpty() ? std::string(typeid(exception).name()) : textFrom(exception.Message);
}

std::string versionOf(const Context& context) {
    css::uno::Any path(property("nodepath", unoText("/org.openoffice.Setup/Product")));
    const Reference<css::container::XNameAccess> product(
        css::configuration::theDefaultProvider::get(context)->createInstanceWithArguments(
            "com.sun.star.configuration.ConfigurationAccess", css::uno::Sequence<css::uno::Any>(&path, 1)),
        UNO_QUERY_THROW);
    rtl::OUString version;
    product->getByName("ooSetupVersion") >>= version;
    return textFrom(version);
}

}  // namespace impress
