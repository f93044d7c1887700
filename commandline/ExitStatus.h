#pragma once

/// What the tools tell the shell.
enum ExitStatus : int {
    kDone = 0,
    kOperationFailed = 1,
    kWrongUsage = 2,
    kNoService = 3,
};
