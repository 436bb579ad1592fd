#pragma once
// Starting other programs. The caller never waits for them and is never told
// whether they started: the suite treats both as fire-and-forget.

#include <string>
#include <vector>

namespace platform {

// The command text split at blanks into program and arguments (no shell, no
// quoting; runs of blanks count as one). An empty text gives no words.
std::vector<std::string> SplitCommandLine(const std::string& commandText);

// Starts the program in its own session, detached from this process, so it
// outlives it and leaves no zombie. Failures are swallowed.
void StartDetached(const std::vector<std::string>& argv);

// StartDetached of SplitCommandLine(commandText).
void StartCommand(const std::string& commandText);

// Opens a document or folder with the desktop's default viewer (xdg-open).
// The viewer's output and any failure stay silent.
void OpenDocument(const std::string& path);

} // namespace platform
