#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "interfaces/common/encrypt_helper.h"
#include "tests/contract/common/faults.h"
#include "tests/contract/common/test_bytes.h"

namespace Drive::Common {

namespace {

using Trial::CurrentFaults;

class SecureRandomFailure : public ::testing::Test {
protected:
    Trial::FreshFaults fresh;
};

// COM-RANDOM-03
TEST_F(SecureRandomFailure, LeavesZerosAndIsTold) {
    for (const Trial::Script& script : {Trial::Script{ENOSYS}, Trial::Script{-20, ENOSYS}}) {
        CurrentFaults().getrandom = script;
        Bytes buffer(64, 0xA5);
        EXPECT_FALSE(EncryptHelper::GetSecureRandom(buffer.data(), buffer.size()));
        EXPECT_EQ(buffer, Bytes(64, 0));
    }
}

// COM-RANDOM-04
TEST_F(SecureRandomFailure, LeavesNothingEncrypted) {
    CurrentFaults().getrandom = {ENOSYS, ENOSYS};
    EXPECT_TRUE(EncryptHelper::AES_GCM_Encrypt(Bytes(10, 1), Bytes(16, 2)).empty());
    EXPECT_TRUE(EncryptHelper::GetEfek("00112233", Bytes(16, 2), "00").empty());
}

// COM-RANDOM-05
TEST_F(SecureRandomFailure, IsNotAnInterruptionOrAPartOfTheBytes) {
    CurrentFaults().getrandom = {EINTR, -7, EINTR, -1};
    Bytes buffer(64, 0);
    EXPECT_TRUE(EncryptHelper::GetSecureRandom(buffer.data(), buffer.size()));
    EXPECT_TRUE(CurrentFaults().getrandom.empty());
    EXPECT_TRUE(std::any_of(buffer.begin() + 40, buffer.end(), [](unsigned char byte) { return byte != 0; }));
}

}  // namespace

}  // namespace Drive::Common
