#pragma once

/// While it lives, messages are German: this process's own and those of processes that it starts.
class German {
public:
    German();
    ~German();
    German(const German&) = delete;
    German& operator=(const German&) = delete;
};
