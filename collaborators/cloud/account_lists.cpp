#include <iterator>
#include <set>
#include <utility>

#include "collaborators/cloud/address.h"
#include "collaborators/cloud/cloud_file.h"
#include "collaborators/cloud/control_call.h"
#include "collaborators/cloud/guarded.h"
#include "collaborators/cloud/json_fields.h"
#include "collaborators/cloud/text.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"

namespace Drive::Cloud {

namespace {

constexpr int kPageSize = 1000;
/// More than any account holds: a cloud that goes on for ever must not take all memory.
constexpr std::size_t kMostFiles = 20'000'000;
/// One after the other without an entry; a change feed may have a few where all that changed is gone again.
constexpr int kMostEmptyPages = 1000;

struct Pages {
    std::vector<CloudFile> files;
    std::wstring firstChangeCursor;
    std::wstring lastChangeCursor;
    int emptyInARow = 0;
};

CallOutcome FailedInside() {
    CallOutcome outcome;
    outcome.message = "The list could not be fetched. Look into the log, then try again.";
    return outcome;
}

ControlAnswer AskForPage(const char* call, const char* route, const std::wstring& cursor) {
    ControlRequest request;
    request.call = call;
    request.route = std::string(route) + "?" + Wire::kCursor + "=" + PercentEncode(Narrow(cursor)) + "&" +
                    Wire::kLimit + "=" + std::to_string(kPageSize);
    return CallCloud(request);
}

/// False for a page that cannot be trusted whole: an entry passed over would look like a deleted file.
bool ReadPage(const char* call, const ControlAnswer& answer, Pages& pages, std::wstring& next) {
    JsonFields fields(answer.body, call);
    next = fields.Text(Wire::kNextCursor);
    const std::wstring change = fields.Text(Wire::kChangeCursor);
    if (pages.firstChangeCursor.empty()) pages.firstChangeCursor = change;
    if (!change.empty()) pages.lastChangeCursor = change;
    if (!fields.Has(Wire::kItems)) return false;
    const auto elements = fields.Elements(Wire::kItems);
    pages.emptyInARow = elements.empty() ? pages.emptyInARow + 1 : 0;
    for (const Json::Value* element : elements) {
        CloudFile file;
        if (!ReadCloudFile(*element, call, file)) return false;
        pages.files.push_back(std::move(file));
    }
    return fields.Sound() && pages.files.size() <= kMostFiles && pages.emptyInARow <= kMostEmptyPages;
}

CallOutcome FetchPages(const char* call, const char* route, std::wstring cursor, Pages& pages) {
    std::set<std::wstring> seen;
    for (;;) {
        ControlAnswer answer = AskForPage(call, route, cursor);
        if (!answer.ok) return OutcomeOf(answer);
        std::wstring next;
        if (!ReadPage(call, answer, pages, next) || !seen.insert(cursor).second) {
            RefuseAnswer(call, answer,
                         L"a page of the list is damaged or comes again and again, or the list has no end");
            return OutcomeOf(answer);
        }
        if (next.empty()) return OutcomeOf(answer);
        cursor = next;
    }
}

}  // namespace

CallOutcome DriveAccount::List(std::vector<CloudFile>& files, std::wstring& changeCursor) {
    files.clear();
    return Guarded("List", FailedInside(), [&] {
        Pages pages;
        const CallOutcome outcome = FetchPages("List", Wire::kFiles, L"", pages);
        if (!outcome.ok) return outcome;
        files = std::move(pages.files);
        // The state at the first page: what changed while the pages were fetched comes once more as a change.
        changeCursor = pages.firstChangeCursor;
        return outcome;
    });
}

CallOutcome DriveAccount::Changes(std::wstring& changeCursor, std::vector<CloudFile>& files) {
    files.clear();
    return Guarded("Changes", FailedInside(), [&] {
        Pages pages;
        const CallOutcome outcome = FetchPages("Changes", Wire::kChanges, changeCursor, pages);
        if (!outcome.ok) return outcome;
        files = std::move(pages.files);
        if (!pages.lastChangeCursor.empty()) changeCursor = pages.lastChangeCursor;
        return outcome;
    });
}

}  // namespace Drive::Cloud
