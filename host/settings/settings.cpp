#include "host/settings/settings.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <functional>
#include <map>

#include "host/settings/ini_text.h"
#include "host/settings/private_file.h"

namespace Drive::Host {
namespace {

struct Field {
    std::string section, key;
    std::function<std::string()> get;
    std::function<bool(const std::string&)> set;
};

Field TextField(const char* section, const char* key, std::string& text) {
    return {section, key, [&text] { return text; },
            [&text](const std::string& value) {
                text = value;
                return true;
            }};
}

template <typename Number>
Field NumberField(const char* section, const char* key, Number& number, Number least) {
    return {section, key, [&number] { return std::to_string(number); },
            [&number, least](const std::string& value) {
                Number parsed{};
                const auto end = value.data() + value.size();
                const auto result = std::from_chars(value.data(), end, parsed);
                const bool good = result.ec == std::errc() && result.ptr == end && parsed >= least;
                number = good ? parsed : number;
                return good;
            }};
}

std::vector<Field> Fields(Settings& s) {
    return {TextField("cloud", "url", s.cloudUrl),
            TextField("cloud", "user", s.user),
            TextField("cloud", "ca_file", s.caFile),
            TextField("folders", "root", s.root),
            TextField("folders", "staging", s.staging),
            NumberField("counts", "uploads", s.uploads, 1),
            NumberField("counts", "downloads", s.downloads, 1),
            NumberField("counts", "thumbnails", s.thumbnails, 1),
            NumberField<std::int64_t>("counts", "priority_downloads", s.priorityDownloads, 1),
            NumberField<std::int64_t>("limits", "priority_mebibytes", s.priorityMebibytes, 0),
            NumberField<std::int64_t>("limits", "upload_bytes_per_second", s.uploadRate, 0),
            NumberField<std::int64_t>("limits", "download_bytes_per_second", s.downloadRate, 0),
            NumberField("limits", "name_length", s.nameLength, 1),
            NumberField<std::int64_t>("space", "full_bytes", s.spaceFullBytes, 0),
            NumberField<std::int64_t>("space", "low_bytes", s.spaceLowBytes, 0),
            NumberField<std::int64_t>("space", "check_seconds", s.spaceCheckSeconds, 0),
            NumberField("space", "messages", s.spaceMessages, 0),
            TextField("mount", "nohydrate", s.noHydrate),
            TextField("log", "level", s.logLevel)};
}

}  // namespace

std::string SettingsPath(const std::string& stateFolder) { return stateFolder + "/settings.ini"; }

bool ReadSettings(const std::string& stateFolder, Settings& settings, std::string& error, bool& absent) {
    const std::string path = SettingsPath(stateFolder);
    absent = access(path.c_str(), F_OK) != 0 && errno == ENOENT;
    if (absent) {
        error = "no settings in " + stateFolder + "; run 'zelkor-drive init' for this state folder first";
        return false;
    }
    std::string culprit;
    const std::vector<Field> fields = Fields(settings);
    const int bad = ReadIni(path, [&](const std::string& section, const std::string& key, const std::string& value) {
        for (const Field& field : fields) {
            if (field.section == section && field.key == key) {
                culprit = "[" + section + "] " + key + " = " + value;
                return field.set(value);
            }
        }
        culprit = "[" + section + "] " + key;
        return false;
    });
    if (bad == 0) {
        return true;
    }
    error = path +
            (bad < 0           ? std::string(": cannot be read: ") + std::strerror(errno)
             : culprit.empty() ? ": line " + std::to_string(bad) + " is no 'key = value'"
                               : ": cannot use '" + culprit + "'") +
            "; mend the file or run 'zelkor-drive init' again";
    return false;
}

bool WriteSettings(const std::string& stateFolder, const Settings& settings, std::string& error) {
    Settings copy = settings;
    std::string text, section;
    for (const Field& field : Fields(copy)) {
        if (field.section != section) {
            section = field.section;
            text += "[" + section + "]\n";
        }
        text += IniEntry(field.key, field.get());
    }
    return WritePrivateFile(SettingsPath(stateFolder), text, error);
}

}  // namespace Drive::Host
