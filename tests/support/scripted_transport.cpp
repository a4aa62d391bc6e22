#include "scripted_transport.h"

#include <algorithm>
#include <cstdio>

#include "tarndll.h"

namespace tarntest {

void ScriptedTransport::arrive(const std::string& address, const Reply& datagram) {
    // A unit answers in order: nothing overtakes what it sent before.
    long long& last = lastArrival[address];
    last = std::max(last, now + datagram.delayMs);
    InFlight item{last, address, {datagram.bytes.begin(), datagram.bytes.end()}};
    const auto later = std::upper_bound(inFlight.begin(), inFlight.end(), item.at,
                                        [](long long at, const InFlight& i) { return at < i.at; });
    inFlight.insert(later, std::move(item));
}

std::size_t ScriptedTransport::count(const std::string& address, const std::string& request) {
    const auto& log = sent[address];
    return static_cast<std::size_t>(std::count(log.begin(), log.end(), request));
}

int ScriptedTransport::send_to(const std::string& address, const std::vector<char>& bytes) {
    const std::string request(bytes.begin(), bytes.end());
    sent[address].push_back(request);
    const auto unit = units.find(address);
    if (unit != units.end() && unit->second) {
        for (const Reply& reply : unit->second(request))
            arrive(address, reply);
    }
    return Orvek::ERR_OK;
}

int ScriptedTransport::take(std::vector<char>& out, const std::string* from, int timeoutMs,
                            std::string* source) {
    const long long deadline = now + std::max(timeoutMs, 0);
    auto found = inFlight.end();
    for (auto it = inFlight.begin(); it != inFlight.end() && it->at <= deadline; ++it) {
        if (from != nullptr ? it->from == *from
                            : found == inFlight.end() || (it->at <= now && it->from < found->from))
            found = it;
        if (from != nullptr && found != inFlight.end())
            break;
    }
    if (found == inFlight.end()) {
        now = deadline;
        return Orvek::ERR_NO_RESPONSE;
    }
    now = std::max(now, found->at);
    out = std::move(found->bytes);
    if (source != nullptr)
        *source = found->from;
    inFlight.erase(found);
    return Orvek::ERR_OK;
}

int ScriptedTransport::receive_from(std::vector<char>& out, const std::string& address,
                                    int timeoutMs, int) {
    return take(out, &address, timeoutMs, nullptr);
}

int ScriptedTransport::receive_from_any(std::vector<char>& out, std::string& source, int timeoutMs,
                                        int) {
    return take(out, nullptr, timeoutMs, &source);
}

std::size_t ScriptedTransport::drain(const std::string& address) {
    const auto before = inFlight.size();
    inFlight.erase(
        std::remove_if(inFlight.begin(), inFlight.end(),
                       [&](const InFlight& i) { return i.from == address && i.at <= now; }),
        inFlight.end());
    return before - inFlight.size();
}

PromUnit::PromUnit(std::vector<int> image, std::size_t capacity)
    : state(std::make_shared<State>()) {
    image.resize(std::max(capacity, image.size()), 0xFF);
    state->memory = std::move(image);
    state->reads.assign(state->memory.size(), 0);
}

std::string PromUnit::answer(const std::string& text) const {
    if (text == "V\n")
        return "1a";
    if (text == "Z80\n")
        return "80\r\n>             ";
    if (text == "Q\n" || (text.size() == 6 && (text[0] == 'Z' || text[0] == 'W')))
        return "\r\n>";
    unsigned address = 0, value = 0;
    const bool read = text.size() == 6 && std::sscanf(text.c_str(), "E%4x", &address) == 1;
    const bool write =
        text.size() == 8 && std::sscanf(text.c_str(), "E%4x%2x", &address, &value) == 2;
    if (!(read || write) || address >= state->memory.size())
        return "";
    if (write) {
        state->memory[address] = static_cast<int>(value);
        return "\r\n>";
    }
    ++state->reads[address];
    char hex[4];
    std::snprintf(hex, sizeof hex, "%02x", state->memory[address]);
    return hex;
}

UnitScript PromUnit::script(long long delayMs) const {
    return [unit = *this, delayMs](const std::string& request) {
        const std::string text = unit.answer(request);
        return text.empty() ? Replies{} : Replies{Reply(text, delayMs)};
    };
}

} // namespace tarntest
