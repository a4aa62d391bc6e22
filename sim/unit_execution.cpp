// The unit's program interpreter: instruction by instruction from the program memory, with
// the point clock, the millisecond clock, the call stack and the packet buffer.
#include <cmath>
#include <cstdio>

#include "sim/unit_core.h"

namespace Orvek {
namespace Sim {

namespace {

// The millisecond clock ticks on whole milliseconds of the unit's clock.
double nextMillisecond(double t) {
    return (std::floor(t * 1000.0 + 1e-6) + 1.0) / 1000.0;
}

void appendBigEndian16(std::vector<std::uint8_t>& bytes, std::int16_t value) {
    const auto bits = static_cast<std::uint16_t>(value);
    bytes.push_back(static_cast<std::uint8_t>(bits >> 8));
    bytes.push_back(static_cast<std::uint8_t>(bits));
}

} // namespace

double UnitCore::pointSeconds() const {
    const std::uint32_t cycles = hopRateCycles(registers_[0x85]);
    return cycles / (hardware_.masterClockMHz * 1e6);
}

void UnitCore::begin(std::uint16_t address, double now, const char* why) {
    char text[96];
    if (running_) {
        std::snprintf(text, sizeof text, "restarted at 0x%04x while running at 0x%04x", address,
                      execPc_);
        note(text, false, programTime_);
    }
    running_ = true;
    execPc_ = address;
    callStack_.clear();
    packet_.clear();
    pendingBlocks_.clear();
    overflowReported_ = false;
    strayPathReported_ = false;
    sinceTimeAdvanced_ = 0;
    // The program clock never runs backwards, so the sweep timer stays monotonic.
    programTime_ = std::max(now, programTime_);
    std::snprintf(text, sizeof text, "%s 0x%04x", why, address);
    note(text, false, programTime_);
}

void UnitCore::stop(const std::string& why, bool error) {
    running_ = false;
    char text[64];
    std::snprintf(text, sizeof text, " (at 0x%04x)", execPc_);
    note(why + text, error, programTime_);
    if (pendingBegin_) {
        const std::uint16_t address = *pendingBegin_;
        pendingBegin_.reset();
        begin(address, programTime_, "deferred run");
    }
}

void UnitCore::jumpTo(std::uint32_t target, bool isCall, std::uint32_t returnAddress) {
    char text[96];
    if (target >= loadedEnd_) {
        std::snprintf(text, sizeof text, "%s to 0x%04x outside the %u-byte program image",
                      isCall ? "call" : "jump", target, loadedEnd_);
        stop(text, true);
        return;
    }
    if (isCall) {
        if (callStack_.size() >= static_cast<std::size_t>(kCallDepth)) {
            std::snprintf(text, sizeof text, "call to 0x%04x overflows the %d-deep call stack",
                          target, kCallDepth);
            stop(text, true);
            return;
        }
        callStack_.push_back(returnAddress);
    }
    execPc_ = target;
}

RfState UnitCore::rfState() const {
    RfState state;
    const std::uint8_t control = registers_[0x80];
    const int band = bandFromControlRegister(control);
    const std::uint32_t txWord =
        (registers_[0x04] << 16) | (registers_[0x05] << 8) | registers_[0x06];
    std::uint32_t rxWord = (registers_[0x44] << 16) | (registers_[0x45] << 8) | registers_[0x46];
    if (registers_[0x37] & 0x01)
        rxWord = (rxWord + registers_[0x36] * 256u) & 0xFFFFFF;
    state.txFrequencyMHz =
        synthesiserOutputMHz(txWord, band, pllDivideRatio_, hardware_.ddsReferenceMHz);
    state.rxFrequencyMHz =
        synthesiserOutputMHz(rxWord, band, pllDivideRatio_, hardware_.ddsReferenceMHz);
    // The PLL locks only when loaded and with its VCO inside its tuning range.
    auto inRange = [&](double output) {
        const double vco = std::ldexp(output, band);
        return vco >= hardware_.vcoMinimumMHz * 0.97 && vco <= hardware_.vcoMaximumMHz * 1.03;
    };
    state.synthesiserLocked =
        pllDivideRatio_ > 0 && inRange(state.txFrequencyMHz) && inRange(state.rxFrequencyMHz);
    state.path = decodeSwitchRegister(hardware_.board, written_[0x82], registers_[0x82]);
    state.txAmplifier = control & 0x02;
    state.rxAmplifier = control & 0x04;
    state.txRfSwitch = control & 0x08;
    state.suppliesOff = control & 0x80;
    state.gainSteps = registers_[0x81] & 0x0F;
    state.pad12dB = registers_[0x81] & 0x10;
    state.attenuatorDb = hardware_.hasAttenuator ? attenuatorDb_ : 0;
    if (hardware_.board == SWITCHBOARD_TDD_4_PORT_SWITCH && (external_[0] & 0x01)) {
        // TDD board switched on: its power amplifier (flag bit 3) and its receive attenuator
        // (flag bit 5, external register 7 in 0.25 dB steps) are in the path.
        if (!(external_[0] & 0x08))
            state.extraTxLossDb = RfModel::kTxAmplifierOffDb;
        if (external_[0] & 0x20)
            state.extraRxLossDb = external_[7] * 0.25;
    }
    return state;
}

double UnitCore::receiverOffsetMHz(double txFrequencyMHz) const {
    if (!(registers_[0x37] & 0x01) || pllDivideRatio_ <= 0)
        return 0.0;
    // The band that puts the frequency into the VCO's range divides the offset too.
    int band = 0;
    while (band < 3 && std::ldexp(txFrequencyMHz, band) < hardware_.vcoMinimumMHz * 0.999)
        ++band;
    return synthesiserOutputMHz(registers_[0x36] * 256u, band, pllDivideRatio_,
                                hardware_.ddsReferenceMHz);
}

void UnitCore::appendToPacket(const std::vector<std::uint8_t>& bytes) {
    const std::size_t room = kPacketBuffer - packet_.size();
    if (bytes.size() > room) {
        if (!overflowReported_) {
            char text[80];
            std::snprintf(text, sizeof text, "packet buffer full (%zu bytes) at 0x%04x: data lost",
                          kPacketBuffer, execPc_);
            note(text, true, programTime_);
            overflowReported_ = true;
        }
        packet_.insert(packet_.end(), bytes.begin(), bytes.begin() + room);
        return;
    }
    packet_.insert(packet_.end(), bytes.begin(), bytes.end());
}

void UnitCore::acquire() {
    if (!pendingBlocks_.empty()) {
        const int block = pendingBlocks_.front();
        pendingBlocks_.erase(pendingBlocks_.begin());
        appendToPacket(block == 0x01 ? encoders_.block(programTime_) : timer_.block(programTime_));
        return;
    }
    const RfState state = rfState();
    if (!state.path.selected && !strayPathReported_) {
        char text[96];
        std::snprintf(text, sizeof text, "switch register 0x82 = 0x%02x selects no path on the %s",
                      registers_[0x82], boardName(hardware_.board));
        note(text, true, programTime_);
        strayPathReported_ = true;
    }
    unsigned mask = registers_[0xA0] & 0x0F;
    if (mask == 0)
        mask = 0x01;
    // (A normal distribution needs a positive deviation; it is only made when there is noise.)
    const bool noisy = options_.noiseCounts > 0.0;
    std::normal_distribution<double> noise(0.0, noisy ? options_.noiseCounts : 1.0);
    std::vector<std::uint8_t> samples;
    samples.reserve(16);
    for (int receiver = 0; receiver < 4; ++receiver) {
        if (!(mask & (1u << receiver)))
            continue;
        // A receiver the unit is not fitted with reads zero (its ADC lines are grounded).
        Complex wave = receiver < hardware_.receivers ? rf_.wave(state, receiver) : 0.0;
        if (noisy)
            wave += Complex(noise(noise_), noise(noise_));
        const IqSample sample = RfModel::quantise(wave);
        appendBigEndian16(samples, sample.i);
        appendBigEndian16(samples, sample.q);
    }
    appendToPacket(samples);
}

void UnitCore::sendPacket(std::uint8_t tagB) {
    DataPacket packet;
    packet.tagA = options_.unitOctet;
    packet.tagB = tagB;
    packet.counter = counter_++;
    packet.programSeconds = programTime_;
    packet.datagram.reserve(packet_.size() + 4);
    packet.datagram.push_back(packet.tagA);
    packet.datagram.push_back(packet.tagB);
    packet.datagram.push_back(static_cast<std::uint8_t>(packet.counter >> 8));
    packet.datagram.push_back(static_cast<std::uint8_t>(packet.counter));
    packet.datagram.insert(packet.datagram.end(), packet_.begin(), packet_.end());
    packet_.clear();
    overflowReported_ = false;
    packets_.push_back(std::move(packet));
}

void UnitCore::run(double until, std::size_t budget) {
    char text[128];
    while (running_ && budget > 0) {
        if (programTime_ > until)
            return;
        --budget;
        if (loadedEnd_ == 0) {
            // Nothing uploaded since power-up: the erased program memory reads as end bytes.
            stop("no program loaded", false);
            continue;
        }
        Step step;
        const DecodeProblem problem = decodeStep(memory_, loadedEnd_, execPc_, step);
        if (problem != DecodeProblem::None) {
            std::snprintf(text, sizeof text, "malformed program: %s (%u-byte image)",
                          describe(problem), loadedEnd_);
            stop(text, true);
            return;
        }
        execPc_ = step.next();
        if (++sinceTimeAdvanced_ > kRunawayLimit) {
            std::snprintf(text, sizeof text,
                          "runaway program: %llu instructions without a delay, sample or end",
                          static_cast<unsigned long long>(kRunawayLimit));
            stop(text, true);
            return;
        }
        switch (step.op) {
        case Op::Write:
            writeRegister(step.reg, step.value, true);
            break;
        case Op::Resync:
            programTime_ = nextMillisecond(programTime_);
            sinceTimeAdvanced_ = 0;
            break;
        case Op::Delay:
        case Op::Acquire: {
            const double point = pointSeconds();
            if (point <= 0.0) {
                std::snprintf(text, sizeof text, "hop rate register 0x85 = 0x%02x is no rate",
                              registers_[0x85]);
                execPc_ = step.address;
                stop(text, true);
                return;
            }
            if (step.op == Op::Acquire)
                acquire();
            programTime_ += point;
            sinceTimeAdvanced_ = 0;
            break;
        }
        case Op::End:
            execPc_ = step.address;
            stop("program end", false);
            break;
        case Op::SendPacket:
            registers_[0x89] = step.value;
            sendPacket(step.value);
            break;
        case Op::Jump:
        case Op::Call:
            registers_[0x90] = static_cast<std::uint8_t>(step.target >> 8);
            registers_[step.op == Op::Call ? 0x93 : 0x91] = static_cast<std::uint8_t>(step.target);
            jumpTo(step.target, step.op == Op::Call, step.next());
            break;
        case Op::Return:
            if (callStack_.empty()) {
                std::snprintf(text, sizeof text, "return with an empty call stack at 0x%04x",
                              step.address);
                stop(text, true);
                return;
            }
            execPc_ = callStack_.back();
            callStack_.pop_back();
            break;
        case Op::ExternalWrite:
            registers_[0x97] = step.reg;
            writeRegister(0x98, step.value, true);
            break;
        }
    }
}

} // namespace Sim
} // namespace Orvek
