#include "platform/linux/text/LibXmlServices.h"

#include "platform/linux/text/LibXmlParser.h"
#include "platform/linux/text/XMLDocument.h"

std::string LibXmlServices::document(const XMLElement& root, XMLEncoding encoding) const {
    return xmlDocument(root, encoding);
}

std::unique_ptr<XMLParser> LibXmlServices::makeParser(XMLParserDelegate& delegate) const {
    return std::make_unique<LibXmlParser>(delegate);
}
