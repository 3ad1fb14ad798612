#pragma once

namespace Drive::Cloud {

/// Forgets the remembered space: called by whatever may have changed it, before it begins and after it ended.
void DropRememberedSpace();

/// Does so on both ends of a call.
class SpaceChanges {
public:
    SpaceChanges() { DropRememberedSpace(); }
    ~SpaceChanges() { DropRememberedSpace(); }
    SpaceChanges(const SpaceChanges&) = delete;
    SpaceChanges& operator=(const SpaceChanges&) = delete;
};

}  // namespace Drive::Cloud
