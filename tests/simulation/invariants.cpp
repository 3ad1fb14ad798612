#include "tests/simulation/invariants.h"

#include <algorithm>
#include <cstdlib>

#include "tests/support/journal.h"

namespace Drive::Simulation {

using Testing::Narrow;

namespace {

const char* const kPoolNames[] = {"download", "priority", "upload", "thumbnail"};
constexpr int kMostPasses = 5;
constexpr int kFullMessages = 4;  // the limit of three, and one more by its strict comparison
constexpr std::int64_t kOneDay = 86400;
constexpr std::int64_t kLongestStop = 150000;  // milliseconds
constexpr std::int64_t kLongestClosedFeed = 15000;

std::string Number(std::int64_t value) { return std::to_string(value); }

int Holders(const Observed& seen, int pool) {
    return static_cast<int>(std::count_if(seen.jobs.begin(), seen.jobs.end(), [&](const auto& job) {
        return job.second.pool == pool && job.second.slotsBack == 0;
    }));
}

// Slots that are taken and of which no job and no known loss tells.
int Unexplained(const Observed& seen, int pool) {
    const Slots& slots = seen.slots[static_cast<std::size_t>(pool)];
    return slots.made - slots.moved - slots.left - Holders(seen, pool) - slots.refused - slots.keyless;
}

std::string NameOf(const Job& job) { return Narrow(job.fileId) + " on " + job.thread; }

bool Faulted(const Observed& seen, const std::wstring& fileId) {
    return seen.databaseFailed || seen.faulted.count(fileId) > 0;
}

bool HasTransfer(const Observed& seen, const std::wstring& fileId, bool upload) {
    return std::any_of(seen.jobs.begin(), seen.jobs.end(), [&](const auto& job) {
        const Job& each = job.second;
        return each.fileId == fileId && each.pool != ThumbnailPool && (each.pool == UploadPool) == upload &&
               !each.thread.empty();
    });
}

bool MayBecome(int from, int to) {
    if (from == to) return true;
    switch (to) {
        case 0:
            return from == 12 || from == 23;
        case 1:
            return from == 12 || from == 22;
        case 11:
            return from == 12;
        case 12:
            return from != 22;
        case 13:
            return from == 12;
        case 22:
            return from != 12;
        case 23:
            return from == 22;
        default:
            return false;
    }
}

}  // namespace

std::string Inv01(const Observed& seen) {
    for (int pool = 0; pool < kPools; ++pool) {
        const Slots& slots = seen.slots[static_cast<std::size_t>(pool)];
        if (slots.left < 0 || slots.left > slots.made - slots.moved) {
            return std::string(kPoolNames[pool]) + ": " + Number(slots.left) + " of " + Number(slots.made) + " left";
        }
    }
    return {};
}

std::string Inv02(const Observed& seen) {
    for (int pool = 0; pool < kPools; ++pool) {
        const int unexplained = Unexplained(seen, pool);
        if (unexplained < 0 || unexplained > 1) {
            return std::string(kPoolNames[pool]) + ": " + Number(unexplained) + " more taken than held";
        }
    }
    return {};
}

std::string Inv03(const Observed& seen) {
    const Job& job = *seen.ended;
    const int expected = job.keyless ? 0 : 1;
    if (job.slotsBack == expected) return {};
    return NameOf(job) + " gave back " + Number(job.slotsBack) + " slots";
}

std::string Inv04(const Observed& seen) {
    std::set<std::pair<std::wstring, bool>> taken;
    for (const auto& [number, job] : seen.jobs) {
        if (!job.transfers || Faulted(seen, job.fileId)) continue;
        if (!taken.insert({job.fileId, job.pool == UploadPool}).second) return NameOf(job) + " is a second one";
    }
    return {};
}

std::string Inv05(const Observed& seen) {
    for (const auto& [place, file] : seen.files) {
        const auto old = seen.before.find(place);
        if (old == seen.before.end() || Faulted(seen, file.fileId) || Faulted(seen, old->second.fileId)) continue;
        if (MayBecome(old->second.fileStatus, file.fileStatus)) continue;
        return place + " went from " + Number(old->second.fileStatus) + " to " + Number(file.fileStatus);
    }
    return {};
}

std::string Inv06(const Observed& seen) {
    for (const auto& [place, file] : seen.files) {
        if (file.fileStatus != 12 && file.fileStatus != 22) continue;
        if (seen.stuck.count(place) > 0 || seen.refusedAsRunning.count(place) > 0) continue;
        if (Faulted(seen, file.fileId) || HasTransfer(seen, file.fileId, file.fileStatus == 12)) continue;
        return place + " is at " + Number(file.fileStatus) + " and no worker has it";
    }
    return {};
}

std::string Inv07(const Observed& seen) {
    for (const auto& [place, file] : seen.before) {
        if (seen.files.count(place) == 0 && seen.removed.count(place) == 0) return "the row of " + place + " is gone";
    }
    return {};
}

std::string Inv08(const Observed& seen) { return seen.recordAhead; }

std::string Inv09(const Observed& seen) { return seen.notInCloud; }

std::string Inv10(const Observed& seen) {
    const Job& job = *seen.ended;
    if (job.pool == UploadPool) return {};
    const int ends = job.finished + job.failed;
    const int expected = job.everCounted ? 1 : 0;
    if (ends != expected) return NameOf(job) + " told of " + Number(ends) + " ends";
    if (job.closed > job.failed) return NameOf(job) + " closed what had not failed";
    return {};
}

std::string Inv11(const Observed& seen) {
    for (const auto& [number, job] : seen.jobs) {
        if (job.gap) return NameOf(job) + " delivered a block out of order";
        if (job.afterEnd > 0) return NameOf(job) + " told more after its end";
    }
    return {};
}

std::string Inv12(const Observed& seen) {
    for (const auto& [number, job] : seen.jobs) {
        if (!job.wrongContent.empty()) return NameOf(job) + ": " + job.wrongContent;
    }
    return {};
}

std::string Inv13(const Observed& seen) {
    if (seen.downloadFeedStuck > kLongestClosedFeed) return "the download feed stays closed";
    if (seen.uploadFeedStuck > kLongestClosedFeed) return "the upload feed stays closed";
    return {};
}

std::string Inv14(const Observed& seen) {
    int downloads = 0;
    int uploads = 0;
    for (const auto& [number, job] : seen.jobs) (job.pool == UploadPool ? uploads : downloads) += job.counted;
    if (downloads != seen.downloadCount) return "downloads: " + Number(seen.downloadCount) + " counted";
    if (uploads != seen.uploadCount) return "uploads: " + Number(seen.uploadCount) + " counted";
    return {};
}

std::string Inv15(const Observed& seen) {
    const Job& job = *seen.ended;
    return job.counted == 0 ? std::string() : NameOf(job) + " is still counted";
}

std::string Inv16(const Observed& seen) {
    if (!seen.stopReturned) return "stop has not returned";
    if (seen.stopTook > kLongestStop) return "stop took " + Number(seen.stopTook) + " ms";
    if (seen.outlivedStop > 0) return Number(seen.outlivedStop) + " downloads still ran when it had";
    if (seen.downloadCount > 0) return "downloads still run";
    return {};
}

std::string Inv17(const Observed& seen) {
    return seen.begunAfterStop == 0 ? std::string() : Number(seen.begunAfterStop) + " transfers began after stop";
}

std::string Inv18(const Observed& seen) {
    return seen.threadsLeft == 0 ? std::string() : Number(seen.threadsLeft) + " threads are left";
}

std::string Inv19(const Observed& seen) {
    const Job& job = *seen.ended;
    if (job.handles == 0 || (job.vanished && job.handles == 1)) return {};
    return NameOf(job) + " leaves " + Number(job.handles) + " files open";
}

std::string Inv20(const Observed& seen) {
    for (int pool = 0; pool < kPools; ++pool) {
        if (Unexplained(seen, pool) != 0) return std::string(kPoolNames[pool]) + " lacks a slot";
    }
    return {};
}

std::string Inv21(const Observed& seen) {
    for (const auto& [number, job] : seen.jobs) {
        if (job.passes > kMostPasses && !job.keyless && !Faulted(seen, job.fileId)) {
            return NameOf(job) + " made " + Number(job.passes) + " passes";
        }
    }
    return {};
}

std::string Inv22(const Observed& seen) {
    for (const auto& [number, job] : seen.jobs) {
        if (job.piecesAfterCancel > 1 && !Faulted(seen, job.fileId)) return NameOf(job) + " went on after its cancel";
    }
    return {};
}

std::string Inv23(const Observed& seen) {
    if (seen.fullMessages > kFullMessages) return Number(seen.fullMessages) + " messages of a full space";
    if (seen.willBeFullDistance < kOneDay) return "two messages of a nearly full space within a day";
    return {};
}

std::string Inv24(const Observed& seen) { return seen.notDone.empty() ? std::string() : seen.notDone.front(); }

std::string Inv25(const Observed& seen) {
    const Job& job = *seen.ended;
    if (job.pool != UploadPool || Faulted(seen, job.fileId)) return {};
    if (job.told == (job.tookHome ? 1 : 0)) return {};
    return NameOf(job) + " told " + Number(job.told) + " times, and its row is " + (job.tookHome ? "" : "not ") +
           "home";
}

std::string Inv26(const Observed& seen) { return seen.proxyTrouble; }

std::string Inv27(const Observed& seen) {
    const Job& job = *seen.ended;
    if (!job.byProxy || Faulted(seen, job.fileId) || job.tookHome == job.proxyHas) return {};
    return NameOf(job) +
           (job.proxyHas ? " took no notice of the proxy's answer" : " took for done what the proxy lacks");
}

std::string Inv28(const Observed& seen) {
    const Job& job = *seen.ended;
    if (!job.proxyGone || !job.recordLeft || Faulted(seen, job.fileId)) return {};
    return NameOf(job) + " keeps a position of an upload that is gone";
}

const std::vector<Invariant>& Invariants() {
    static const std::vector<Invariant> all = {
        {1, Moment::Step, "No kind of worker ever has fewer than no slots left, or more than it was made with.", Inv01},
        {2, Moment::Step,
         "Every slot that is taken is held by one job that has not ended, or lies in its dispatcher's hand, one at "
         "most, or was lost on a road that is known to lose it.",
         Inv02},
        {3, Moment::JobEnded, "A job that ends has given its slot back exactly once.", Inv03},
        {4, Moment::Step, "At most one worker a file and direction transfers at any time.", Inv04},
        {5, Moment::Rows, "A file's status only takes the steps of its life: claimed, done, failed, put back.", Inv05},
        {6, Moment::Rows,
         "A file at 12 or 22 has a worker, or was left there by an earlier life or by a claim that was refused.",
         Inv06},
        {7, Moment::Rows, "No file row is lost, but that of an upload whose local file is gone.", Inv07},
        {8, Moment::Rows,
         "A position record is never ahead of the data: what a download's says is on the disk, what an upload's says "
         "is in the store and confirmed, or held by the file proxy.",
         Inv08},
        {9, Moment::Rows, "When a row says that its upload is done, the cloud holds the content of the row's hash.",
         Inv09},
        {10, Moment::JobEnded,
         "A download that began tells the host of exactly one end, one that did not begin tells nothing, and only a "
         "failed one is closed.",
         Inv10},
        {11, Moment::Step, "Blocks reach the host in order, without a gap, and nothing follows the end.", Inv11},
        {12, Moment::Step, "A file that is told to be complete holds every byte that the cloud has sent.", Inv12},
        {13, Moment::Step, "A feed does not stay closed once its queue is empty and no worker is left to open it.",
         Inv13},
        {14, Moment::Step, "The counts of running transfers are those of the jobs that run.", Inv14},
        {15, Moment::JobEnded, "A job that has ended is not counted any more.", Inv15},
        {16, Moment::Stopped, "Stop returns, and no download runs when it has.", Inv16},
        {17, Moment::Stopped, "No transfer begins after stop has returned.", Inv17},
        {18, Moment::Stopped, "After stop no thread is left but dispatchers that nobody wakes.", Inv18},
        {19, Moment::JobEnded,
         "A job has closed every file that it opened, but an upload whose file vanished between two objects.", Inv19},
        {20, Moment::Rest, "At rest all slots are back but those lost on a road that is known to lose them.", Inv20},
        {21, Moment::Step, "A download makes at most five passes.", Inv21},
        {22, Moment::Step, "A download whose row says cancel or stop delivers at most one more block.", Inv22},
        {23, Moment::Step,
         "The host hears of a full space once more often than the limit at most, and of a nearly full one once a day.",
         Inv23},
        {24, Moment::CalmLifeOver,
         "When nothing fails any more, every file comes home: its row at 1, the same bytes on both sides.", Inv24},
        {25, Moment::JobEnded,
         "An upload tells the host exactly once that it is done when it has brought its row home, and never otherwise.",
         Inv25},
        {26, Moment::Step, "No slice that the file proxy gets begins beyond what it holds.", Inv26},
        {27, Moment::JobEnded,
         "An upload through the file proxy counts as done exactly when the proxy has said that it has the whole "
         "content.",
         Inv27},
        {28, Moment::JobEnded, "Once a resume URL is gone, the task keeps no position of it.", Inv28},
    };
    return all;
}

const Invariant* FirstBroken(Moment moment, const Observed& observed, std::string& detail) {
    for (const Invariant& invariant : Invariants()) {
        if (invariant.moment != moment) continue;
        detail = invariant.check(observed);
        if (!detail.empty()) return &invariant;
    }
    return nullptr;
}

}  // namespace Drive::Simulation
