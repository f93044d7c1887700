#pragma once

/// Shows people that something is under way. Called on whichever thread starts or ends a call; must not throw.
class ISpinnerController {
public:
    virtual ~ISpinnerController() = default;
    virtual void startSpinning() = 0;
    virtual void stopSpinning() = 0;
};
