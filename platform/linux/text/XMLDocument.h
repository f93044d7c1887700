#pragma once

#include "ports/XML.h"

/// The bytes of `XMLServices::document`. Written without libxml2, whose writer takes twice the time and memory. A
/// document of more than 2 GiB is refused with `std::length_error`. Any thread.
[[nodiscard]] std::string xmlDocument(const XMLElement& root, XMLEncoding encoding);
