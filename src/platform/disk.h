#pragma once
// Making a file's content durable before the only other copy goes away.

#include <string>

namespace platform {

// Forces the file's content and its folder entry to the disk. False (with
// `error` saying why) when the file cannot be opened or the flush fails.
bool FlushToDisk(const std::string& path, std::string& error);

} // namespace platform

namespace platform {

// Forces a folder's entries (a file made, renamed or removed in it) to the disk.
bool FlushFolder(const std::string& folder, std::string& error);

// Moves `from` over `to` in one step (both in the same folder or at least on
// the same volume) and flushes the folder, so that after a crash `to` holds
// either its old or its new content, never a mixture and never nothing.
bool ReplaceFile(const std::string& from, const std::string& to, std::string& error);

// Writes a byte-for-byte copy of `source` to `destination`, which must not
// exist yet, and forces it to the disk. A failed copy leaves no destination.
bool CopyFileDurably(const std::string& source, const std::string& destination, std::string& error);

// Makes `link` a second name of the file `target` (same volume only). False
// when the file system has no such links; the caller then copies.
bool HardLink(const std::string& target, const std::string& link, std::string& error);

} // namespace platform
