#include "reference_cloud/routes.h"
namespace Drive::ReferenceCloud {
void AddUploadRoutes(Router&, Cloud&) {}
void AddStoreRoutes(Router&, Cloud&) {}
void AddProxyRoutes(Router&, Cloud&) {}
}  // namespace Drive::ReferenceCloud
