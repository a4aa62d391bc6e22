#pragma once
// Test support for the network lab (scripts/netlab): two network namespaces joined by a veth
// pair. Lab tests run on the host side (192.168.1.1, started through `scripts/netlab
// exec-host`); peers that play units run on threads that enter the units side
// (192.168.1.10-19). The namespaces are named "${TARNLAB_PREFIX}-host" and
// "${TARNLAB_PREFIX}-units" (prefix "tarnlab" when the variable is unset).
//
// Typical use:
//
//   TEST(MyLabTest, Something) {
//       TARN_REQUIRE_LAB_HOST_SIDE();           // skip (or fail under CI=true) outside the lab
//       tarnlab::UnitsThread peer([] { /* runs inside the units namespace */ });
//       ...
//       peer.join();                             // or let the destructor join
//   }
//
// A socket created on a thread inside the units namespace stays in that namespace, so it may
// be used from any thread afterwards (openUnitsSocket does exactly that).
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace tarnlab {

// The lab's name prefix: $TARNLAB_PREFIX, or "tarnlab".
std::string labPrefix();
// "/var/run/netns/<prefix>-host" and "/var/run/netns/<prefix>-units".
std::string hostNamespacePath();
std::string unitsNamespacePath();

// Empty when the calling process runs in the lab's host-side namespace; otherwise a message
// that says why not (lab not up, or not started through `scripts/netlab exec-host`).
std::string hostSideProblem();

// True when the environment says CI=true: a missing lab is then a failure, not a skip.
bool labRequiredByCi();

// Moves the calling thread (only that thread) into the lab's units namespace with
// setns(CLONE_NEWNET). Returns an empty string on success, else the reason.
std::string enterUnitsNamespace();

// A thread that first enters the units namespace and then runs `body`. If entering fails,
// `body` is not run and error() says why. Joins on destruction.
class UnitsThread {
public:
    explicit UnitsThread(std::function<void()> body);
    ~UnitsThread();
    UnitsThread(const UnitsThread&) = delete;
    UnitsThread& operator=(const UnitsThread&) = delete;

    void join();
    // Valid after join(): empty if the namespace was entered.
    const std::string& error() const { return failure; }

private:
    std::string failure;
    std::thread thread;
};

// A UDP socket created inside the units namespace and bound to `address`:`port` (non-blocking,
// SO_REUSEADDR). Returns the descriptor (the caller closes it), or -1 with `error` set.
int openUnitsSocket(const std::string& address, uint16_t port, std::string& error);

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
