#pragma once

#include <memory>

/// A registration: an observer or a timer. Whoever holds its handle keeps it; dropping the handle ends it. When the
/// handle is dropped on the thread that delivers the callbacks, none comes afterwards. Dropped elsewhere, one that is
/// under way may still finish, so what it uses must outlive it.
class Registration {
public:
    virtual ~Registration() = default;
};

/// Owns a registration; null holds none.
using Handle = std::unique_ptr<Registration>;
