// In a test program the task layer's own pool runs on virtual threads too: continuations of the file streams would
// otherwise run beside the baton, and a run would not repeat itself. The engine never relies on that pool.
#include <pplx/pplx.h>
#include <pplx/pplxinterface.h>

#include <memory>

#include "interfaces/platform/thread_pool.h"

namespace {

class VirtualScheduler : public pplx::scheduler_interface {
public:
    void schedule(pplx::TaskProc_t body, void* argument) override { Drive::Platform::StartTaskThread(body, argument); }
};

const bool installed = [] {
    pplx::set_ambient_scheduler(std::make_shared<VirtualScheduler>());
    return true;
}();

}  // namespace
