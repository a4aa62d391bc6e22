#include "sim/faults.h"

#include <cmath>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace Orvek {
namespace Sim {

namespace {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::string part;
    std::istringstream in(text);
    while (std::getline(in, part, separator))
        if (!part.empty())
            parts.push_back(part);
    return parts;
}

double parseProbability(const std::string& key, const std::string& value) {
    try {
        size_t used = 0;
        const double p = std::stod(value, &used);
        if (used == value.size() && p >= 0.0 && p <= 1.0)
            return p;
    } catch (const std::exception&) {
    }
    throw std::invalid_argument("fault " + key + " needs a probability 0..1, not \"" + value +
                                "\"");
}

long long parseCount(const std::string& key, const std::string& value, long long minimum) {
    try {
        size_t used = 0;
        const long long n = std::stoll(value, &used);
        if (used == value.size() && n >= minimum)
            return n;
    } catch (const std::exception&) {
    }
    throw std::invalid_argument("fault " + key + " needs a whole number of at least " +
                                std::to_string(minimum) + ", not \"" + value + "\"");
}

std::set<int> parseNumbers(const std::string& key, const std::string& value) {
    std::set<int> numbers;
    for (const std::string& item : split(value, '/'))
        numbers.insert(static_cast<int>(parseCount(key, item, 1)));
    if (numbers.empty())
        throw std::invalid_argument("fault " + key + " needs packet numbers like 2/5");
    return numbers;
}

std::string joinNumbers(const std::set<int>& numbers) {
    std::string text;
    for (int n : numbers)
        text += (text.empty() ? "" : "/") + std::to_string(n);
    return text;
}

} // namespace

bool FaultSettings::any() const {
    return dropProbability > 0 || duplicateProbability > 0 || reorderProbability > 0 ||
           truncateProbability > 0 || !dropPackets.empty() || !duplicatePackets.empty() ||
           !reorderPackets.empty() || !truncatePackets.empty() || !latePackets.empty() ||
           !extendPackets.empty() || restartAfterPacket > 0 || silentAfterPacket > 0 ||
           replyDelayMs > 0 || withholdReplyProbability > 0 || withholdReplies > 0 || silent ||
           !answerFrom.empty() || promWriteAttempts > 1 || promWriteFailProbability > 0;
}

FaultSettings FaultSettings::parse(const std::string& text) {
    FaultSettings settings;
    if (text.empty() || text == "none")
        return settings;
    for (const std::string& item : split(text, ',')) {
        const size_t equals = item.find('=');
        const std::string key = item.substr(0, equals);
        const std::string value = equals == std::string::npos ? "" : item.substr(equals + 1);
        if (key == "silent" && equals == std::string::npos) {
            settings.silent = true;
            continue;
        }
        if (equals == std::string::npos)
            throw std::invalid_argument("fault \"" + item + "\" needs KEY=VALUE");
        if (key == "drop")
            settings.dropProbability = parseProbability(key, value);
        else if (key == "duplicate")
            settings.duplicateProbability = parseProbability(key, value);
        else if (key == "reorder")
            settings.reorderProbability = parseProbability(key, value);
        else if (key == "truncate")
            settings.truncateProbability = parseProbability(key, value);
        else if (key == "drop-packets")
            settings.dropPackets = parseNumbers(key, value);
        else if (key == "duplicate-packets")
            settings.duplicatePackets = parseNumbers(key, value);
        else if (key == "reorder-packets")
            settings.reorderPackets = parseNumbers(key, value);
        else if (key == "truncate-packets")
            settings.truncatePackets = parseNumbers(key, value);
        else if (key == "late-packets")
            settings.latePackets = parseNumbers(key, value);
        else if (key == "extend-packets")
            settings.extendPackets = parseNumbers(key, value);
        else if (key == "silent-after")
            settings.silentAfterPacket = static_cast<int>(parseCount(key, value, 0));
        else if (key == "restart-after")
            settings.restartAfterPacket = static_cast<int>(parseCount(key, value, 0));
        else if (key == "truncate-bytes")
            settings.truncateBytes = static_cast<int>(parseCount(key, value, 1));
        else if (key == "delay-ms")
            settings.replyDelayMs = static_cast<double>(parseCount(key, value, 0));
        else if (key == "withhold")
            settings.withholdReplyProbability = parseProbability(key, value);
        else if (key == "withhold-next")
            settings.withholdReplies = static_cast<int>(parseCount(key, value, 0));
        else if (key == "silent")
            settings.silent = parseCount(key, value, 0) != 0;
        else if (key == "answer-from")
            settings.answerFrom = value;
        else if (key == "prom-attempts")
            settings.promWriteAttempts = static_cast<int>(parseCount(key, value, 1));
        else if (key == "prom-fail")
            settings.promWriteFailProbability = parseProbability(key, value);
        else if (key == "seed")
            settings.seed = static_cast<std::uint64_t>(parseCount(key, value, 0));
        else
            throw std::invalid_argument("unknown fault \"" + key + "\"");
    }
    return settings;
}

