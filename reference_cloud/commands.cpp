#include "reference_cloud/commands.h"

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "reference_cloud/accounts.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/crypto.h"
#include "reference_cloud/data_lock.h"
#include "reference_cloud/import.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr std::int64_t kDefaultQuota = 1024LL * 1024 * 1024 * 1024;

struct UserOptions {
    std::string data;
    std::string name;
    std::string passwordFile;
    std::string password;
    std::int64_t quota = 0;
    std::string uploadType;
};

std::string FirstLine(std::istream& stream, const std::string& from) {
    std::string line;
    if (!std::getline(stream, line) || line.empty()) throw std::runtime_error("no password in " + from);
    if (line.back() == '\r') line.pop_back();
    return line;
}

std::string ReadPassword(const UserOptions& options) {
    if (options.password == "-") return FirstLine(std::cin, "standard input");
    if (!options.password.empty()) {
        throw std::runtime_error("a password on the command line can be seen by others; use --password - or a file");
    }
    std::ifstream stream(options.passwordFile);
    if (!stream) throw std::runtime_error("the password file " + options.passwordFile + " cannot be read");
    return FirstLine(stream, options.passwordFile);
}

User NeedUser(Cloud& cloud, const std::string& name) {
    const auto user = cloud.Read([&](Rows& rows) { return rows.UserByName(name); });
    if (!user) throw std::runtime_error("there is no user named \"" + name + "\"; see \"zelkor-cloud user list\"");
    return *user;
}

/// As it stands in the row: empty for the server's own setting.
std::string UploadTypeOf(const UserOptions& options) {
    return options.uploadType == "default" ? std::string() : options.uploadType;
}

void AddUser(const UserOptions& options) {
    const auto cloud = OpenCloudRows(options.data);
    Accounts accounts(*cloud);
    User user = accounts.Create(options.name, ReadPassword(options), options.quota > 0 ? options.quota : kDefaultQuota);
    user.uploadType = UploadTypeOf(options);
    cloud->metadata->Change([&](Rows& rows) { rows.PutUser(user); });
    std::cout << "user " << user.name << " added, id " << user.id << std::endl;
}

void ListUsers(const UserOptions& options) {
    const auto cloud = OpenCloudRows(options.data);
    for (const User& user : cloud->Read([](Rows& rows) { return rows.Users(); })) {
        std::cout << user.name << "\t" << user.id << "\t" << user.used << " of " << user.quota << " bytes\t"
                  << (user.uploadType.empty() ? "-" : user.uploadType) << std::endl;
    }
}

void SetUser(const UserOptions& options) {
    const auto cloud = OpenCloudRows(options.data);
    const std::string id = NeedUser(*cloud, options.name).id;
    const bool password = !options.password.empty() || !options.passwordFile.empty();
    const std::string hash = password ? HashPassword(ReadPassword(options)) : std::string();
    cloud->metadata->Change([&](Rows& rows) {
        User user = *rows.UserById(id);
        if (options.quota > 0) user.quota = options.quota;
        if (!options.uploadType.empty()) user.uploadType = UploadTypeOf(options);
        if (password) {
            user.passwordHash = hash;
            rows.DropUserTokens(id);
        }
        rows.PutUser(user);
    });
    std::cout << "user " << options.name << " changed" << std::endl;
}

void RevokeTokens(const UserOptions& options) {
    const auto cloud = OpenCloudRows(options.data);
    const User user = NeedUser(*cloud, options.name);
    cloud->metadata->Change([&](Rows& rows) { rows.DropUserTokens(user.id); });
    std::cout << "all tokens of " << user.name << " revoked" << std::endl;
}

void RemoveUser(const UserOptions& options) {
    const auto cloud = OpenCloudRows(options.data);
    const User user = NeedUser(*cloud, options.name);
    cloud->metadata->Change([&](Rows& rows) { rows.DropUser(user.id); });
    std::cout << "user " << user.name << " removed; the next start of the server clears the stored files away"
              << std::endl;
}

