#include "text_file.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <numeric>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace Orvek {
namespace Vna {

bool writeWholeFile(const std::string& path, const std::string& text) {
    std::string temporary = path + ".XXXXXX";
    const int fd = mkstemp(&temporary[0]);
    if (fd < 0)
        return false;
    const char* data = text.data();
    size_t left = text.size();
    bool ok = true;
    while (left > 0) {
        const ssize_t written = ::write(fd, data, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            ok = false;
            break;
        }
        data += written;
        left -= static_cast<size_t>(written);
    }
    // mkstemp makes the file private; a measurement file is as readable as any other.
    const mode_t mask = umask(0);
    umask(mask);
    ok = ok && fchmod(fd, 0666 & ~mask) == 0;
    ok = (::close(fd) == 0) && ok;
    if (ok && std::rename(temporary.c_str(), path.c_str()) == 0)
        return true;
    const int saved = errno;
    std::remove(temporary.c_str());
    errno = saved;
    return false;
}

bool readWholeFile(const std::string& path, std::string& text) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return false;
    std::ostringstream content;
    content << file.rdbuf();
    if (file.bad())
        return false;
    text = content.str();
    return true;
}

std::vector<unsigned> ascendingOrder(const double* freqMHz, unsigned points) {
    std::vector<unsigned> order(points);
    std::iota(order.begin(), order.end(), 0u);
    for (unsigned i = 0; i < points; ++i)
        if (!std::isfinite(freqMHz[i]) || !(freqMHz[i] > 0.0))
            return {};
    std::stable_sort(order.begin(), order.end(),
                     [freqMHz](unsigned a, unsigned b) { return freqMHz[a] < freqMHz[b]; });
    for (unsigned i = 1; i < points; ++i)
        if (!(freqMHz[order[i]] > freqMHz[order[i - 1]]))
            return {};
    return order;
}

std::string exactNumber(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

char* mallocCopy(const std::string& text) {
    char* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy)
        std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

} // namespace Vna
} // namespace Orvek
