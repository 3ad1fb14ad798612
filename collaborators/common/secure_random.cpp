#include <sys/random.h>

#include <algorithm>
#include <cerrno>

#include "interfaces/common/encrypt_helper.h"

namespace Drive::Common {

bool EncryptHelper::GetSecureRandom(unsigned char* buffer, std::size_t length) {
    for (std::size_t done = 0; done < length;) {
        const ssize_t got = getrandom(buffer + done, length - done, 0);
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (errno != EINTR) {
            std::fill_n(buffer, length, static_cast<unsigned char>(0));
            return false;
        }
    }
    return true;
}

}  // namespace Drive::Common
