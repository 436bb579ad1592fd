#pragma once
// Starting other programs. The caller never waits for them and is never told
// whether they started: the suite treats both as fire-and-forget.

#include <chrono>
#include <functional>
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

// Opens a document or folder with the desktop's default viewer (xdg-open),
// without showing its output. True when the opener took the document: it
// ended successfully, or it still runs after `patience` (without a desktop it
// runs the viewer itself and waits for it). False when no opener could be
// started or it gave up, so the caller can show the document another way.
// `whileWaiting`, when given, is called every few hundredths of a second.
bool OpenDocument(const std::string& path,
                  std::chrono::milliseconds patience = std::chrono::seconds(3),
                  const std::function<void()>& whileWaiting = {});

} // namespace platform
