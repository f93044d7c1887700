#include "commandline/Translation.h"

#include "runtime/Installation.h"

#include <libintl.h>

#include <clocale>

namespace {

constexpr const char* kDomain = "keynote-capture";

thread_local int englishUses = 0;

}  // namespace

void useLanguageOfUser() {
    // Numbers keep their point.
    std::setlocale(LC_CTYPE, "");
    std::setlocale(LC_MESSAGES, "");
    const auto folder = runtime::installed("../locale");
    if (!folder.empty()) ::bindtextdomain(kDomain, folder.c_str());
    // Texts are UTF-8 throughout, whatever the locale says.
    ::bind_textdomain_codeset(kDomain, "UTF-8");
}

void useEnglish() {
    std::setlocale(LC_MESSAGES, "C");
}

InEnglish::InEnglish() {
    ++englishUses;
}

InEnglish::~InEnglish() {
    --englishUses;
}

const char* translation(const char* english) {
    // For nothing there would be the catalogue's header.
    return englishUses > 0 || *english == '\0' ? english : ::dgettext(kDomain, english);
}

const char* translation(const char* one, const char* many, std::size_t count) {
    if (englishUses > 0) return count == 1 ? one : many;
    return ::dngettext(kDomain, one, many, count);
}
