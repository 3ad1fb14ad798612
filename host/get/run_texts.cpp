#include "host/get/run_texts.h"

namespace Drive::Host {

std::string CannotList(const Cloud::CallOutcome& outcome) {
    if (outcome.status == 401) {
        return "cannot list the cloud: it no longer accepts the login; run 'zelkor-drive init' again";
    }
    return "cannot list the cloud: " + outcome.message;
}

}  // namespace Drive::Host
