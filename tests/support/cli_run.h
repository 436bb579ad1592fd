#pragma once
// Runs the built ostrand-cli as a user would, but on a private program
// folder, registry store and per-user settings, so tests never touch the
// machine's own.

#include <string>

namespace testsupport {

struct CliResult {
    int exitCode = -1; // -1 when the program could not be run or did not exit
    std::string out;   // standard output
    std::string err;   // standard error
};

// `root` ends in "/"; the program folder is root + "home/", the registry
// store root + "registry.reg", the per-user settings root + "settings.ini".
// `args` are shell words, quoted by the caller. `env` adds assignments
// ("TMPDIR='/x' DISPLAY="); `cwd`, when given, is the working folder.
CliResult RunCli(const std::string& root, const std::string& args, const std::string& env = "",
                 const std::string& cwd = "");

} // namespace testsupport
