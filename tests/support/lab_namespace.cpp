#include "lab_namespace.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tarnlab {

namespace {

std::string labPrefix() {
    const char* prefix = std::getenv("TARNLAB_PREFIX");
    return prefix != nullptr && *prefix != '\0' ? prefix : "tarnlab";
}

std::string namespacePath(const std::string& side) {
    return "/var/run/netns/" + labPrefix() + "-" + side;
}

std::string errnoText(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

} // namespace

bool labRequiredByCi() {
    const char* ci = std::getenv("CI");
    return ci != nullptr && std::strcmp(ci, "true") == 0;
}

std::string hostSideProblem() {
    const std::string path = namespacePath("host");
    struct stat lab {};
    struct stat self {};
    if (stat(path.c_str(), &lab) != 0)
        return "the lab '" + labPrefix() + "' is not up (no " + path +
               "; run scripts/netlab up as root)";
    if (stat("/proc/self/ns/net", &self) != 0)
        return errnoText("cannot read /proc/self/ns/net");
    if (lab.st_dev != self.st_dev || lab.st_ino != self.st_ino)
        return "not running in the lab's host namespace (start the test through TARNLAB_PREFIX=" +
               labPrefix() + " scripts/netlab exec-host)";
    return {};
}

UnitsThread::UnitsThread(std::function<void()> body)
    : thread([this, body = std::move(body)] {
          // setns moves only the calling thread.
          const std::string path = namespacePath("units");
          const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
          if (fd < 0 || setns(fd, CLONE_NEWNET) != 0)
              failure = errnoText("cannot enter " + path);
          if (fd >= 0)
              close(fd);
          if (failure.empty() && body)
              body();
      }) {}

void UnitsThread::join() {
    if (thread.joinable())
        thread.join();
}

int unitsSideSocket(const std::string& address, uint16_t port) {
    int fd = -1;
    UnitsThread([&] {
        fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_UDP);
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_port = htons(port);
        inet_pton(AF_INET, address.c_str(), &local.sin_addr);
        if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
            close(fd);
            fd = -1;
        }
    }).join();
    return fd;
}

} // namespace tarnlab
