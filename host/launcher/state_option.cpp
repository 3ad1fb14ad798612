#include "host/launcher/state_option.h"

#include <charconv>
#include <cstdlib>

#include "interfaces/platform/native_path.h"

namespace Drive::Host {
namespace {

// The value of "--name value" or "--name=value"; the last one counts, as in the host module.
std::optional<std::string> ValueOf(int argc, const char* const* argv, const std::string& name) {
    std::optional<std::string> found;
    for (int index = 1; index < argc; ++index) {
        const std::string word = argv[index];
        if (word == "--") {
            break;
        }
        if (word == name && index + 1 < argc) {
            found = argv[index + 1];
        } else if (word.rfind(name + "=", 0) == 0) {
            found = word.substr(name.size() + 1);
        }
    }
    return found;
}

std::optional<int> CountOf(int argc, const char* const* argv, const std::string& name) {
    const std::optional<std::string> text = ValueOf(argc, argv, name);
    int count = 0;
    if (!text || std::from_chars(text->data(), text->data() + text->size(), count).ec != std::errc() || count < 1) {
        return std::nullopt;
    }
    return count;
}

}  // namespace

std::string DefaultStateFolder() {
    const char* named = std::getenv("ZELKOR_DRIVE_STATE");
    if (named != nullptr && *named != '\0') {
        return named;
    }
    const std::wstring data = Platform::LocalAppDataFolder();
    return data.empty() ? "" : Platform::NativePath(data) + "/zelkor-drive";
}

EarlyOptions ReadEarlyOptions(int argc, const char* const* argv) {
    EarlyOptions options;
    options.stateFolder = ValueOf(argc, argv, "--state").value_or(DefaultStateFolder());
    options.uploads = CountOf(argc, argv, "--uploads");
    options.downloads = CountOf(argc, argv, "--downloads");
    return options;
}

}  // namespace Drive::Host
