#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "host/get/cloud_tree.h"
#include "host/records/host_records.h"

namespace Drive::Host {

/// What was known of one file id and is known of another now.
struct InheritedProof {
    std::string from;
    std::string to;
    ProvedFile file;
};

/// A file that was removed in the cloud and made anew under its name is the next version of the one that was proved at
/// that place: programs save that way, and it is how a file becomes empty there. Hands the proof on from ids that the
/// listing no longer holds; `proved` is keyed by file id. Gives what was handed on. Pure.
std::vector<InheritedProof> HandOnProofs(const std::vector<CloudEntry>& entries,
                                         std::unordered_map<std::string, ProvedFile>& proved);

}  // namespace Drive::Host
