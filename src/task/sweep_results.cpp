// Checking a sweep's packets against the program's packet plan, turning them into per-path
// sweep data and handing a path's data to the caller.
#include <iostream>

#include "core/entry_point.h"
#include "link/packet_data.h"
#include "switchboard/path_to_switch_control.h"
#include "task/packet_decoding.h"
#include "task/path_exceptions.h"
#include "task/task_helpers.h"

namespace Orvek {
namespace {

// Packets expected to be this short or shorter are accepted at any length; the decoder reads
// only what arrived.
constexpr int kUncheckedPacketLength = 13;

} // namespace

bool TarnTask::TaskHelpers::freqInExclusionBand(double freq) {
    return Orvek::freqInExclusionBand(task->state_->exclusionBands, freq);
}

double TarnTask::TaskHelpers::sweepTimestamp(uint32_t count) {
    if (count < previousSweepTimer / 2)
        sweepTimerOffset += sweepTimerWrapIncrement;
    previousSweepTimer = count;
    return timeBase * static_cast<double>(sweepTimerOffset + count);
}

Err_Code TarnTask::TaskHelpers::validatePacketLengths(const std::vector<PacketData>& packets,
                                                      const EntryPoint& entry) {
    const TaskState& s = *task->state_;
    if (static_cast<long long>(packets.size()) != entry.packetCount)
        return ERR_BYTES;
    if (s.measuredPaths.empty())
        return ERR_NO_PATHS_MEASURED;
    const std::size_t perPath = packets.size() / s.measuredPaths.size();
    for (std::size_t p = 0; p < s.measuredPaths.size(); ++p) {
        for (std::size_t k = 0; k < perPath; ++k) {
            const int expected = k < entry.packetLengths.size() ? entry.packetLengths[k] : 0;
            const int received = packets[p * perPath + k].payloadLength();
            if (received != expected && expected > kUncheckedPacketLength)
                return ERR_BYTES;
        }
    }
    return ERR_OK;
}

Err_Code TarnTask::TaskHelpers::getDataFromPacketsNormal(const std::vector<PacketData>& packets,
                                                         std::vector<SweepData>& results) {
    const TaskState& s = *task->state_;
    const Err_Code valid = validatePacketLengths(packets, s.mainEntryPoint);
    if (valid != ERR_OK)
        return valid;

    SweepPacketLayout layout;
    layout.serialBufferSize = s.serialBufferSize;
    layout.shaftEncoders = s.shaftEncodersEnabled;
    layout.sweepTimer = s.sendSweepTimer;
    layout.receivers = enabledReceiverIndexes(s.enabledReceivers);
    layout.points = s.numberOfFrequencies;
    layout.numberOfPaths = static_cast<int>(s.measuredPaths.size());

    const std::size_t perPath = packets.size() / s.measuredPaths.size();
    for (std::size_t p = 0; p < s.measuredPaths.size(); ++p) {
        SweepData sweep;
        const bool timer = decodePathPackets(packets.data() + p * perPath, perPath,
                                             s.mainEntryPoint.packetLengths, layout, sweep);
        if (timer)
            sweep.timestamp = sweepTimestamp(sweep.sweepTimer);
        results.push_back(std::move(sweep));
    }
    return ERR_OK;
}

Err_Code TarnTask::extractSweepData(const std::shared_ptr<SwitchBoardState>& path, SweepData& out) {
    const TaskState& s = *state_;
    if (s.measuredPaths.empty())
        return ERR_NO_PATHS_MEASURED;
    if (!path)
        return ERR_BAD_PATH;
    std::size_t index = s.measuredPaths.size();
    for (std::size_t i = 0; i < s.measuredPaths.size(); ++i) {
        if (!(*s.measuredPaths[i] == *path))
            continue;
        if (index == s.measuredPaths.size()) {
            index = i;
        } else {
            std::cout << "Duplicate combo?" << std::endl;
            break;
        }
    }
    if (index == s.measuredPaths.size())
        return ERR_BAD_PATH;
    if (s.sweepResults.empty())
        return ERR_PATH_HAS_NO_DATA;
    if (index >= s.sweepResults.size())
        return ERR_BAD_PATH;
    out = s.sweepResults[index];
    return ERR_OK;
}

Err_Code TarnTask::extractSweepData(Transmit_Path tx, Receive_Path rx, SweepData& out) {
    return convertPathExceptions([&] {
        return extractSweepData(path_to_switch_control(state_->promParameters, tx, rx), out);
    });
}

} // namespace Orvek
