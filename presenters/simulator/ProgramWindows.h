#pragma once

#include "presenters/model/PresentationProgramModel.h"

#include <map>
#include <memory>
#include <string>

namespace simulator {

/// Shows a simulated program on the X display: the front document's window, and while a show plays a window of exactly
/// the screen's size in front of it. Errors of the display are ignored, and when it is lost there are no windows any
/// more. Everything on one thread.
class ProgramWindows {
public:
    /// Opens the display that the environment names; null when there is none.
    [[nodiscard]] static std::unique_ptr<ProgramWindows> open();
    ~ProgramWindows();
    ProgramWindows(const ProgramWindows&) = delete;
    ProgramWindows& operator=(const ProgramWindows&) = delete;

    /// The frame of the first screen.
    [[nodiscard]] Rect screen() const;
    /// Makes the windows show what the model shows.
    void update(const presenters::PresentationProgramModel& model);
    /// Readable when `handleEvents` has something to do.
    [[nodiscard]] int descriptor() const;
    /// Redraws what was uncovered. False when the display is lost: nothing more will come.
    [[nodiscard]] bool handleEvents();

private:
    struct Connection;
    class Window;

    explicit ProgramWindows(std::unique_ptr<Connection> connection);
    void draw() const;

    const std::unique_ptr<Connection> connection_;
    std::map<std::string, std::unique_ptr<Window>> windows_;  ///< by the document's ID; the show's by an empty one
};

}  // namespace simulator
