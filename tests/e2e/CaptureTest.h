#pragma once

#include "tests/e2e/Host.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestHome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

/// The real processes on a bus and in a home of the test's own. The service is started by the test, not by the bus, so
/// that the test sees how it ends: after each test it must end on request with status 0, and without complaints of
/// sanitizers.
class CaptureTest : public testing::Test {
protected:
    void TearDown() override;

    void startService();
    /// The simulator on its standard input, launched; without windows unless told.
    [[nodiscard]] static std::unique_ptr<ChildProcess> launchProgram(bool windows = false);
    /// The same, with a deck open whose show starts once the host knows the program.
    [[nodiscard]] static std::unique_ptr<ChildProcess> present(Host& host, const std::string& deck = "Optics slides 5");

    /// A directory for captures, which does not exist yet.
    [[nodiscard]] std::filesystem::path captures(const std::string& name = "captures") const {
        return home_.path() / name;
    }
    /// The capture directory of a presentation in `captures()`.
    [[nodiscard]] std::filesystem::path directoryOf(const Host& host, std::size_t presentation = 1) const {
        return captures() / host.presentation(presentation).id;
    }
    /// Where the program writes a presentation's images.
    [[nodiscard]] std::filesystem::path exportsOf(const Host& host, std::size_t presentation = 1,
                                                  const std::string& recordingID = "recording") const;

    /// What the service has logged until now.
    [[nodiscard]] std::string log() const;
    [[nodiscard]] int countInLog(const std::string& text) const;
    /// Waits until the log holds the text so often.
    void waitForLog(const std::string& text, int count = 1) const;

    const TestHome home_;
    PrivateBus bus_;
    std::unique_ptr<ChildProcess> service_;
};

/// Names of the files in a directory; none without it.
[[nodiscard]] std::set<std::string> filesIn(const std::filesystem::path& directory);
/// Whether the file begins and ends as a JPEG image does.
[[nodiscard]] bool isWholeImage(const std::filesystem::path& file);
/// Whether somebody owns the service's name on the bus.
[[nodiscard]] bool isServiceThere();
/// The process that owns the service's name.
[[nodiscard]] std::optional<pid_t> serviceProcess();
