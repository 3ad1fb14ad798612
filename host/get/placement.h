#pragma once

#include <optional>
#include <string>

#include "host/get/cloud_tree.h"
#include "host/records/host_records.h"
#include "host/tree/tree.h"

/// Bringing proved content from the staging tree into the visible one.
namespace Drive::Host {

enum class Shown {
    Yes,
    KeptLocal,  ///< something new stands at the place; the content stays in staging
    Failed
};

/// Who brings a staged file that proved to its place.
class Placer {
public:
    virtual ~Placer() = default;

    /// `sha256` is what the content was found to be. `message` tells people what there is to tell.
    virtual Shown Show(const CloudEntry& entry, const std::string& sha256, const std::optional<ProvedFile>& replaces,
                       std::string& message) = 0;
};

class Placement : public Placer {
public:
    Placement(Tree& staging, Tree& visible, HostRecords& records)
        : staging(staging), visible(visible), records(records) {}

    /// Renames the staged file, which the caller has checked, to the entry's path, and records it as proved. `replaces`
    /// is the proved content that gives way; when it was changed in the meantime it is kept beside, and `message` tells
    /// under which name. Throws std::runtime_error when the record cannot be written.
    Shown Show(const CloudEntry& entry, const std::string& sha256, const std::optional<ProvedFile>& replaces,
               std::string& message) override;

    /// Renames a visible file aside, under a name that tells when. False with `message` set.
    bool MoveAside(const std::string& path, std::string& message);

    /// Records a visible file as proved, as it looks now.
    void RecordProved(const CloudEntry& entry, const std::string& sha256);

private:
    Shown ShowInPlaceOf(const CloudEntry& entry, const ProvedFile& earlier, std::string& message);

    Tree& staging;
    Tree& visible;
    HostRecords& records;
};

/// A name for a file that makes room, such as "report (local copy 2024-05-01 12.30.00).txt"; at most 255 bytes.
std::string AsideName(const std::string& name, std::int64_t secondsSinceEpoch, int attempt);

}  // namespace Drive::Host
