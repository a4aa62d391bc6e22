#include "tarnctl_plan.h"

#include <algorithm>
#include <cctype>
#include <sstream>

#include "tarnctl_common.h"

namespace tarnctl {

namespace {

const char* const kHopNames[] = {"90k", "45k", "30k", "15k", "7k", "3k", "2k",
                                 "1k",  "550", "312", "156", "78", "39", "20"};

std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> items;
    std::string item;
    std::istringstream in(text);
    while (std::getline(in, item, ','))
        items.push_back(item);
    if (!text.empty() && text.back() == ',')
        items.emplace_back();
    return items;
}

const char* boardText(int type) {
    switch (type) {
    case Orvek::SWITCHBOARD_NO_SWITCH_BOARD:
        return "no switch board (transmit port 0, receive port 1 only)";
    case Orvek::SWITCHBOARD_SIMPLE_4_PORT_SWITCH:
    case Orvek::SWITCHBOARD_TDD_4_PORT_SWITCH:
        return "a 4-port switch board (ports 0 to 3)";
    case Orvek::SWITCHBOARD_SIMPLE_8_PORT_SWITCH:
        return "an 8-port switch board (ports 0 to 7)";
    case Orvek::SWITCHBOARD_S_PARAMETER_SWITCH:
        return "an S-parameter switch board (ports 0 and 1, reference 2:2)";
    }
    return "an unknown switch board";
}

bool boardHasPath(int type, PortPair p) {
    switch (type) {
    case Orvek::SWITCHBOARD_NO_SWITCH_BOARD:
        return p.tx == 0 && p.rx == 1;
    case Orvek::SWITCHBOARD_SIMPLE_4_PORT_SWITCH:
    case Orvek::SWITCHBOARD_TDD_4_PORT_SWITCH:
        return p.tx <= 3 && p.rx <= 3;
    case Orvek::SWITCHBOARD_SIMPLE_8_PORT_SWITCH:
        return true;
    case Orvek::SWITCHBOARD_S_PARAMETER_SWITCH:
        return (p.tx <= 1 && p.rx <= 1) || (p.tx == 2 && p.rx == 2);
    }
    return false;
}

std::vector<PortPair> parsePaths(const std::string& text, unsigned ports) {
    std::vector<PortPair> paths;
    for (const std::string& item : splitList(text)) {
        if (item == "all") {
            for (unsigned tx = 0; tx < ports; ++tx)
                for (unsigned rx = 0; rx < ports; ++rx)
                    paths.push_back({static_cast<int>(tx), static_cast<int>(rx)});
            continue;
        }
        // Sij: the wave leaving Touchstone port i per wave entering port j (ports from 1).
        if (item.size() == 3 && (item[0] == 'S' || item[0] == 's') && item[1] >= '1' &&
            item[1] <= '8' && item[2] >= '1' && item[2] <= '8') {
            paths.push_back({item[2] - '1', item[1] - '1'});
            continue;
        }
        const size_t colon = item.find(':');
        if (colon == std::string::npos)
            usageError("path \"" + item +
                       "\" is not all, Sij (such as S21) or TX:RX ports (such "
                       "as 0:1)");
        paths.push_back(
            {static_cast<int>(parseInteger(item.substr(0, colon), "transmit port", 0, 7)),
             static_cast<int>(parseInteger(item.substr(colon + 1), "receive port", 0, 7))});
    }
    return paths;
}

} // namespace

int txPathValue(int port) {
    return ((port & 1) << 2 | (port & 2) | (port & 4) >> 2) << 4;
}

int rxPathValue(int port) {
    return (port & 1) << 2 | (port & 2) | (port & 4) >> 2;
}

std::string hopRateNames() {
    std::string names;
    for (const char* name : kHopNames)
        names += std::string(names.empty() ? "" : ", ") + name;
    return names;
}

unsigned touchstonePortsOf(const std::string& path) {
    std::string name = path;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const size_t dot = name.rfind('.');
    if (dot == std::string::npos || name.size() < dot + 4 || name[dot + 1] != 's' ||
        name.back() != 'p')
        return 0;
    const std::string digits = name.substr(dot + 2, name.size() - dot - 3);
    if (digits.size() != 1 || !std::isdigit(static_cast<unsigned char>(digits[0])))
        return 0;
    return static_cast<unsigned>(digits[0] - '0');
}

