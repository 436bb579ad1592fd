#include "platform/volume.h"

#include <filesystem>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <system_error>

namespace fs = std::filesystem;

namespace platform {

namespace {

fs::path NearestExisting(fs::path p) {
    std::error_code ec;
    p = fs::absolute(p, ec);
    while (!p.empty()) {
        if (fs::exists(p, ec)) {
            return fs::canonical(p, ec);
        }
        if (p == p.parent_path()) {
            break;
        }
        p = p.parent_path();
    }
    return {};
}

// Climbs while the parent lies on the same device: the last folder before the
// device changes (or "/") is the mount point.
std::string MountPointOf(fs::path p) {
    struct stat st {};
    if (::stat(p.c_str(), &st) != 0) {
        return {};
    }
    if (!fs::is_directory(p)) {
        p = p.parent_path();
    }
    const dev_t dev = st.st_dev;
    while (p != p.root_path()) {
        struct stat up {};
        fs::path parent = p.parent_path();
        if (::stat(parent.c_str(), &up) != 0 || up.st_dev != dev) {
            break;
        }
        p = parent;
    }
    std::string text = p.string();
    if (text.empty() || text.back() != '/') {
        text.push_back('/');
    }
    return text;
}

} // namespace

VolumeSpace QueryVolume(const std::string& path) {
    VolumeSpace v;
    fs::path p = NearestExisting(path.empty() ? fs::path(".") : fs::path(path));
    if (p.empty()) {
        return v;
    }
    struct statvfs sv {};
    if (::statvfs(p.c_str(), &sv) != 0) {
        return v;
    }
    v.ok = true;
    v.freeBytes = static_cast<uint64_t>(sv.f_bavail) * sv.f_frsize;
    v.totalBytes = static_cast<uint64_t>(sv.f_blocks) * sv.f_frsize;
    v.mountPoint = MountPointOf(p);
    return v;
}

} // namespace platform
