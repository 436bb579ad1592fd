#pragma once
// The volume that holds a path: its free space for the low-space warning,
// and what kind of file system it is, because SQLite's locking cannot be
// trusted on a network share.

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

struct VolumeSpace {
    bool ok = false;         // false when the query failed; the numbers are then 0
    uint64_t freeBytes = 0;  // bytes free to the calling user
    uint64_t totalBytes = 0; // size of the volume
    std::string mountPoint;  // where the volume is mounted, ending in "/"
    std::string fileSystem;  // the kernel's name for its type ("ext4", "nfs4"); "" when unknown
    bool network = false;    // the file system reaches another machine (IsNetworkFileSystem)
};

// Queries the volume holding `path`. A path that does not exist (yet) is
// answered for its nearest existing parent folder.
VolumeSpace QueryVolume(const std::string& path);

// The type of the file system mounted from device devMajor:devMinor, read from the
// text of /proc/self/mountinfo; "" when no line names that device.
std::string MountInfoFileSystem(std::string_view mountInfo, unsigned devMajor, unsigned devMinor);

// True for the file systems that reach another machine (NFS, SMB/CIFS, the
// shared folders of virtual machines, FUSE network mounts), where locks are
// advisory at best and two computers can write the same file at once.
bool IsNetworkFileSystem(std::string_view fileSystem);

} // namespace platform
