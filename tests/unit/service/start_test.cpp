#include <gtest/gtest.h>

#include "tests/support/engine_bench.h"

namespace Drive::Testing {
namespace {

class StartingTheService : public EngineBench {};

TEST_F(StartingTheService, Smoke) {
    GivePlain(L"F1", L"a\\one.txt", "hello");
    VirtualTime::Run(0, [&] {
        Service().startTransferTaskService();
        VirtualTime::AdvanceBy(8000);
        std::puts(Tidy(Journal::Dump()).c_str());
        std::puts(VirtualTime::Dump().c_str());
    });
}

}  // namespace
}  // namespace Drive::Testing
