#pragma once

#include "presenters/model/PresentationProgramModel.h"

#include <memory>

/// Shows a simulated program on the X display: the front document's window, and while a show plays a window of exactly
/// the screen's size in front of it. Errors of the display are ignored, and when it is lost there are no windows any
/// more. Everything on one thread.
class ProgramWindows {
public:
    /// Opens the display that the environment names; null when there is none.
    [[nodiscard]] static std::unique_ptr<ProgramWindows> open();
    virtual ~ProgramWindows() = default;

    /// The frame of the first screen.
    [[nodiscard]] virtual Rect screen() const = 0;
    /// Makes the windows show what the model shows.
    virtual void update(const PresentationProgramModel& model) = 0;
    /// Readable when `handleEvents` has something to do.
    [[nodiscard]] virtual int descriptor() const = 0;
    /// Redraws what was uncovered. False when the display is lost: nothing more will come.
    [[nodiscard]] virtual bool handleEvents() = 0;
};
