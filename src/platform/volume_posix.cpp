#include "platform/volume.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
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

// Network file systems by the names the kernel gives them in mountinfo,
// each between blanks.
constexpr std::string_view kNetworkFileSystems =
    " nfs nfs4 cifs smb3 smbfs ncpfs afs coda ceph glusterfs lustre gpfs 9p drvfs vboxsf vmhgfs"
    " davfs fuse.sshfs fuse.rclone fuse.s3fs fuse.davfs2 fuse.glusterfs fuse.vmhgfs-fuse"
    " fuse.gvfsd-fuse ";

std::string ReadMountInfo() {
    std::ifstream in("/proc/self/mountinfo");
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace

std::string MountInfoFileSystem(std::string_view mountInfo, unsigned devMajor, unsigned devMinor) {
    // "36 35 98:0 /mnt1 /mnt2 rw master:1 - ext3 /dev/root rw": the device is
    // the third field, the type follows the lone "-" after the optional fields.
    // A device mounted twice (a bind mount) has the same type on every line.
    const std::string device = std::to_string(devMajor) + ":" + std::to_string(devMinor);
    std::istringstream lines{std::string(mountInfo)};
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        std::string id, parent, dev, word;
        if (!(fields >> id >> parent >> dev) || dev != device) {
            continue;
        }
        while (fields >> word && word != "-") {
        }
        if (word == "-" && fields >> word) {
            return word;
        }
    }
    return {};
}

bool IsNetworkFileSystem(std::string_view fileSystem) {
    return !fileSystem.empty() && fileSystem.find(' ') == std::string_view::npos &&
           kNetworkFileSystems.find(" " + std::string(fileSystem) + " ") != std::string_view::npos;
}

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
    struct stat st {};
    if (::stat(p.c_str(), &st) == 0) {
        v.fileSystem = MountInfoFileSystem(ReadMountInfo(), major(st.st_dev), minor(st.st_dev));
        v.network = IsNetworkFileSystem(v.fileSystem);
    }
    return v;
}

} // namespace platform
