#include "startup/network_share.h"

namespace startup {

std::string NetworkShareWarning(const std::string& folder, const std::string& fileSystem) {
    return "The database folder " + folder + " is on a network file system (" + fileSystem +
           "). File locking is unreliable on network shares, and a database opened there from "
           "more than one computer at a time can be damaged. Keep the database on a local disk, "
           "or make sure only one person uses it at a time.";
}

std::string TakeNetworkShareWarning(RunSettings& settings, const std::string& folder,
                                    const platform::VolumeSpace& volume) {
    if (settings.NetworkWarningGiven || !volume.network) {
        return {};
    }
    settings.NetworkWarningGiven = true;
    return NetworkShareWarning(folder, volume.fileSystem);
}

std::string TakeNetworkShareWarning(RunSettings& settings, const std::string& folder) {
    if (folder.empty() || settings.NetworkWarningGiven) {
        return {};
    }
    return TakeNetworkShareWarning(settings, folder, platform::QueryVolume(folder));
}

} // namespace startup