SweepPlan makePlan(const SweepOptions& o, const tarn_hardware_details_t& unit) {
    SweepPlan plan;
    const std::string range = "the unit's range is " + std::to_string(unit.minimumFrequency) + "-" +
                              std::to_string(unit.maximumFrequency) + " MHz";
    auto checkFrequency = [&](double mhz, const std::string& what) {
        if (mhz < unit.minimumFrequency || mhz > unit.maximumFrequency) {
            std::ostringstream text;
            text << what << " " << mhz << " MHz is out of range: " << range;
            usageError(text.str());
        }
    };
    if (!o.freqs.empty()) {
        if (!o.start.empty() || !o.stop.empty())
            usageError("give either --freqs or --start/--stop, not both");
        for (const std::string& item : splitList(o.freqs)) {
            plan.freqs.push_back(parseNumber(item, "frequency"));
            checkFrequency(plan.freqs.back(), "frequency");
        }
        std::vector<double> sorted = plan.freqs;
        std::sort(sorted.begin(), sorted.end());
        if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end())
            usageError("--freqs names a frequency twice: give each once");
        if (plan.freqs.size() > static_cast<size_t>(unit.maximumNumberOfPoints))
            usageError("--freqs has " + std::to_string(plan.freqs.size()) +
                       " frequencies: the unit measures at most " +
                       std::to_string(unit.maximumNumberOfPoints));
    } else {
        plan.startMHz = o.start.empty() ? unit.minimumFrequency : parseNumber(o.start, "--start");
        plan.stopMHz = o.stop.empty() ? unit.maximumFrequency : parseNumber(o.stop, "--stop");
        checkFrequency(plan.startMHz, "--start");
        checkFrequency(plan.stopMHz, "--stop");
        if (plan.startMHz == plan.stopMHz)
            usageError("--start and --stop are equal: give two different frequencies");
        plan.points = static_cast<unsigned>(
            parseInteger(o.points, "--points", 2, std::max(2, unit.maximumNumberOfPoints)));
    }

    const auto hop = std::find(std::begin(kHopNames), std::end(kHopNames), o.hop);
    if (hop == std::end(kHopNames))
        usageError("hop rate \"" + o.hop + "\" is not one of " + hopRateNames());
    plan.hopRate = static_cast<int>(hop - std::begin(kHopNames));

    if (!o.gain.empty()) {
        const long db = parseInteger(o.gain, "--gain", 0, 45);
        if (db % 3 != 0)
            usageError("--gain " + o.gain + " dB is not a multiple of 3: use 0, 3, ... 45");
        plan.gain = static_cast<int>(db / 3);
    }
    if (!o.atten.empty()) {
        plan.attenuation = static_cast<int>(parseInteger(o.atten, "--atten", 0, 31));
        if (!unit.hasSwitchboardAttenuator)
            usageError("the unit has no switch-board attenuator: leave out --atten");
    }

    if (o.receivers.empty()) {
        plan.receivers = unit.hasMultipleReceivers ? 0x3 : 0x1;
    } else {
        plan.receivers = 0;
        for (const std::string& item : splitList(o.receivers))
            plan.receivers |=
                static_cast<unsigned char>(1u << parseInteger(item, "receiver", 0, 3));
        if (plan.receivers != 0x1 && !unit.hasMultipleReceivers)
            usageError("the unit has one receiver: use --receivers 0");
    }
    plan.ratios = (plan.receivers & 0x3) == 0x3;

    plan.touchstonePorts = touchstonePortsOf(o.output);
    const std::string lowered = [&] {
        std::string t = o.output;
        std::transform(t.begin(), t.end(), t.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        return t;
    }();
    const bool csv =
        o.output.empty() || (lowered.size() > 4 && lowered.substr(lowered.size() - 4) == ".csv");
    if (!csv && plan.touchstonePorts == 0)
        usageError("output \"" + o.output + "\" is neither .sNp (Touchstone) nor .csv");
    if (plan.touchstonePorts > 0 && !plan.ratios)
        usageError("Touchstone needs S-parameters, measured with receivers 0 and 1: use "
                   "--receivers 0,1 or write .csv");

    const unsigned defaultPorts = plan.touchstonePorts ? plan.touchstonePorts : 2;
    std::string pathText = o.paths;
    if (pathText.empty())
        pathText = unit.switchBoardType == Orvek::SWITCHBOARD_NO_SWITCH_BOARD ? "0:1" : "all";
    plan.paths = parsePaths(pathText, defaultPorts);
    for (size_t i = 0; i < plan.paths.size(); ++i) {
        const PortPair p = plan.paths[i];
        if (!boardHasPath(unit.switchBoardType, p))
            usageError("path " + std::to_string(p.tx) + ":" + std::to_string(p.rx) +
                       " does not exist: the unit has " + boardText(unit.switchBoardType));
        for (size_t j = 0; j < i; ++j)
            if (plan.paths[j].tx == p.tx && plan.paths[j].rx == p.rx)
                usageError("path " + std::to_string(p.tx) + ":" + std::to_string(p.rx) +
                           " is given twice: give each path once");
    }
    if (plan.touchstonePorts > 0) {
        for (unsigned tx = 0; tx < plan.touchstonePorts; ++tx)
            for (unsigned rx = 0; rx < plan.touchstonePorts; ++rx) {
                const bool measured =
                    std::any_of(plan.paths.begin(), plan.paths.end(), [&](PortPair p) {
                        return p.tx == static_cast<int>(tx) && p.rx == static_cast<int>(rx);
                    });
                if (!measured)
                    usageError("a ." + lowered.substr(lowered.rfind('.') + 1) +
                               " file needs every path among ports 0 to " +
                               std::to_string(plan.touchstonePorts - 1) + " (S" +
                               std::to_string(rx + 1) + std::to_string(tx + 1) +
                               " is missing): use --paths all or write .csv");
            }
    }

    std::ostringstream settings;
    settings << "hop " << o.hop;
    if (plan.gain >= 0)
        settings << ", gain " << plan.gain * 3 << " dB";
    if (plan.attenuation >= 0)
        settings << ", attenuation " << plan.attenuation << " dB";
    settings << ", receivers mask 0x" << std::hex << int(plan.receivers) << std::dec;
    settings << ", paths " << pathText;
    if (plan.freqs.empty())
        settings << ", " << plan.points << " points " << plan.startMHz << " to " << plan.stopMHz
                 << " MHz";
    else
        settings << ", " << plan.freqs.size() << " listed frequencies";
    plan.settings = settings.str();
    return plan;
}

