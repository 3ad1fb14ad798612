#include "collaborators/database/leases.h"

#include <gtest/gtest.h>

namespace Drive::Testing {
namespace {

using SQLiteDB::TaskLeases;

// DB-LEASE-15
TEST(TaskLeasesSet, AChangeCountsWhenItIsCommitted) {
    TaskLeases leases;
    leases.Take(1);
    leases.Take(2);
    leases.ReportChange(1);
    EXPECT_TRUE(leases.Holds(1));
    leases.Commit();
    EXPECT_FALSE(leases.Holds(1));
    EXPECT_TRUE(leases.Holds(2));
}

// DB-LEASE-16
TEST(TaskLeasesSet, AChangeThatIsRolledBackIsForgotten) {
    TaskLeases leases;
    leases.Take(1);
    leases.ReportChange(1);
    leases.ReportEndOfAll();
    leases.RollBack();
    leases.Commit();
    EXPECT_TRUE(leases.Holds(1));
}

// DB-LEASE-17
TEST(TaskLeasesSet, TheEndOfAllCountsWhenItIsCommitted) {
    TaskLeases leases;
    leases.Take(1);
    leases.Take(2);
    leases.ReportEndOfAll();
    EXPECT_EQ(leases.Size(), 2u);
    leases.Commit();
    EXPECT_EQ(leases.Size(), 0u);
}

}  // namespace
}  // namespace Drive::Testing
