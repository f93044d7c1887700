/// Wires the Linux platform's XML into the tool, to look at the office's settings before they are changed.

#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "platform/linux/text/LinuxXMLServices.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/office/OfficeSettings.h"
#include "tools/keynote-capture/office/Offices.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

namespace keynote_capture {
namespace {

namespace fs = std::filesystem;

/// One more than settings may have, so that too many are noticed.
constexpr std::size_t kMostBytes = (64UL << 20U) + 1;

ExitStatus refused(const std::string& sentence) {
    complain(sentence);
    return kOperationFailed;
}

bool writeAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto written = write(file, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) return false;
        if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return fsync(file) == 0;
}

/// All or nothing: whoever is cut off leaves the old settings. False with `errno` set.
bool replace(const fs::path& file, std::string_view content) {
    struct stat before {};
    const bool isNew = stat(file.c_str(), &before) != 0;
    const auto hidden = file.parent_path() / ".registrymodifications.xcu.keynote-capture";
    static_cast<void>(unlink(hidden.c_str()));
    const int descriptor = open(hidden.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0) return false;
    const bool isWritten = writeAll(descriptor, content) && (isNew || fchmod(descriptor, before.st_mode) == 0);
    const bool isInPlace = close(descriptor) == 0 && isWritten && rename(hidden.c_str(), file.c_str()) == 0;
    const int problem = errno;
    if (!isInPlace) static_cast<void>(unlink(hidden.c_str()));
    errno = problem;
    return isInPlace;
}

/// The file and the folders that it alone was in.
bool removeWithFolders(const fs::path& file) {
    if (unlink(file.c_str()) != 0) return false;
    auto folder = file.parent_path();
    for (int depth = 0; depth < 3 && rmdir(folder.c_str()) == 0; ++depth) folder = folder.parent_path();
    return true;
}

ExitStatus write(const fs::path& file, std::string_view content) {
    std::error_code failure;
    fs::create_directories(file.parent_path(), failure);
    const bool isDone = content == emptyOfficeSettings() ? removeWithFolders(file) : replace(file, content);
    if (isDone) return kDone;
    return refused(translated("{} cannot be written ({}).", printableText(file.native()), std::strerror(errno)));
}

ExitStatus setUp(const fs::path& file, std::string_view settings, const std::string& connection) {
    if (const auto present = connectionIn(settings)) {
        if (present == connection) {
            complain(translated("LibreOffice is set up already."));
            return kDone;
        }
        return refused(
            translated("LibreOffice is set to listen elsewhere (ooSetupConnectionURL is \"{}\"); remove that first.",
                       printableText(*present)));
    }
    const auto changed = withConnection(settings, connection);
    if (!areOfficeSettings(changed, text::LinuxXMLServices()))
        return refused(translated("The changed settings would be unsound."));
    const auto status = write(file, changed);
    if (status == kDone) complain(translated("From its next start on, every LibreOffice of yours can be recorded."));
    return status;
}

ExitStatus undo(const fs::path& file, std::string_view settings, const std::string& connection) {
    const auto changed = withoutConnection(settings, connection);
    if (!changed) {
        complain(translated("LibreOffice was not set up."));
        return kDone;
    }
    const auto status = write(file, *changed);
    if (status == kDone) complain(translated("LibreOffice is as it was."));
    return status;
}

}  // namespace

ExitStatus setUpOffice(const SetupOptions& options) {
    const auto profile = options.profile.empty() ? officeProfile() : options.profile;
    if (const auto office = runningOffice(profile)) {
        return refused(translated(
            "LibreOffice runs (process {}) and would overwrite its settings when it ends; quit it first.", *office));
    }
    std::error_code failure;
    auto file = settingsIn(profile);
    // Settings that are kept elsewhere stay there.
    if (const auto target = fs::canonical(file, failure); !failure) file = target;
    const bool isNew = !fs::exists(file, failure);
    const auto settings = isNew ? emptyOfficeSettings() : contentOf(file, kMostBytes);
    if (!settings || !areOfficeSettings(*settings, text::LinuxXMLServices())) {
        return refused(translated("{} cannot be read, or holds no settings of LibreOffice; nothing was changed.",
                                  printableText(file.native())));
    }
    const auto connection = connectionOnPipe(options.pipe);
    return options.undo ? undo(file, *settings, connection) : setUp(file, *settings, connection);
}

}  // namespace keynote_capture
