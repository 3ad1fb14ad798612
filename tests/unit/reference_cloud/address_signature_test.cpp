#include "reference_cloud/address_signature.h"

#include <gtest/gtest.h>

namespace Drive::ReferenceCloud {

namespace {

const SignedRequest kPut{"PUT", "/store/b1/o1", 1000, "aa", "bb", 48};

// REF-STORE-17
TEST(AddressSignature, HoldsForTheVeryRequestOnly) {
    const std::string signature = Sign(kPut, "key");
    EXPECT_TRUE(IsSigned(kPut, signature, "key"));

    SignedRequest other = kPut;
    other.method = "GET";
    EXPECT_FALSE(IsSigned(other, signature, "key"));
    other = kPut, other.path = "/store/b1/o2";
    EXPECT_FALSE(IsSigned(other, signature, "key"));
    other = kPut, other.expires = 1001;
    EXPECT_FALSE(IsSigned(other, signature, "key"));
    other = kPut, other.sha256 = "ab";
    EXPECT_FALSE(IsSigned(other, signature, "key"));
    other = kPut, other.md5 = "ba";
    EXPECT_FALSE(IsSigned(other, signature, "key"));
    other = kPut, other.length = 49;
    EXPECT_FALSE(IsSigned(other, signature, "key"));
    EXPECT_FALSE(IsSigned(kPut, signature, "other key"));
    EXPECT_FALSE(IsSigned(kPut, "", "key"));
}

// REF-STORE-18
TEST(AddressSignature, StandsInTheQueryWithItsTime) {
    EXPECT_EQ(SignedQuery(kPut, "key"), "?expires=1000&signature=" + Sign(kPut, "key"));
}

}  // namespace

}  // namespace Drive::ReferenceCloud