void AddPasswordOptions(CLI::App& command, UserOptions& options, bool needed) {
    auto* group = command.add_option_group("password");
    group->add_option("--password-file", options.passwordFile, "File whose first line is the password");
    group->add_option("--password", options.password, "- reads the password from standard input");
    group->require_option(needed ? 1 : 0, 1);
}

void Import(const std::string& data, const ObjectsChoice& objects, const std::string& name, const std::string& source) {
    const auto cloud = OpenCloud(data, objects);
    const User user = NeedUser(*cloud, name);
    const DataLock lock(data, DataLock::Kind::storeShared);
    const ImportSummary summary = ImportTree(*cloud, user, source);
    for (const auto& path : summary.passedOver) std::cout << "passed over: " << path << "\n";
    for (const auto& path : summary.failed) std::cout << "failed: " << path << "\n";
    std::cout << "imported " << summary.files << " files (" << summary.bytes << " bytes) and " << summary.folders
              << " folders, " << summary.unchanged << " files unchanged, " << summary.passedOver.size()
              << " passed over, " << summary.failed.size() << " failed" << std::endl;
    if (!summary.failed.empty()) throw std::runtime_error("not everything could be imported");
}

}  // namespace

void AddUserCommands(CLI::App& app) {
    auto options = std::make_shared<UserOptions>();
    auto* user = app.add_subcommand("user", "Users of the cloud")->require_subcommand(1);
    const auto command = [&](const char* name, const char* text, bool named, void (*run)(const UserOptions&)) {
        auto* sub = user->add_subcommand(name, text);
        sub->add_option("--data", options->data, "Data folder of the cloud")->required();
        if (named) sub->add_option("NAME", options->name, "The user's name")->required();
        sub->callback([options, run] { run(*options); });
        return sub;
    };
    const auto settings = [&](CLI::App* sub, bool needed) {
        AddPasswordOptions(*sub, *options, needed);
        sub->add_option("--quota", options->quota, "Space in bytes (default 1 TiB)")->check(CLI::PositiveNumber);
        sub->add_option("--upload-type", options->uploadType, "How this user's files are sent")
            ->check(CLI::IsMember({"client", "server", "default"}));
    };
    settings(command("add", "Add a user", true, AddUser), true);
    settings(command("set", "Change a user; a new password ends every sign-in", true, SetUser), false);
    command("remove", "Remove a user and all files of theirs", true, RemoveUser);
    command("list", "List the users: name, id, space, way of sending", false, ListUsers);
}

void AddTokenCommands(CLI::App& app) {
    auto options = std::make_shared<UserOptions>();
    auto* token = app.add_subcommand("token", "Tokens of signed-in clients")->require_subcommand(1);
    auto* revoke = token->add_subcommand("revoke", "End every sign-in of a user");
    revoke->add_option("--data", options->data, "Data folder of the cloud")->required();
    revoke->add_option("NAME", options->name, "The user's name")->required();
    revoke->callback([options] { RevokeTokens(*options); });
}

void AddObjectsOptions(CLI::App& app, ObjectsChoice& objects) {
    app.add_option("--objects", objects.url,
                   "Keep the objects in an S3-compatible store: s3+http://HOST:PORT/BUCKET/PREFIX or s3+https://...");
    app.add_option("--objects-keys", objects.keyFile, "File with the store's access key and secret key, a line each");
    app.add_option("--objects-region", objects.region, "The store's region (default us-east-1)");
}

void AddImportCommand(CLI::App& app) {
    auto data = std::make_shared<std::string>(), name = std::make_shared<std::string>(),
         source = std::make_shared<std::string>();
    auto objects = std::make_shared<ObjectsChoice>();
    auto* import = app.add_subcommand("import", "Put a folder's tree into the cloud as plain files");
    import->add_option("--data", *data, "Data folder of the cloud")->required();
    import->add_option("--user", *name, "Whose files they become")->required();
    import->add_option("SOURCE_DIR", *source, "The folder whose content is imported")
        ->required()
        ->check(CLI::ExistingDirectory);
    AddObjectsOptions(*import, *objects);
    import->callback([=] { Import(*data, *objects, *name, *source);
});
}  // namespace Drive::ReferenceCloud

}  // namespace Drive::ReferenceCloud
