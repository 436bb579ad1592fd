#pragma once
// The warning about a database folder on a network file system. SQLite's
// locking is unreliable on such shares, and several people opening the file
// there at once is how databases get damaged; the user hears of it once per
// run, from whichever window or command meets the folder first.

#include "platform/volume.h"
#include "startup/run_settings.h"

#include <string>

namespace startup {

// The warning for `folder`, which lies on the network file system `fileSystem`.
std::string NetworkShareWarning(const std::string& folder, const std::string& fileSystem);

// The warning when `volume` (the volume of `folder`) is a network file system
// and this run has not warned yet; "" otherwise. Marks the run as warned.
std::string TakeNetworkShareWarning(RunSettings& settings, const std::string& folder,
                                    const platform::VolumeSpace& volume);

// The same, asking the system about `folder`'s volume ("" gives "").
std::string TakeNetworkShareWarning(RunSettings& settings, const std::string& folder);

} // namespace startup
