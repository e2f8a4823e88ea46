#include "cipher/RandomBytes.h"

#include <sys/random.h>

#include <cerrno>
#include <cstring>

namespace zenvary {

bool randomBytes(uint8_t* out, size_t n) {
    size_t done = 0;
    while (done < n) {
        ssize_t got = getrandom(out + done, n - done, 0);
        if (got < 0) {
            if (errno == EINTR) continue;
            memset(out, 0, n);
            return false;
        }
        done += static_cast<size_t>(got);
    }
    return true;
}

}  // namespace zenvary
