#pragma once
// Making a file's content durable before the only other copy goes away.

#include <string>

namespace platform {

// Forces the file's content and its folder entry to the disk. False (with
// `error` saying why) when the file cannot be opened or the flush fails.
bool FlushToDisk(const std::string& path, std::string& error);

} // namespace platform
