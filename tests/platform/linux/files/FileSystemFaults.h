#pragma once

/// What file systems refuse, imitated in this process: its calls of `fcntl`, `fchmod` and `futimens` ask here first.
struct FileSystemFaults {
    int leaseError = 0;  ///< what every request for a lease fails with: a network file system's refusal
    int ownerError = 0;  ///< what changing modes and times fails with: a disk that belongs to somebody else
};
extern FileSystemFaults fileSystemFaults;
