#include "platform/linux/JournalLog.h"
#include "tests/support/PrivateMounts.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace {

/// Runs in a process of its own, with a journal's socket of its own: answers 0 when the message arrives there.
[[noreturn]] void writeToAPrivateJournal() {
    enterPrivateMounts();
    mountTmpfs("/run", "1m");
    JournalLog without;
    std::filesystem::create_directories("/run/systemd/journal");
    const int journal = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address{AF_UNIX, "/run/systemd/journal/socket"};
    if (::bind(journal, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) std::_Exit(2);
    JournalLog with;
    if (without.isDefaultLevelEnabled() || !with.isDefaultLevelEnabled()) std::_Exit(3);

    with.write("com.veldrin.test", "", "two\nlines");
    std::array<char, 1000> buffer{};
    const auto length = ::recv(journal, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (length < 0) std::_Exit(4);
    const std::string entry(buffer.data(), static_cast<std::size_t>(length));
    // A field that holds a line feed carries its length, 64 bits with the lowest byte first.
    const std::string message{"MESSAGE\n\x09\0\0\0\0\0\0\0two\nlines\n", 26};
    for (const auto& field : {message, std::string("SUBSYSTEM=com.veldrin.test\n"), std::string("CATEGORY=\n"),
                              std::string("PRIORITY=5\n")}) {
        if (entry.find(field) != std::string::npos) continue;
        std::cerr << "missing " << field << " in " << entry;
        std::_Exit(5);
    }
    std::_Exit(0);
}

TEST(JournalLogTest, WritesTheFieldsWhenThereIsAJournal) {
    EXPECT_EXIT(writeToAPrivateJournal(), testing::ExitedWithCode(0), "");
}

}  // namespace
