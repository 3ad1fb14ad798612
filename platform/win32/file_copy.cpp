#include <windows.h>

#include <atomic>
#include <exception>
#include <string>

#include "interfaces/platform/file_calls.h"
#include "platform/win32/long_path.h"
#include "platform/win32/open_file.h"

namespace Drive::Platform {

namespace {

constexpr int kNameAttempts = 100;
constexpr ::DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// A name in the folder of `path` that no other thread or process takes; `mark` tells what it holds.
std::wstring NameBeside(const std::wstring& path, const wchar_t* mark) {
    static std::atomic<unsigned> last{0};
    return path.substr(0, path.rfind(L'\\') + 1) + mark + std::to_wstring(::GetCurrentProcessId()) + L"-" +
           std::to_wstring(++last);
}

bool IsThere(const std::wstring& path) { return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

/// What the system knows of an existing file; false for a device and for what is not there.
bool Describe(const std::wstring& path, BY_HANDLE_FILE_INFORMATION& description) {
    OpenFile file;
    file.native = ::CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING,
                                FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    return file.native != kInvalidHandle && ::GetFileType(file.native) == FILE_TYPE_DISK &&
           ::GetFileInformationByHandle(file.native, &description) != 0;
}

bool IsSameFile(const BY_HANDLE_FILE_INFORMATION& one, const BY_HANDLE_FILE_INFORMATION& other) {
    return one.dwVolumeSerialNumber == other.dwVolumeSerialNumber && one.nFileIndexHigh == other.nFileIndexHigh &&
           one.nFileIndexLow == other.nFileIndexLow;
}

/// A folder, or a file that its owner protects: the calls that replace do not all refuse these.
bool MustStay(const BY_HANDLE_FILE_INFORMATION& target) {
    return (target.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) != 0;
}

/// A copy of the source beside the target; removed again unless it became the target.
class Neighbour {
public:
    Neighbour(const std::wstring& from, const std::wstring& target) {
        for (int attempt = 0; attempt < kNameAttempts && !made; ++attempt) {
            path = NameBeside(target, L".zelkor-copy-");
            made = ::CopyFileW(from.c_str(), path.c_str(), TRUE) != 0;
            // A name that is taken was left over by a process that had this number before.
            if (made || ::GetLastError() == ERROR_FILE_EXISTS) continue;
            ::DeleteFileW(path.c_str());
            break;
        }
        if (made) attributes = ::GetFileAttributesW(path.c_str());
        // A copy that is read-only like its source could be neither flushed nor removed.
        if (made) ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    ~Neighbour() {
        if (made && !renamed) ::DeleteFileW(path.c_str());
    }
    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;

    /// Only a name that points at content on disk may replace the earlier one.
    bool IsOnDisk() const {
        if (!made) return false;
        OpenFile file;
        file.native = ::CreateFileW(path.c_str(), GENERIC_WRITE, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr);
        return file.native != kInvalidHandle && ::FlushFileBuffers(file.native) != 0;
    }

    /// Takes the target's name; with `keepExisting` only when that name is free.
    bool Become(const std::wstring& target, bool keepExisting) {
        const ::DWORD replace = keepExisting ? 0 : MOVEFILE_REPLACE_EXISTING;
        renamed = ::MoveFileExW(path.c_str(), target.c_str(), replace | MOVEFILE_WRITE_THROUGH) != 0;
        if (!renamed && !keepExisting) renamed = TakeNameOfOpenFile(target);
        if (renamed && attributes != INVALID_FILE_ATTRIBUTES) ::SetFileAttributesW(target.c_str(), attributes);
        return renamed;
    }

private:
    /// A target that somebody holds open cannot be overwritten by a rename; where its holder allows that it is deleted,
    /// it can be moved aside and keeps its content for that holder.
    bool TakeNameOfOpenFile(const std::wstring& target) {
        const std::wstring aside = NameBeside(target, L".zelkor-old-");
        if (::ReplaceFileW(target.c_str(), path.c_str(), aside.c_str(), 0, nullptr, nullptr)) {
            ::DeleteFileW(aside.c_str());
            return true;
        }
        // Half done: the target has gone aside and the copy could not follow.
        if (!IsThere(target) && IsThere(aside)) ::MoveFileExW(aside.c_str(), target.c_str(), MOVEFILE_WRITE_THROUGH);
        return false;
    }

    std::wstring path;
    ::DWORD attributes = INVALID_FILE_ATTRIBUTES;
    bool made = false;
    bool renamed = false;
};

bool Copy(const std::wstring& from, const std::wstring& to, bool failIfExists) {
    if (from.empty() || to.empty()) return false;
    BY_HANDLE_FILE_INFORMATION source{}, target{};
    if (!Describe(from, source) || (source.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return false;
    if (Describe(to, target) && (IsSameFile(source, target) || MustStay(target))) return false;
    if (failIfExists && IsThere(to)) return false;

    Neighbour copy(from, to);
    return copy.IsOnDisk() && copy.Become(to, failIfExists);
}

}  // namespace

BOOL CopyFileW(const wchar_t* from, const wchar_t* to, BOOL failIfExists) {
    try {
        return Copy(LongPath(from), LongPath(to), failIfExists != 0) ? 1 : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

}  // namespace Drive::Platform
