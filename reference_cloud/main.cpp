#include <malloc.h>
#include <pthread.h>
#include <signal.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "reference_cloud/commands.h"
#include "reference_cloud/server.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr int kDrainSeconds = 30;
/// What is asked for beyond this goes back to the system when it is freed. A password's hash takes 16 MiB for a moment,
/// on a thread of its own; left to itself the allocator keeps them for each thread.
constexpr int kLargeAllocation = 1024 * 1024;

struct ServeOptions {
    ServerSettings settings;
    std::string listen;
    std::string certificate;
    std::string key;
};

std::string ReadFile(const std::string& path) {
    std::ifstream stream(path);
    std::ostringstream text;
    text << stream.rdbuf();
    if (!stream || text.str().empty()) throw std::runtime_error("the file " + path + " cannot be read");
    return text.str();
}

void SplitAddress(const std::string& listen, HttpSettings& http) {
    const std::size_t colon = listen.rfind(':');
    std::size_t used = 0;
    const std::string port = colon == std::string::npos ? "" : listen.substr(colon + 1);
    try {
        http.port = std::stoi(port, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    if (port.empty() || used != port.size() || http.port < 0 || http.port > 65535 || colon == 0) {
        throw std::runtime_error("--listen must be HOST:PORT, for instance 127.0.0.1:8080");
    }
    http.host = listen.substr(0, colon);
    if (http.host.size() > 2 && http.host.front() == '[') http.host = http.host.substr(1, http.host.size() - 2);
}

/// Blocked here and in every thread made from here; taken by sigwait alone.
sigset_t BlockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);  // a file that may not grow any more fails alone
    return signals;
}

void Serve(ServeOptions& options) {
    mallopt(M_MMAP_THRESHOLD, kLargeAllocation);
    HttpSettings& http = options.settings.http;
    SplitAddress(options.listen, http);
    if (options.certificate.empty() != options.key.empty()) {
        throw std::runtime_error("--tls-cert and --tls-key go together");
    }
    if (!options.certificate.empty()) {
        http.certificate = ReadFile(options.certificate);
        http.privateKey = ReadFile(options.key);
    }
    const sigset_t signals = BlockSignals();
    Server server(options.settings);
    server.Start();
    const std::string host = http.host.find(':') == std::string::npos ? http.host : "[" + http.host + "]";
    std::cout << "listening on " << (http.certificate.empty() ? "http://" : "https://") << host << ":" << server.Port()
              << std::endl;
    for (int number = 0; sigwait(&signals, &number) == 0 && number == SIGHUP;) server.Reload();
    server.Stop(kDrainSeconds);
}

void AddServeOptions(CLI::App& app, ServeOptions& options) {
    ServerSettings& settings = options.settings;
    CloudSettings& cloud = settings.cloud;
    HttpSettings& http = settings.http;
    app.add_option("--data", settings.dataFolder, "Folder of metadata, objects and keys; made when it is not there");
    AddObjectsOptions(app, settings.objects);
    app.add_option("--listen", options.listen, "HOST:PORT; port 0 picks a free one");
    app.add_option("--public-url", http.publicUrl, "Address shown to clients (default: what they asked for)");
    app.add_option("--tls-cert", options.certificate, "PEM file with the certificate and its chain");
    app.add_option("--tls-key", options.key, "PEM file with the certificate's key");
    app.add_option("--journal", settings.journal, "File that gets one JSON line a request");
    app.add_flag("--journal-bodies", settings.journalBodies,
                 "Write queries, headers and JSON bodies into the journal, too; secrets are replaced");
    app.add_option("--scenario", settings.scenario, "JSON file of misbehaviour on purpose; read again when it changes");
    app.add_option("--rate", http.rate, "Bytes per second of one answer (0: no limit)")->check(CLI::NonNegativeNumber);
    app.add_option("--total-rate", http.totalRate, "Bytes per second of all answers together (0: no limit)")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--upload-type", cloud.uploadType, "How files are sent")->check(CLI::IsMember({"client", "server"}));
    app.add_option("--server-pattern", cloud.serverPatterns, "File names that always go by the file proxy (*.log)");
    app.add_option("--slice-size", cloud.sliceSize, "Plain bytes an object")->check(CLI::Range(16, 1 << 30));
    app.add_option("--proxy-slice-size", cloud.proxySliceSize, "Bytes a slice of a resumable upload")
        ->check(CLI::Range(1, 1 << 30));
    app.add_option("--access-seconds", cloud.accessSeconds, "Life of an access token")->check(CLI::PositiveNumber);
    app.add_option("--refresh-seconds", cloud.refreshSeconds, "Life of a refresh token")->check(CLI::PositiveNumber);
    app.add_option("--address-seconds", cloud.addressSeconds, "Life of a signed address")->check(CLI::PositiveNumber);
    app.add_option("--trash-seconds", cloud.trashSeconds, "How long deleted files can be restored")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--idle-seconds", http.idleSeconds, "A connection on which nothing moves is closed");
    app.add_option("--connections", http.connections, "Most connections at once")->check(CLI::PositiveNumber);
    app.add_flag("--migrating", cloud.migrating, "Turn uploads away: the cloud is being moved");
}

}  // namespace

}  // namespace Drive::ReferenceCloud

int main(int count, char** arguments) {
    using namespace Drive::ReferenceCloud;
    CLI::App app("zelkor-cloud, the reference cloud", "zelkor-cloud");
    app.require_subcommand(0, 1);
    ServeOptions options;
    AddServeOptions(app, options);
    AddUserCommands(app);
    AddTokenCommands(app);
    AddImportCommand(app);
    try {
        app.parse(count, arguments);
        if (!app.get_subcommands().empty()) return 0;
        if (options.settings.dataFolder.empty() || options.listen.empty()) {
            throw CLI::RequiredError("--data and --listen, or a command,");
        }
        Serve(options);
        return 0;
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    } catch (const std::exception& error) {
        std::cerr << "zelkor-cloud: " << error.what() << std::endl;
        return 1;
    }
}
