#include "host/module/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <functional>
#include <optional>

#include "host/commands/cancel_command.h"
#include "host/commands/doctor_command.h"
#include "host/commands/evict_command.h"
#include "host/commands/init_command.h"
#include "host/commands/mount_command.h"
#include "host/commands/status_command.h"
#include "host/commands/sync_command.h"
#include "host/commands/verify_command.h"
#include "host/get/get_command.h"
#include "host/launcher/state_option.h"
#include "host/module/below_root.h"
#include "host/module/exit_codes.h"
#include "host/module/session.h"
#include "host/module/stop_signal.h"
#include "host/put/put_command.h"
#include "host/thumbnails/thumbnails_command.h"

namespace Drive::Host {
namespace {

constexpr const char* kExitCodes =
    "Exit codes: 0 all well; 1 some files did not go through; 2 wrong command line or settings; 3 the cloud cannot be\n"
    "reached or refuses the login; 4 the state is locked, damaged or of a later version; 5 time ran out; 6 stopped by\n"
    "a signal; 7 this machine (disk full, no permission). After 5 and 6 the next call goes on where this one ended.";

struct CommandLine {
    std::string stateFolder = DefaultStateFolder();
    InitOptions init;
    GetOptions get;
    PutOptions put;
    std::string cancelPath;
    std::vector<std::string> evictPaths;
    MountOptions mount;
    bool quickVerify = false;
    WatchOptions watch;
    int statusFiles = 20;
    int counted = 0;  // counts that the launcher has read already
    std::function<int()> chosen;
};

void AddReport(CLI::App& command, ReportOptions& report) {
    command.add_flag("--json", report.json, "one JSON object a line");
    command.add_flag("-v,--verbose", report.verbose, "also tell what was fine already");
    command.add_flag("-q,--quiet", report.quiet, "only troubles and the summary");
}

void AddInit(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("init", "sign in and make a state folder for one root");
    InitOptions& init = line.init;
    command->add_option("--url", init.url, "the cloud, such as https://host:port")->required();
    command->add_option("--user", init.user, "who signs in")->required();
    command->add_option("--password-file", init.passwordFile, "file with the password; default: standard input");
    command->add_option("--root", init.root, "the folder that shows the files")->required();
    command->add_option("--staging", init.staging, "where downloads stand until proved; default: beside the root");
    command->add_option("--ca-file", init.caFile, "certificates to trust instead of the system's");
    command->add_option("--downloads", init.downloads, "downloads at once")->check(CLI::Range(1, 64));
    command->add_option("--uploads", init.uploads, "uploads at once")->check(CLI::Range(1, 64));
    command->add_flag("--json", init.json, "tell the outcome as a JSON object");
    command->callback([&line] {
        line.chosen = [&line] {
            line.init.stateFolder = line.stateFolder;
            return RunInit(line.init);
        };
    });
}

// How a command wants its session.
struct SessionWish {
    EngineRoot root = EngineRoot::Visible;
    bool readOnly = false;  // nothing is written, no task is touched
    bool json = false;
};

int OpenFor(Session& session, const SessionWish& wish, std::string& why) {
    return wish.readOnly ? session.OpenReadOnly(why) : session.Open(wish.root, why);
}

// Opens a session for a command, and closes it whatever comes.
int WithSession(const CommandLine& line, const SessionWish& wish, const std::function<void(Settings&)>& adjust,
                const std::function<int(Session&)>& command) {
    Session session(line.stateFolder);
    std::string why;
    bool absent = false;
    int code = ReadSettings(session.stateFolder, session.settings, why, absent) ? kExitOk : kExitUsage;
    if (code == kExitOk) {
        adjust(session.settings);
        code = OpenFor(session, wish, why);
    }
    if (code != kExitOk) {
        ReportError(wish.json, code, why);
    } else {
        try {
            code = command(session);
        } catch (const std::exception& failure) {
            code = ReportError(wish.json, kExitLocal, failure.what());
        }
    }
    session.Close();
    return code;
}

// Only asks, when that is all that is to be done: whoever watches does so twice a minute, and opening the rows of a
// large drive takes a second of the processor. What does not go well here is told by the whole command.
std::optional<int> AskForChanges(const CommandLine& line, const GetOptions& options) {
    Session session(line.stateFolder);
    std::string why;
    bool absent = false;
    if (!ReadSettings(session.stateFolder, session.settings, why, absent) || session.OpenToAsk(why) != kExitOk) {
        return std::nullopt;
    }
    try {
        return GetCommand(session, options).RunIfNothingNew();
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

int RunGet(const CommandLine& line) {
    GetOptions options = line.get;
    options.report.dryRun = options.dryRun;
    if (options.ifChanged) {
        if (const std::optional<int> answered = AskForChanges(line, options)) {
            return *answered;
        }
    }
    return WithSession(
        line, {EngineRoot::Staging, options.dryRun, options.report.json},
        [&](Settings& settings) { settings.downloadRate = options.limitRate.value_or(settings.downloadRate); },
        [&](Session& session) {
            for (std::string& path : options.only) {
                path = BelowRoot(session.settings.root, path);
            }
            if (std::find(options.only.begin(), options.only.end(), "") != options.only.end()) {
                options.only.clear();  // the root itself: everything
            }
            return GetCommand(session, options).Run();
        });
}

int RunPut(const CommandLine& line) {
    PutOptions options = line.put;
    options.report.dryRun = options.dryRun;
    return WithSession(
        line, {EngineRoot::Visible, options.dryRun, options.report.json},
        [&](Settings& settings) { settings.uploadRate = options.limitRate.value_or(settings.uploadRate); },
        [&](Session& session) { return PutCommand(session, options).Run(); });
}

void AddPut(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("put", "send what the root holds and the cloud does not");
    PutOptions& put = line.put;
    command->add_option("--timeout", put.timeoutSeconds, "give up after so many seconds")->check(CLI::PositiveNumber);
    command->add_option("--limit-rate", put.limitRate, "bytes a second, such as 500K or 2M")
        ->transform(CLI::AsSizeValue(false));
    command->add_option("--uploads", line.counted, "uploads at once")->check(CLI::Range(1, 64));
    command->add_option("--attempts", put.attempts, "tries of one file")->check(CLI::Range(1, 1000));
    command->add_flag("--overwrite", put.overwrite, "where both sides differ, send what is here");
    command->add_flag("-n,--dry-run", put.dryRun, "only tell what would be done");
    AddReport(*command, put.report);
    command->callback([&line] { line.chosen = [&line] { return RunPut(line); }; });
}

void AddGet(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("get", "bring everything that the cloud holds into the root");
    GetOptions& get = line.get;
    command->add_option("--timeout", get.timeoutSeconds, "give up after so many seconds")->check(CLI::PositiveNumber);
    command->add_option("--limit-rate", get.limitRate, "bytes a second, such as 500K or 2M")
        ->transform(CLI::AsSizeValue(false));
    command->add_option("--downloads", line.counted, "downloads at once")->check(CLI::Range(1, 64));
    command->add_option("--attempts", get.attempts, "tries of one file")->check(CLI::Range(1, 1000));
    command->add_option("PATH", get.only, "only these, below the root, with all that is in them");
    command->add_flag("--if-changed", get.ifChanged,
                      "do nothing when the cloud tells no change since the last run that went well");
    command->add_flag("-n,--dry-run", get.dryRun, "only tell what would be done");
    command->add_flag("--verify", get.verify, "read every file that is here already and check it");
    command->add_flag("--overwrite", get.overwrite, "move what was changed here aside instead of keeping it in place");
    AddReport(*command, get.report);
    command->callback([&line] { line.chosen = [&line] { return RunGet(line); }; });
}

void AddFetch(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("fetch", "bring the named files or folders at once, ahead of all others");
    GetOptions& get = line.get;
    command->add_option("PATH", get.only, "path below the root")->required();
    command->add_option("--timeout", get.timeoutSeconds, "give up after so many seconds")->check(CLI::PositiveNumber);
    command->add_option("--attempts", get.attempts, "tries of one file")->check(CLI::Range(1, 1000));
    command->add_flag("--overwrite", get.overwrite, "move what was changed here aside instead of keeping it in place");
    AddReport(*command, get.report);
    command->callback([&line] {
        line.chosen = [&line] {
            line.get.onDemand = true;
            return RunGet(line);
        };
    });
}

void AddThumbnails(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand(
        "thumbnails",
        "bring the small pictures that the cloud offers into the folder 'thumbnails' of the state folder");
    GetOptions& get = line.get;
    command->add_option("PATH", get.only, "only these, below the root, with all that is in them");
    command->add_option("--timeout", get.timeoutSeconds, "give up after so many seconds")->check(CLI::PositiveNumber);
    AddReport(*command, get.report);
    command->callback([&line] {
        line.chosen = [&line] {
            return WithSession(
                line, {EngineRoot::Visible, false, line.get.report.json}, [](Settings&) {},
                [&line](Session& session) {
                    ThumbnailsOptions options{line.get.timeoutSeconds, line.get.stopSeconds, {}, line.get.report};
                    for (const std::string& path : line.get.only) {
                        options.only.push_back(BelowRoot(session.settings.root, path));
                    }
                    if (std::find(options.only.begin(), options.only.end(), "") != options.only.end()) {
                        options.only.clear();  // the root itself: everything
                    }
                    return RunThumbnails(session, options);
                });
        };
    });
}

void AddVerify(CLI::App& app, CommandLine& line) {
    CLI::App* command =
        app.add_subcommand("verify", "read every file here, bring down what the cloud holds, and compare the two");
    command->add_flag("--quick", line.quickVerify, "believe what the cloud tells of its side; read only what is here");
    AddReport(*command, line.get.report);
    command->callback([&line] {
        line.chosen = [&line] {
            return WithSession(
                line, {EngineRoot::Visible, false, line.get.report.json}, [](Settings&) {},
                [&line](Session& session) {
                    return RunVerify(session, {line.quickVerify, line.get.report});
                });
        };
    });
}

void AddCancel(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("cancel", "end the transfer of one file in the command that runs here");
    command->add_option("PATH", line.cancelPath, "path below the root")->required();
    command->add_flag("--json", line.get.report.json, "tell it as a JSON object");
    command->callback([&line] {
        line.chosen = [&line] { return RunCancel(line.stateFolder, line.cancelPath, line.get.report.json); };
    });
}

void AddMount(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand(
        "mount", "show the cloud as a file system: content comes when it is read, and what is changed there goes up");
    MountOptions& mount = line.mount;
    command->add_option("DIR", mount.mountPoint, "an empty folder")->required();
    command->add_option("--every", mount.everySeconds, "seconds between two questions to the cloud")
        ->check(CLI::Range(1, 86400));
    command->add_option("--attempts", mount.attempts, "tries of one file before its readers get an error")
        ->check(CLI::Range(1, 1000));
    command->add_option("--downloads", line.counted, "downloads at once")->check(CLI::Range(1, 64));
    command->add_option("--uploads", line.counted, "uploads at once")->check(CLI::Range(1, 64));
    AddReport(*command, mount.report);
    command->callback([&line] {
        line.chosen = [&line] {
            return WithSession(
                line, {EngineRoot::Staging, false, line.mount.report.json}, [](Settings&) {},
                [&line](Session& session) { return RunMount(session, line.mount); });
        };
    });
}

void AddEvict(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand(
        "evict", "make placeholders again: the content leaves the root when the cloud has exactly it");
    command->add_option("PATH", line.evictPaths, "path below the root; a folder with all that is in it")->required();
    command->add_flag("--json", line.get.report.json, "tell it as a JSON object");
    command->callback([&line] {
        line.chosen = [&line] { return RunEvict(line.stateFolder, line.evictPaths, line.get.report.json); };
    });
}

void AddDoctor(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("doctor", "look for what is wrong and tell what to do");
    command->add_flag("--json", line.get.report.json, "tell it as a JSON object");
    command->callback([&line] { line.chosen = [&line] { return RunDoctor(line.stateFolder, line.get.report.json); }; });
}

std::vector<std::string> ReportWords(const ReportOptions& report) {
    std::vector<std::string> words;
    for (const auto& [set, word] : {std::pair(report.json, "--json"), std::pair(report.verbose, "--verbose"),
                                    std::pair(report.quiet, "--quiet")}) {
        if (set) {
            words.push_back(word);
        }
    }
    return words;
}

void AddSync(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("sync", "put, then get: what is new on either side comes to the other");
    command->add_option("--timeout", line.get.timeoutSeconds, "give each way so many seconds")
        ->check(CLI::PositiveNumber);
    command->add_flag("--overwrite", line.get.overwrite, "where both sides differ, what is here wins");
    command->add_flag("-n,--dry-run", line.get.dryRun, "only tell what would be done");
    AddReport(*command, line.get.report);
    command->callback([&line] {
        line.chosen = [&line] {
            std::vector<std::string> words = ReportWords(line.get.report);
            if (line.get.timeoutSeconds > 0) {
                words.push_back("--timeout=" + std::to_string(line.get.timeoutSeconds));
            }
            for (const auto& [set, word] :
                 {std::pair(line.get.overwrite, "--overwrite"), std::pair(line.get.dryRun, "--dry-run")}) {
                if (set) {
                    words.push_back(word);
                }
            }
            return RunSync(line.stateFolder, words);
        };
    });
}

void AddWatch(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("watch", "keep both sides in step until a signal comes");
    command->add_option("--every", line.watch.everySeconds, "seconds between two questions to the cloud")
        ->check(CLI::Range(1, 86400));
    command->add_option("--full", line.watch.fullSeconds, "seconds between two looks at everything")
        ->check(CLI::Range(1, 86400 * 7));
    AddReport(*command, line.get.report);
    command->callback([&line] {
        line.chosen = [&line] {
            Settings settings;
            std::string why;
            bool absent = false;
            if (!ReadSettings(line.stateFolder, settings, why, absent)) {
                return ReportError(line.get.report.json, kExitUsage, why);
            }
            line.watch.stateFolder = line.stateFolder;
            line.watch.root = settings.root;
            line.watch.words = ReportWords(line.get.report);
            return RunWatch(line.watch);
        };
    });
}

void AddStatus(CLI::App& app, CommandLine& line) {
    CLI::App* command = app.add_subcommand("status", "what waits, what runs and what is wrong");
    command->add_flag("--json", line.get.report.json, "tell it as a JSON object");
    command->add_option("--files", line.statusFiles, "most files to name that wait, run or failed")
        ->check(CLI::NonNegativeNumber);
    command->callback([&line] {
        line.chosen = [&line] { return RunStatus(line.stateFolder, line.statusFiles, line.get.report.json); };
    });
}

}  // namespace

int RunCommandLine(int argc, char** argv) {
    CLI::App app("Moves files between a folder and a cloud drive.", "zelkor-drive");
    CommandLine line;
    app.add_option("--state", line.stateFolder, "the state folder (settings, login, database, logs)")
        ->envname("ZELKOR_DRIVE_STATE");
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(kExitCodes);
    AddInit(app, line);
    AddGet(app, line);
    AddPut(app, line);
    AddFetch(app, line);
    AddThumbnails(app, line);
    AddVerify(app, line);
    AddCancel(app, line);
    AddSync(app, line);
    AddWatch(app, line);
    AddMount(app, line);
    AddEvict(app, line);
    AddDoctor(app, line);
    AddStatus(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& refused) {
        return app.exit(refused) == 0 ? kExitOk : kExitUsage;
    }
    if (line.stateFolder.empty()) {
        std::fprintf(stderr, "zelkor-drive: no state folder; give --state or set ZELKOR_DRIVE_STATE\n");
        return kExitUsage;
    }
    WatchStopSignals();
    return line.chosen();
}

}  // namespace Drive::Host
