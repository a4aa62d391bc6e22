#pragma once
// The network lab (scripts/netlab) seen from a test: lab tests run in the namespace
// "${TARNLAB_PREFIX}-host" (192.168.1.1; started through `scripts/netlab exec-host`), peers that
// play units on threads that entered "${TARNLAB_PREFIX}-units" (192.168.1.10-19 and .100). The
// prefix is "tarnlab" when the variable is unset. A socket made inside the units namespace stays
// there and may be used from any thread afterwards.
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace tarnlab {

// Empty when this process runs in the lab's host namespace; otherwise why not.
std::string hostSideProblem();

// CI=true: a missing lab is then a failure, not a skip.
bool labRequiredByCi();

// A thread that enters the units namespace, then runs `body`. If entering fails, `body` is not
// run and error() says why (valid after join()). Joins on destruction.
class UnitsThread {
public:
    explicit UnitsThread(std::function<void()> body);
    ~UnitsThread() { join(); }
    UnitsThread(const UnitsThread&) = delete;
    UnitsThread& operator=(const UnitsThread&) = delete;

    void join();
    const std::string& error() const { return failure; }

private:
    std::string failure;
    std::thread thread;
};

// A non-blocking UDP socket bound to `address`:`port` on the units side (-1 when that fails).
// It plays a unit (or a stranger) from any thread; the caller closes it.
int unitsSideSocket(const std::string& address, uint16_t port);

} // namespace tarnlab

// Skips the current test with the reason when not on the lab's host side; fails instead when
// CI=true. Use at the top of a test body or in a fixture's SetUp().
#define TARN_REQUIRE_LAB_HOST_SIDE()                                                               \
    do {                                                                                           \
        const std::string tarnLabProblem = ::tarnlab::hostSideProblem();                           \
        if (!tarnLabProblem.empty()) {                                                             \
            if (::tarnlab::labRequiredByCi()) {                                                    \
                FAIL() << "network lab required under CI=true: " << tarnLabProblem;                \
            } else {                                                                               \
                GTEST_SKIP() << "network lab not available: " << tarnLabProblem;                   \
            }                                                                                      \
        }                                                                                          \
    } while (false)