void precheck(const SweepOptions& options) {
    tarn_hardware_details_t anyUnit{};
    anyUnit.minimumFrequency = 0;
    anyUnit.maximumFrequency = 1 << 30;
    anyUnit.maximumNumberOfPoints = 1 << 30;
    anyUnit.switchBoardType = Orvek::SWITCHBOARD_SIMPLE_8_PORT_SWITCH;
    anyUnit.hasSwitchboardAttenuator = true;
    anyUnit.hasMultipleReceivers = true;
    makePlan(options, anyUnit);
}

tarnvna_sweep_config_t configOf(const SweepPlan& plan, std::vector<int>& tx, std::vector<int>& rx) {
    tx.clear();
    rx.clear();
    for (const PortPair& p : plan.paths) {
        tx.push_back(txPathValue(p.tx));
        rx.push_back(rxPathValue(p.rx));
    }
    tarnvna_sweep_config_t config{};
    config.frequencies = plan.freqs.empty() ? nullptr : plan.freqs.data();
    config.frequency_count = static_cast<unsigned>(plan.freqs.size());
    config.start_mhz = plan.startMHz;
    config.stop_mhz = plan.stopMHz;
    config.points = plan.points;
    config.hop_rate = plan.hopRate;
    config.gain = plan.gain;
    config.attenuation = plan.attenuation;
    config.receivers = plan.receivers;
    config.program_type = Orvek::PROG_SYNC;
    config.path_count = static_cast<unsigned>(plan.paths.size());
    config.tx = tx.data();
    config.rx = rx.data();
    return config;
}

} // namespace tarnctl
