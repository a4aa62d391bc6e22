// The simulated unit's JSON-lines log: every line stays valid JSON whatever bytes a peer sent.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "sim/sim_log.h"

namespace Orvek {
namespace Sim {
namespace {

TEST(SimLog, LinesAreValidJsonWithTheRecordedFields) {
    LogEntry command;
    command.wallSeconds = 1.5;
    command.unit = "192.168.1.10";
    command.kind = LogKind::Command;
    command.peer = "192.168.1.1:1150";
    command.text = std::string("Z\xff\x01\"\n", 5);
    const nlohmann::json parsed = nlohmann::json::parse(toJson(command));
    EXPECT_EQ(parsed["kind"], "command");
    EXPECT_EQ(parsed["dir"], "rx");
    EXPECT_EQ(parsed["text"], "Z\\xff\x01\"\n");
    EXPECT_FALSE(parsed.contains("programTime"));

    LogEntry packet;
    packet.kind = LogKind::Packet;
    packet.programSeconds = 2.25;
    packet.tagA = 10;
    packet.tagB = 1;
    packet.counter = 7;
    packet.length = 6;
    packet.data = {0x00, 0xab};
    packet.fault = "duplicated";
    const nlohmann::json line = nlohmann::json::parse(toJson(packet));
    EXPECT_EQ(line["dir"], "tx");
    EXPECT_EQ(line["counter"], 7);
    EXPECT_EQ(line["payload"], "00ab");
    EXPECT_EQ(line["programTime"], 2.25);
    EXPECT_EQ(line["fault"], "duplicated");

    LogEntry upload;
    upload.kind = LogKind::Upload;
    upload.address = 0x10;
    upload.length = 2;
    upload.data = {0x84, 0x40};
    EXPECT_EQ(nlohmann::json::parse(toJson(upload))["hex"], "8440");
}

TEST(SimLog, TheMemoryLogKeepsTheNewestEntries) {
    UnitLog log(nullptr, 3);
    for (int i = 0; i < 5; ++i) {
        LogEntry entry;
        entry.counter = i;
        log.add(entry);
    }
    const std::vector<LogEntry> kept = log.entries();
    ASSERT_EQ(kept.size(), 3u);
    EXPECT_EQ(kept.front().counter, 2);
    EXPECT_EQ(log.dropped(), 2u);
}

} // namespace
} // namespace Sim
} // namespace Orvek