std::string FaultSettings::describe() const {
    std::ostringstream out;
    auto add = [&out](const std::string& item) {
        if (out.tellp() > 0)
            out << ',';
        out << item;
    };
    auto probability = [&add](const char* key, double p) {
        if (p > 0) {
            char number[32];
            std::snprintf(number, sizeof number, "%g", p);
            add(std::string(key) + "=" + number);
        }
    };
    auto numbers = [&add](const char* key, const std::set<int>& set) {
        if (!set.empty())
            add(std::string(key) + "=" + joinNumbers(set));
    };
    probability("drop", dropProbability);
    probability("duplicate", duplicateProbability);
    probability("reorder", reorderProbability);
    probability("truncate", truncateProbability);
    numbers("drop-packets", dropPackets);
    numbers("duplicate-packets", duplicatePackets);
    numbers("reorder-packets", reorderPackets);
    numbers("truncate-packets", truncatePackets);
    numbers("late-packets", latePackets);
    numbers("extend-packets", extendPackets);
    if (restartAfterPacket > 0)
        add("restart-after=" + std::to_string(restartAfterPacket));
    if (silentAfterPacket > 0)
        add("silent-after=" + std::to_string(silentAfterPacket));
    if (truncateProbability > 0 || !truncatePackets.empty())
        add("truncate-bytes=" + std::to_string(truncateBytes));
    if (replyDelayMs > 0)
        add("delay-ms=" + std::to_string(static_cast<long long>(replyDelayMs)));
    probability("withhold", withholdReplyProbability);
    if (withholdReplies > 0)
        add("withhold-next=" + std::to_string(withholdReplies));
    if (silent)
        add("silent");
    if (!answerFrom.empty())
        add("answer-from=" + answerFrom);
    if (promWriteAttempts > 1)
        add("prom-attempts=" + std::to_string(promWriteAttempts));
    probability("prom-fail", promWriteFailProbability);
    if (out.tellp() == 0)
        return "none";
    add("seed=" + std::to_string(seed));
    return out.str();
}

std::string PacketFate::text() const {
    std::string text;
    auto add = [&text](const std::string& item) { text += (text.empty() ? "" : ",") + item; };
    if (drop)
        add("dropped");
    if (duplicate)
        add("duplicated");
    if (holdBack)
        add("reordered");
    if (keepBytes)
        add("truncated to " + std::to_string(keepBytes));
    if (lateCopy)
        add("late copy");
    if (extend)
        add("one byte too long");
    if (restartAfter)
        add("restart");
    if (silenceAfter)
        add("then silent");
    return text;
}

void FaultInjector::configure(const FaultSettings& settings) {
    settings_ = settings;
    generator_.seed(settings.seed);
    packetNumber_ = 0;
    withheldSoFar_ = 0;
}

bool FaultInjector::draw(double probability) {
    // Always consume one number, so a fault that is switched off does not shift the others.
    const double u = static_cast<double>(generator_() >> 11) * 0x1.0p-53;
    return u < probability;
}

PacketFate FaultInjector::nextPacket(std::size_t length) {
    ++packetNumber_;
    PacketFate fate;
    const bool drop = draw(settings_.dropProbability);
    const bool duplicate = draw(settings_.duplicateProbability);
    const bool reorder = draw(settings_.reorderProbability);
    const bool truncate = draw(settings_.truncateProbability);
    fate.drop = drop || settings_.dropPackets.count(packetNumber_);
    fate.restartAfter = packetNumber_ == settings_.restartAfterPacket;
    fate.silenceAfter = packetNumber_ == settings_.silentAfterPacket;
    if (fate.drop)
        return fate;
    fate.duplicate = duplicate || settings_.duplicatePackets.count(packetNumber_);
    fate.holdBack = reorder || settings_.reorderPackets.count(packetNumber_);
    fate.lateCopy = settings_.latePackets.count(packetNumber_) != 0;
    fate.extend = settings_.extendPackets.count(packetNumber_) != 0;
    if ((truncate || settings_.truncatePackets.count(packetNumber_)) && length > 1) {
        const std::size_t cut = static_cast<std::size_t>(settings_.truncateBytes);
        fate.keepBytes = cut >= length ? 1 : length - cut;
    }
    return fate;
}

bool FaultInjector::withholdNextReply() {
    const bool random = draw(settings_.withholdReplyProbability);
    if (withheldSoFar_ < settings_.withholdReplies) {
        ++withheldSoFar_;
        return true;
    }
    return random;
}

bool FaultInjector::failPromWrite() {
    return draw(settings_.promWriteFailProbability);
}

} // namespace Sim
} // namespace Orvek
