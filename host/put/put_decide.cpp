#include "host/put/put_decide.h"

namespace Drive::Host {
namespace {

constexpr const char* kBothDiffer =
    "the cloud holds another content, and neither is known to follow the other; 'put --overwrite' sends this one";

std::optional<std::string> RefusalOf(const LocalEntry& entry, const PutLimits& limits) {
    if (static_cast<std::int64_t>(entry.name.size()) > limits.nameLength) {
        return "its name has " + std::to_string(entry.name.size()) + " characters; at most " +
               std::to_string(limits.nameLength) + " are sent. Rename it or set name_length";
    }
    if (entry.facts.kind == FileKind::File && entry.facts.size > limits.largestFile) {
        return "it is larger than 50 GiB, the most that is sent";
    }
    return std::nullopt;
}

PutDecision DecideFolder(const PutFacts& facts) {
    if (!facts.cloud) {
        return {PutStep::CreateFolder, {}, ""};
    }
    return facts.cloud->file.isFolder ? PutDecision{PutStep::FolderThere, {}, ""}
                                      : PutDecision{PutStep::Conflict, {}, "the cloud has a file of this name"};
}

// A new content for a file that the cloud has.
PutStep HowToReplace(const LocalEntry& entry, const PutFacts& facts) {
    if (entry.facts.size == 0) {
        return PutStep::ReplaceEmpty;
    }
    const bool same =
        facts.sending && facts.sending->size == entry.facts.size && facts.sending->changed == entry.facts.changed;
    return facts.waiting && same ? PutStep::Resume : PutStep::SendVersion;
}

PutDecision DecideNew(const LocalEntry& entry, const PutFacts& facts) {
    if (entry.facts.size == 0) {
        return {PutStep::CreateEmpty, {}, ""};
    }
    const bool same =
        facts.sending && facts.sending->size == entry.facts.size && facts.sending->changed == entry.facts.changed;
    return {facts.waiting && same ? PutStep::Resume : PutStep::SendNew, {}, ""};
}

PutDecision DecideKnown(const LocalEntry& entry, const PutFacts& facts, const PutLimits& limits) {
    const CloudEntry& cloud = *facts.cloud;
    const bool ours = facts.proved && facts.proved->path == entry.path;
    const bool cloudUnchanged = ours && SameContent(cloud, *facts.proved);
    const bool hereUnchanged = ours && StillProved(entry.facts, *facts.proved);
    if (cloudUnchanged && hereUnchanged) {
        return {PutStep::Unchanged, {}, ""};
    }
    if (hereUnchanged) {
        return {PutStep::CloudNewer, {}, "the cloud has a newer version; 'get' brings it"};
    }
    const bool mayReplace = cloudUnchanged || limits.overwrite;
    const PutStep replace = mayReplace ? HowToReplace(entry, facts) : PutStep::Conflict;
    const std::string reason = mayReplace ? "" : kBothDiffer;
    if (entry.facts.size == cloud.file.size) {
        return {PutStep::Compare, replace, reason};
    }
    return {replace, {}, reason};
}

}  // namespace

PutDecision DecidePut(const LocalEntry& entry, const PutFacts& facts, const PutLimits& limits) {
    if (entry.facts.kind == FileKind::Unreachable) {
        return {PutStep::Refuse, {}, "it cannot be read; check its permissions"};
    }
    if (entry.facts.kind != FileKind::File && entry.facts.kind != FileKind::Folder) {
        return {PutStep::NotSent, {}, "only files and folders travel"};
    }
    if (const std::optional<std::string> refusal = RefusalOf(entry, limits)) {
        return {PutStep::Refuse, {}, *refusal};
    }
    if (entry.facts.kind == FileKind::Folder) {
        return DecideFolder(facts);
    }
    if (!facts.cloud) {
        return DecideNew(entry, facts);
    }
    if (facts.cloud->file.isFolder) {
        return {PutStep::Conflict, {}, "the cloud has a folder of this name"};
    }
    return DecideKnown(entry, facts, limits);
}

}  // namespace Drive::Host
