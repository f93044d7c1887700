#pragma once

#include <memory>

/// Owns a registration: an observer or a timer. Dropping the handle ends the registration. When it is dropped on the
/// thread that delivers the callbacks, none comes afterwards; dropped elsewhere, one already under way may still
/// finish.
class Registration {
public:
    virtual ~Registration() = default;
};

using Handle = std::unique_ptr<Registration>;
