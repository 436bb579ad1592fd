#include "support/cli_run.h"
#include "support/temp_dir.h"

#include <cstdio>
#include <sys/wait.h>

namespace testsupport {

CliResult RunCli(const std::string& root, const std::string& args, const std::string& env,
                 const std::string& cwd) {
    std::string cmd = cwd.empty() ? "" : "cd '" + cwd + "' && ";
    cmd += env + " KETROVA_HOME='" + root + "home/' KETROVA_REGISTRY='" + root +
           "registry.reg' KETROVA_USER_SETTINGS='" + root +
           "settings.ini' '" OSTRAND_BIN_DIR "/ostrand-cli' " + args + " 2>'" + root + "cli.err'";
    CliResult r;
    FILE* p = ::popen(cmd.c_str(), "r");
    if (!p) {
        return r;
    }
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) {
        r.out.append(buf, n);
    }
    const int status = ::pclose(p);
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.err = ReadFile(root + "cli.err");
    std::remove((root + "cli.err").c_str());
    return r;
}

} // namespace testsupport
