#include "host/get/inherited_proof.h"

#include <unordered_set>
#include <utility>

#include "interfaces/platform/text.h"

namespace Drive::Host {

std::vector<InheritedProof> HandOnProofs(const std::vector<CloudEntry>& entries,
                                         std::unordered_map<std::string, ProvedFile>& proved) {
    std::unordered_set<std::string> there;
    std::unordered_map<std::string, std::string> unprovedAt;
    for (const CloudEntry& entry : entries) {
        const std::string id = Platform::NarrowText(entry.file.id);
        there.insert(id);
        if (entry.refusal.empty() && !entry.file.isFolder && proved.count(id) == 0) {
            unprovedAt[entry.path] = id;
        }
    }
    std::vector<InheritedProof> handedOn;
    for (const auto& [id, file] : proved) {
        const auto heir = unprovedAt.find(file.path);
        if (there.count(id) == 0 && heir != unprovedAt.end()) {
            handedOn.push_back({id, heir->second, file});
            handedOn.back().file.contentVersion.clear();  // versions count anew in every file
            unprovedAt.erase(heir);
        }
    }
    for (const InheritedProof& proof : handedOn) {
        proved.erase(proof.from);
        proved[proof.to] = proof.file;
    }
    return handedOn;
}

}  // namespace Drive::Host
