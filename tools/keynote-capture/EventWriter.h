#pragma once

#include "tools/keynote-capture/Event.h"

#include <memory>

namespace keynote_capture {

/// Writes delegate calls to standard output, one line each, as they come.
class EventWriter {
public:
    virtual ~EventWriter() = default;
    /// Writes the line through to the reader. False with `errno` set when it could not be written.
    [[nodiscard]] bool write(const host::DelegateCall& call) const;

private:
    /// With its line feed.
    [[nodiscard]] virtual std::string lineFor(const host::DelegateCall& call) const = 0;
};

/// An object for the call and a line feed: `event` first, by the delegate's name, then the operation's arguments by
/// label; `formerEvent` where the event had another name once, and last the format's `version`. What is absent is null.
[[nodiscard]] std::string outputLineOf(const host::DelegateCall& call);

/// JSON Lines: an object per call.
[[nodiscard]] std::unique_ptr<EventWriter> makeJSONEventWriter();
/// Aligned columns for people: local time, what happened, file, error. What is in the capture directory is shown by its
/// path there, so that lines about slides fit 80 columns.
[[nodiscard]] std::unique_ptr<EventWriter> makeTextEventWriter(std::filesystem::path captureDirectory);

/// A sentence that says what went wrong and is fit for a terminal. The error must not be null.
[[nodiscard]] std::string sentenceFor(const Error& error);

}  // namespace keynote_capture
