// Time to download a 4 KiB PROM image (4096 byte reads, one request and reply each) from a
// scripted unit, against the round-trip time of a bare socket exchange with the same unit.
// Goal: under 2 x bytes x round trip, i.e. the library adds less than one round trip per byte.
//
//   TARNLAB_PREFIX=tarnlab4 scripts/netlab exec-host build/bench/bench_prom_download
#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "bench_peer.h"
#include "lab_endpoint.h"
#include "lab_namespace.h"
#include "link/prom_transfer.h"
#include "prom/prom_parameters.h"
#include "scripted_transport.h"
#include "tarndll.h"

namespace {

constexpr uint16_t port = 1141;
const std::string unit = "192.168.1.10";
constexpr int downloadBytes = 4096; // L + 20

// Header, list length, geometry keys 1 and 2, one text entry filling the rest, end marker.
std::vector<int> fourKibImage() {
    const int listLength = downloadBytes - 20;
    std::vector<int> image = {0x54, 0x41, 0x52};
    image.resize(20, 0);
    image.push_back(listLength >> 8);
    image.push_back(listLength & 0xFF);
    for (int byte : {0, 1, 0, 2, 0, 64, 0, 2, 0, 2, 2, 0}) {
        image.push_back(byte);
    }
    const int textLength = listLength - 12 - 4 - 5;
    for (int byte : {0, 45, textLength >> 8, textLength & 0xFF}) {
        image.push_back(byte);
    }
    for (int i = 0; i < textLength; ++i) {
        image.push_back('a' + i % 26);
    }
    for (int byte : {0xFF, 0xFF, 0, 1, 0}) {
        image.push_back(byte);
    }
    return image;
}

// Median round trip of "E0000\n" and its reply over a bare blocking socket, in microseconds.
double bareRoundTripMicroseconds(int exchanges) {
    const int fd = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    inet_pton(AF_INET, unit.c_str(), &peer.sin_addr);
    std::vector<double> samples;
    char reply[64];
    for (int i = 0; i < exchanges; ++i) {
        const auto start = std::chrono::steady_clock::now();
        sendto(fd, "E0000\n", 6, 0, reinterpret_cast<sockaddr*>(&peer), sizeof peer);
        pollfd readable{fd, POLLIN, 0};
        if (poll(&readable, 1, 1000) != 1 || recv(fd, reply, sizeof reply, 0) <= 0) {
            continue;
        }
        samples.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                .count());
    }
    close(fd);
    if (samples.empty()) {
        return 0.0;
    }
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

void downloadFourKibProm(benchmark::State& state) {
    const std::string problem = tarnlab::hostSideProblem();
    if (!problem.empty()) {
        state.SkipWithError(problem.c_str());
        return;
    }
    tarntest::PromUnit prom(fourKibImage(), 8192);
    BenchPeer peer(unit, port, [prom](const std::string& request) { return prom.answer(request); });
    const double roundTrip = bareRoundTripMicroseconds(500);
    auto endpoint = tarnlab::boundEndpoint(port);
    if (!peer.ok() || !endpoint || roundTrip <= 0.0) {
        state.SkipWithError("cannot reach the scripted unit");
        return;
    }
    endpoint->set_current_dst_ip(unit);
    double seconds = 0.0;
    for (auto _ : state) {
        Orvek::PromParameters parameters;
        const auto start = std::chrono::steady_clock::now();
        const int result = Orvek::TARN::downloadProm(endpoint, unit, parameters, nullptr, nullptr);
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(seconds);
        if (result != Orvek::ERR_OK || parameters.Texts[0].size() != 4055) {
            state.SkipWithError("download failed");
            return;
        }
    }
    const double goal = 2.0 * downloadBytes * roundTrip * 1e-6;
    state.counters["round_trip_us"] = roundTrip;
    state.counters["per_byte_us"] = seconds * 1e6 / downloadBytes;
    state.counters["goal_s"] = goal;
    std::printf("4 KiB PROM download: %.3f s (%.1f us per byte); bare round trip %.1f us; "
                "goal 2 x %d x round trip = %.3f s: %s\n",
                seconds, seconds * 1e6 / downloadBytes, roundTrip, downloadBytes, goal,
                seconds < goal ? "met" : "NOT met");
}

} // namespace

BENCHMARK(downloadFourKibProm)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
