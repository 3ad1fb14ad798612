#include "tests/contract/cloud/reference_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace Drive::Testing {

namespace {

const std::string kProgram = ZELKOR_CLOUD_PROGRAM;

std::string FirstLine(int descriptor) {
    std::string line;
    for (char character; read(descriptor, &character, 1) == 1 && character != '\n';) line += character;
    return line;
}

}  // namespace

ReferenceCloud::ReferenceCloud(const std::string& uploadType) {
    std::string pattern = (std::filesystem::temp_directory_path() / "zelkor-cloud-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder for a cloud");
    folder = pattern;
    const std::wstring password = Password();
    std::ofstream(folder / "password") << std::string(password.begin(), password.end()) << "\n";
    const std::string type = uploadType.empty() ? "" : " --upload-type " + uploadType;
    Run("user add --data '" + (folder / "data").string() + "' anna --password-file '" + (folder / "password").string() +
        "'" + type);
    Start();
}

ReferenceCloud::~ReferenceCloud() {
    if (process > 0) {
        kill(process, SIGTERM);
        waitpid(process, nullptr, 0);
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void ReferenceCloud::Run(const std::string& arguments) const {
    const std::string command = "'" + kProgram + "' " + arguments + " > '" + (folder / "output").string() + "' 2>&1";
    if (std::system(command.c_str()) == 0) return;
    std::ifstream output(folder / "output");
    throw std::runtime_error(command + "\n" + std::string(std::istreambuf_iterator<char>(output), {}));
}

void ReferenceCloud::Start() {
    int pipe[2];
    if (pipe2(pipe, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    const std::string data = (folder / "data").string();
    const char* arguments[] = {kProgram.c_str(), "--data", data.c_str(), "--listen", "127.0.0.1:0", nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
    const int failed =
        posix_spawn(&process, kProgram.c_str(), &actions, nullptr, const_cast<char**>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipe[1]);
    const std::string line = failed == 0 ? FirstLine(pipe[0]) : "";
    close(pipe[0]);
    const std::string mark = "listening on ";
    if (line.rfind(mark, 0) != 0) throw std::runtime_error("the cloud did not start: " + line);
    url.assign(line.begin() + static_cast<long>(mark.size()), line.end());
    url = url.substr(0, url.find(L' '));
}

void ReferenceCloud::RevokeTokens() { Run("token revoke --data '" + (folder / "data").string() + "' anna"); }

}  // namespace Drive::Testing
