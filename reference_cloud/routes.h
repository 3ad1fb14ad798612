#pragma once

namespace Drive::ReferenceCloud {

struct Cloud;
class Router;

/// Each puts the routes of its file in. `cloud` must outlive the router.
void AddKeyRoutes(Router& router, Cloud& cloud);       ///< public key and key list
void AddFileRoutes(Router& router, Cloud& cloud);      ///< lists, changes, folders, rename, move, delete, restore
void AddDownloadRoutes(Router& router, Cloud& cloud);  ///< how a file is held, its plain content, its thumbnail
void AddUploadRoutes(Router& router, Cloud& cloud);    ///< start, address, object complete, completion
void AddStoreRoutes(Router& router, Cloud& cloud);     ///< the object store and its download addresses
void AddProxyRoutes(Router& router, Cloud& cloud);     ///< the file proxy

}  // namespace Drive::ReferenceCloud
