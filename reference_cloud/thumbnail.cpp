#include "reference_cloud/thumbnail.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <semaphore>

#include "reference_cloud/content_source.h"
#include "reference_cloud/refusal.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr std::int64_t kLargestPicture = 64 * 1024 * 1024;
constexpr std::size_t kLargestThumbnail = 1024 * 1024;
constexpr auto kDeadline = std::chrono::seconds(15);

constexpr auto kQueue = std::chrono::seconds(20);  // for one of the helpers

/// Helpers at the same time.
std::counting_semaphore<> g_helpers(2);

struct Pipe {
    int read = -1;
    int write = -1;
    bool Open() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) return false;
        read = ends[0], write = ends[1];
        return true;
    }
    static void Close(int& end) {
        if (end >= 0) ::close(end);
        end = -1;
    }
    ~Pipe() { Close(read), Close(write); }
};

std::string HelperPath() {
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : (self.parent_path() / "zelkor-cloud-thumbnail").string();
}

pid_t Start(const std::string& path, const Pipe& in, const Pipe& out) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.read, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out.write, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    char* arguments[] = {const_cast<char*>(path.c_str()), nullptr};
    char environment[] = "PATH=/usr/bin:/bin";
    char* variables[] = {environment, nullptr};
    pid_t child = -1;
    if (::posix_spawn(&child, path.c_str(), &actions, nullptr, arguments, variables) != 0) child = -1;
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

/// Feeds the picture and collects the answer until both are through or the time is up.
bool Exchange(Pipe& in, Pipe& out, PiecesSource& source, std::int64_t size, std::string& answer) {
    ::fcntl(in.write, F_SETFL, O_NONBLOCK);
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    std::int64_t sent = 0;
    char buffer[65536];
    while (std::chrono::steady_clock::now() < end) {
        if (sent == size) Pipe::Close(in.write);
        pollfd waits[2] = {{out.read, POLLIN, 0}, {in.write, POLLOUT, 0}};
        if (::poll(waits, 2, 200) <= 0) continue;
        if (waits[1].revents != 0 && in.write >= 0) {
            const std::size_t count = source.Read(sent, buffer, sizeof buffer);
            const ssize_t written = count == 0 ? -1 : ::write(in.write, buffer, count);
            if (written > 0) sent += written;
            if (written < 0 && errno != EAGAIN) Pipe::Close(in.write);
        }
        if (waits[0].revents == 0) continue;
        const ssize_t count = ::read(out.read, buffer, sizeof buffer);
        if (count <= 0) return true;
        answer.append(buffer, static_cast<std::size_t>(count));
        if (answer.size() > kLargestThumbnail) return false;
    }
    return false;
}

}  // namespace

std::string MakeThumbnail(ObjectStore& store, const std::vector<StoredObject>& pieces) {
    std::int64_t size = 0;
    for (const StoredObject& piece : pieces) size += piece.length;
    if (size == 0 || size > kLargestPicture) return {};
    PiecesSource source(store, pieces);
    Pipe in, out;
    if (!in.Open() || !out.Open()) return {};
    if (!g_helpers.try_acquire_for(kQueue)) {
        Refusal busy(503, "", "too many thumbnails are being made; try again in a moment");
        busy.retryAfter = 5;
        throw busy;
    }
    std::string answer;
    bool whole = false;
    int status = -1;
    const pid_t child = Start(HelperPath(), in, out);
    Pipe::Close(in.read), Pipe::Close(out.write);
    if (child > 0) {
        try {
            whole = Exchange(in, out, source, size, answer);
        } catch (const std::exception&) {
            whole = false;
        }
        if (!whole) ::kill(child, SIGKILL);
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    }
    g_helpers.release();
    return whole && status == 0 ? answer : std::string();
}

}  // namespace Drive::ReferenceCloud
