#include "program/tdd_flags.h"

namespace Orvek {
namespace {

constexpr int kTddBit = 0x01;
constexpr int kNullingBit = 0x02;
constexpr int kSlaveBit = 0x04;
constexpr int kPowerAmplifierBit = 0x08;
constexpr int kLnaBit = 0x10;
constexpr int kAttenuatorBit = 0x20;

const char* onOff(bool on) {
    return on ? "on" : "off";
}

} // namespace

int tddFlagsWordOf(const TDDConfiguration& c) {
    return (c.flag1 ? kTddBit : 0) | (c.flag2 ? kNullingBit : 0) | (c.flag3 ? kSlaveBit : 0) |
           (c.flag4 ? kPowerAmplifierBit : 0) | (c.flag5 ? kLnaBit : 0) |
           (c.extraValue ? kAttenuatorBit : 0);
}

std::string tddFlagsDescription(const TDDConfiguration& c) {
    return std::string(" tdd: ") + onOff(c.flag1) + ", nulling: " + onOff(c.flag2) +
           ", pa: " + onOff(c.flag4) + ", slave: " + (c.flag3 ? "yes" : "no") +
           ", atten: " + onOff(c.extraValue != 0) + ", lna: " + onOff(c.flag5);
}

} // namespace Orvek
