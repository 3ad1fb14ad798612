#pragma once

#include <cstdint>
#include <string>

#include "reference_cloud/records.h"

namespace Drive::ReferenceCloud {

class Rows;

/// The tree of one user's files. Every operation works inside the caller's transaction, throws Refusal, and puts what
/// it changes into the change feed: folders before what they hold, and the other way round for a deletion.
namespace Tree {

/// The user's own file, folder or root, live or deleted; refuses with 404.
FileRow Get(Rows& rows, const User& user, const std::string& id);
/// The same, live only and not the root.
FileRow GetLive(Rows& rows, const User& user, const std::string& id);
/// A live folder of the user (the root too); refuses with the code of an unknown parent.
FileRow GetParent(Rows& rows, const User& user, const std::string& id);

/// Makes the folder, or gives the one that stands there.
FileRow MakeFolder(Rows& rows, const User& user, const std::string& parentId, const std::string& name,
                   std::int64_t now);
/// Makes the empty file, or gives the one that stands there.
FileRow MakeEmptyFile(Rows& rows, const User& user, const std::string& parentId, const std::string& name,
                      const std::string& mimeType, std::int64_t edited, std::int64_t now);

/// What a new content brings to a file.
struct NewContent {
    Content content;  ///< already put; size 0 and no id for an empty file
    std::string mimeType;
    std::int64_t created = 0;  ///< 0: now
    std::int64_t edited = 0;   ///< 0: now
};

/// A new file. Refuses a taken name: 21015002 when it is the same content, else a conflict.
FileRow AddFile(Rows& rows, const User& user, const std::string& parentId, const std::string& name,
                const NewContent& fresh, std::int64_t now);
/// A new version of a live file.
FileRow ReplaceContent(Rows& rows, const User& user, FileRow file, const NewContent& fresh, std::int64_t now);

FileRow Rename(Rows& rows, const User& user, const std::string& id, const std::string& name);
FileRow Move(Rows& rows, const User& user, const std::string& id, const std::string& parentId);
void Remove(Rows& rows, const User& user, const std::string& id, std::int64_t now);
FileRow Restore(Rows& rows, const User& user, const std::string& id);

/// Refuses with the code for a full space when `more` plain bytes would not fit.
void CheckSpace(Rows& rows, const User& user, std::int64_t more);

/// Forgets a file for good; its content becomes an orphan when nobody else has it.
void Forget(Rows& rows, const FileRow& file, std::int64_t now);

}  // namespace Tree

}  // namespace Drive::ReferenceCloud
