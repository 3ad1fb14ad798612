#include "host/get/outcome.h"

namespace Drive::Host {

const char* ResultWord(Result result) {
    switch (result) {
        case Result::FolderThere:
            return "folder";
        case Result::FolderMade:
            return "folder-made";
        case Result::Unchanged:
            return "unchanged";
        case Result::EmptyMade:
            return "empty-made";
        case Result::Adopted:
            return "adopted";
        case Result::Moved:
            return "moved";
        case Result::Downloaded:
            return "downloaded";
        case Result::Uploaded:
            return "uploaded";
        case Result::NotSent:
            return "not-sent";
        case Result::CloudNewer:
            return "cloud-newer";
        case Result::Conflict:
            return "conflict";
        case Result::KeptLocal:
            return "kept-local";
        case Result::Refused:
            return "refused";
        case Result::Cancelled:
            return "cancelled";
        case Result::Missing:
            return "missing";
        case Result::Differs:
            return "differs";
        case Result::Extra:
            return "extra";
        case Result::Failed:
            return "failed";
        case Result::Planned:
            return "planned";
        case Result::Pending:
            return "pending";
    }
    return "unknown";
}

bool WasThere(Result result) { return result == Result::Unchanged || result == Result::FolderThere; }

bool IsTrouble(Result result) {
    switch (result) {
        case Result::Conflict:
        case Result::KeptLocal:
        case Result::Refused:
        case Result::Missing:
        case Result::Differs:
        case Result::Extra:
        case Result::Failed:
            return true;
        default:
            return false;
    }
}

void Tally::Add(const Outcome& outcome) {
    ++entries;
    ++byResult[static_cast<int>(outcome.result)];
    troubles += IsTrouble(outcome.result) ? 1 : 0;
    pending += outcome.result == Result::Pending ? 1 : 0;
    bytesUploaded += outcome.result == Result::Uploaded ? outcome.bytes : 0;
    bytesDownloaded += outcome.result == Result::Downloaded ? outcome.bytes : 0;
}

}  // namespace Drive::Host
