#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace Drive::Testing {

/// A zelkor-cloud of its own, with a user "anna", in a folder that goes away with it.
class ReferenceCloud {
public:
    /// `uploadType` as the user's setting; empty for the cloud's own choice.
    explicit ReferenceCloud(const std::string& uploadType = "");
    ~ReferenceCloud();
    ReferenceCloud(const ReferenceCloud&) = delete;
    ReferenceCloud& operator=(const ReferenceCloud&) = delete;

    std::wstring Url() const { return url; }
    static std::wstring Password() { return L"correct horse"; }
    void RevokeTokens();

private:
    void Run(const std::string& arguments) const;
    void Start();

    std::filesystem::path folder;
    std::wstring url;
    pid_t process = -1;
};

}  // namespace Drive::Testing
