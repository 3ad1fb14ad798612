#include <gtest/gtest.h>

#include "reference_cloud/http_message.h"
#include "reference_cloud/refusal.h"

namespace Drive::ReferenceCloud {

namespace {

std::unique_ptr<Handler> Body(BodyBudget& budget, std::size_t limit = 100) {
    return SmallBody(
        limit,
        [](std::string&& body) {
            Response response;
            response.text = body;
            return response;
        },
        budget);
}

int StatusOf(Handler& handler, const std::string& bytes) {
    try {
        handler.Data(bytes);
        return 200;
    } catch (const Refusal& refusal) {
        EXPECT_EQ(refusal.retryAfter > 0, refusal.status == 503);
        return refusal.status;
    }
}

// REF-HTTP-22
TEST(BodyBudget, BodiesThatAreTooMuchTogetherAreRefusedForAMoment) {
    BodyBudget budget(150);
    const auto first = Body(budget);
    auto second = Body(budget);
    EXPECT_EQ(StatusOf(*first, std::string(90, 'a')), 200);
    EXPECT_EQ(StatusOf(*second, std::string(60, 'b')), 200);
    EXPECT_EQ(StatusOf(*Body(budget), "c"), 503);
    second.reset();  // its client went away
    EXPECT_EQ(StatusOf(*Body(budget), std::string(61, 'd')), 503) << "and nothing of the refused one is counted";
    EXPECT_EQ(StatusOf(*Body(budget), std::string(60, 'd')), 200);
    EXPECT_EQ(first->Finish().text, std::string(90, 'a'));
}

// REF-HTTP-22
TEST(BodyBudget, ABodyAboveItsOwnLimitTakesNothing) {
    BodyBudget budget(150);
    const auto handler = Body(budget);
    EXPECT_EQ(StatusOf(*handler, std::string(101, 'a')), 413);
    EXPECT_EQ(StatusOf(*Body(budget, 150), std::string(150, 'b')), 200);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
