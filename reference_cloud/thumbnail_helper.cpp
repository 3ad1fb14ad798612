// zelkor-cloud-thumbnail: reads a picture from standard input and writes a small JPEG to standard output. A program of
// its own, so that a hostile picture can harm nothing but this short-lived process.

#include <sys/resource.h>
#include <unistd.h>
#include <vips/vips.h>

#include <cstdio>
#include <vector>

namespace {

constexpr int kWidth = 320;
constexpr rlim_t kSeconds = 10;
constexpr rlim_t kMemory = 1024UL * 1024 * 1024;

void Limit(int what, rlim_t value) {
    const rlimit limit{value, value};
    setrlimit(static_cast<__rlimit_resource_t>(what), &limit);
}

std::vector<char> ReadAll() {
    std::vector<char> data;
    char buffer[65536];
    for (ssize_t count = 0; (count = ::read(STDIN_FILENO, buffer, sizeof buffer)) > 0;) {
        data.insert(data.end(), buffer, buffer + count);
    }
    return data;
}

}  // namespace

int main(int, char** arguments) {
    Limit(RLIMIT_CPU, kSeconds);
    Limit(RLIMIT_AS, kMemory);
    Limit(RLIMIT_FSIZE, 0);
    Limit(RLIMIT_CORE, 0);
    g_setenv("VIPS_BLOCK_UNTRUSTED", "1", TRUE);
    g_setenv("VIPS_CONCURRENCY", "1", TRUE);
    if (VIPS_INIT(arguments[0]) != 0) return 2;
    std::vector<char> picture = ReadAll();
    VipsImage* image = nullptr;
    if (vips_thumbnail_buffer(picture.data(), picture.size(), &image, kWidth, nullptr) != 0) return 3;
    void* jpeg = nullptr;
    size_t size = 0;
    const int failed = vips_jpegsave_buffer(image, &jpeg, &size, "Q", 80, "strip", TRUE, nullptr);
    g_object_unref(image);
    if (failed != 0) return 4;
    const bool written = std::fwrite(jpeg, 1, size, stdout) == size && std::fflush(stdout) == 0;
    return written ? 0 : 5;
}
