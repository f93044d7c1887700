#pragma once

#include <pthread.h>
#include <limits>

/// While it lives, no thread can be had: none gets the stack that it asks for.
class NoThreads {
public:
    NoThreads() {
        ::pthread_getattr_default_np(&before_);
        pthread_attr_t greedy = before_;
        ::pthread_attr_setstacksize(&greedy, std::numeric_limits<std::size_t>::max() / 4);
        ::pthread_setattr_default_np(&greedy);
    }
    ~NoThreads() { ::pthread_setattr_default_np(&before_); }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    pthread_attr_t before_{};
};
