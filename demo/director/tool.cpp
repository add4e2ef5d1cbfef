#include "director/tool.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>

extern char** environ; // NOLINT(readability-redundant-declaration): POSIX leaves the declaration to the program

namespace tarn::demo {
namespace {

// The tool is built beside this program.
std::string toolPath() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).parent_path() / "tarnctl";
}

std::string readAll(int descriptor) {
    std::string all;
    std::array<char, 4096> chunk;
    ssize_t count = 0;
    while ((count = read(descriptor, chunk.data(), chunk.size())) > 0 || (count < 0 && errno == EINTR)) {
        all.append(chunk.data(), static_cast<size_t>(count > 0 ? count : 0));
    }
    return all;
}

// `program` is a path, or a name to look for where programs are.
ToolResult run(std::string program, std::vector<std::string> words) {
    std::vector<char*> vector = {program.data()};
    for (std::string& word : words) {
        vector.push_back(word.data());
    }
    vector.push_back(nullptr);
    std::array<int, 2> pipeEnds = {};
    if (pipe2(pipeEnds.data(), O_CLOEXEC) != 0) {
        return {-1, "no pipe"};
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDERR_FILENO);
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, program.c_str(), &actions, nullptr, vector.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeEnds[1]);
    ToolResult result = {-1, spawned == 0 ? readAll(pipeEnds[0]) : "cannot run " + program};
    close(pipeEnds[0]);
    int status = 0;
    if (spawned == 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
    }
    if (!result.output.empty() && result.output.back() == '\n') {
        result.output.pop_back();
    }
    return result;
}

} // namespace

ToolResult runTarnctl(const std::vector<std::string>& arguments) {
    return run(toolPath(), arguments);
}

ToolResult runOpenssl(const std::vector<std::string>& arguments) {
    return run("openssl", arguments);
}

} // namespace tarn::demo
