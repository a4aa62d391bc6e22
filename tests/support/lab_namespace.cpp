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

std::string errnoText(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

} // namespace

std::string labPrefix() {
    const char* prefix = std::getenv("TARNLAB_PREFIX");
    return prefix != nullptr && *prefix != '\0' ? prefix : "tarnlab";
}

std::string hostNamespacePath() {
    return "/var/run/netns/" + labPrefix() + "-host";
}
std::string unitsNamespacePath() {
    return "/var/run/netns/" + labPrefix() + "-units";
}

bool labRequiredByCi() {
    const char* ci = std::getenv("CI");
    return ci != nullptr && std::strcmp(ci, "true") == 0;
}

std::string hostSideProblem() {
    struct stat lab {};
    struct stat self {};
    if (stat(hostNamespacePath().c_str(), &lab) != 0) {
        return "the lab '" + labPrefix() + "' is not up (no " + hostNamespacePath() +
               "; run scripts/netlab up as root)";
    }
    if (stat("/proc/self/ns/net", &self) != 0) {
        return errnoText("cannot read /proc/self/ns/net");
    }
    if (lab.st_dev != self.st_dev || lab.st_ino != self.st_ino) {
        return "not running in the lab's host namespace (start the test through "
               "TARNLAB_PREFIX=" +
               labPrefix() + " scripts/netlab exec-host)";
    }
    return {};
}

std::string enterUnitsNamespace() {
    const std::string path = unitsNamespacePath();
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return errnoText("cannot open " + path);
    }
    const int result = setns(fd, CLONE_NEWNET);
    const std::string failure = result != 0 ? errnoText("setns into " + path) : std::string();
    close(fd);
    return failure;
}

UnitsThread::UnitsThread(std::function<void()> body)
    : thread([this, body = std::move(body)] {
          failure = enterUnitsNamespace();
          if (failure.empty() && body) {
              body();
          }
      }) {}

UnitsThread::~UnitsThread() {
    join();
}

void UnitsThread::join() {
    if (thread.joinable()) {
        thread.join();
    }
}

int openUnitsSocket(const std::string& address, uint16_t port, std::string& error) {
    int fd = -1;
    UnitsThread opener([&] {
        fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_UDP);
        if (fd < 0) {
            error = errnoText("socket");
            return;
        }
        const int one = 1;
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_port = htons(port);
        if (inet_pton(AF_INET, address.c_str(), &local.sin_addr) != 1) {
            error = "not an IPv4 address: " + address;
        } else if (bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
            error = errnoText("bind " + address + ":" + std::to_string(port));
        } else {
            return;
        }
        close(fd);
        fd = -1;
    });
    opener.join();
    if (!opener.error().empty()) {
        error = opener.error();
        return -1;
    }
    return fd;
}

} // namespace tarnlab
