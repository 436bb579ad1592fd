#pragma once
// Free space of the volume that holds a path, for the low-space warning.

#include <cstdint>
#include <string>

namespace platform {

struct VolumeSpace {
    bool ok = false;         // false when the query failed; the numbers are then 0
    uint64_t freeBytes = 0;  // bytes free to the calling user
    uint64_t totalBytes = 0; // size of the volume
    std::string mountPoint;  // where the volume is mounted, ending in "/"
};

// Queries the volume holding `path`. A path that does not exist (yet) is
// answered for its nearest existing parent folder.
VolumeSpace QueryVolume(const std::string& path);

} // namespace platform
