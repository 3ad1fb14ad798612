#include "host/module/below_root.h"

#include <algorithm>

namespace Drive::Host {

std::string BelowRoot(const std::string& root, const std::string& typed) {
    std::string path = typed;
    if (path == root || path.rfind(root + "/", 0) == 0) {
        path = path.substr(root.size());
    }
    std::string out;
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t slash = std::min(path.find('/', begin), path.size());
        const std::string part = path.substr(begin, slash - begin);
        if (!part.empty() && part != ".") {
            out += (out.empty() ? "" : "/") + part;
        }
        begin = slash + 1;
    }
    return out;
}

}  // namespace Drive::Host
