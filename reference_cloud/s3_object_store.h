#pragma once

#include <memory>
#include <string>

#include "reference_cloud/object_store.h"
#include "reference_cloud/s3_client.h"

namespace Drive::ReferenceCloud {

/// Objects in a bucket of an S3-compatible store, as PREFIX + key. An object is gathered in a file without a name in
/// `spoolFolder` and sent at Commit with its length and digest, which the store holds against what comes: it is there
/// whole or not at all. At most 5 GiB an object, as such stores have it.
/// `owner` tells one cloud from another: bucket and prefix belong to the first that opens them, since what no row names
/// is cleared away there. Throws std::runtime_error when they belong to another, or the store does not answer.
std::unique_ptr<ObjectStore> OpenS3ObjectStore(S3Place place, const std::string& spoolFolder, const std::string& owner);

}  // namespace Drive::ReferenceCloud
