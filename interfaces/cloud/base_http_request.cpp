#include "interfaces/cloud/base_http_request.h"

#include <exception>
#include <utility>

#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"

namespace Drive::Cloud {

BaseHttpRequest::BaseHttpRequest(std::string url) {
    try {
        this->url = std::move(url);
    } catch (const std::exception& error) {
        SyncPanelLog::WriteErrorLog("BaseHttpRequest", "BaseHttpRequest",
                                    std::string("url convert exception:") + error.what());
    } catch (...) {
        SyncPanelLog::WriteErrorLog("BaseHttpRequest", "BaseHttpRequest", "Unknown");
    }
}

BaseHttpRequest::BaseHttpRequest(std::wstring url) {
    try {
        this->url = TypeConvert::WStringToString(url);
    } catch (const std::exception& error) {
        SyncPanelLog::WriteErrorLog("BaseHttpRequest", "BaseHttpRequest",
                                    std::string("url convert exception:") + error.what());
    } catch (...) {
        SyncPanelLog::WriteErrorLog("BaseHttpRequest", "BaseHttpRequest", "Unknown");
    }
}

BaseHttpRequest::BaseHttpRequest(const BaseHttpRequest& other) = default;
BaseHttpRequest& BaseHttpRequest::operator=(const BaseHttpRequest& other) = default;
BaseHttpRequest::~BaseHttpRequest() = default;

}  // namespace Drive::Cloud
